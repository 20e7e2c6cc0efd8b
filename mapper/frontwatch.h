// Follows the application in front: picks the source at start (names fixed on the command line,
// a wlroots compositor, the X server, or nothing), watches it and the desktop entries, and hands
// every new list of names to the Mapper.
#ifndef VQX_MAPPER_FRONTWATCH_H
#define VQX_MAPPER_FRONTWATCH_H

#include <functional>
#include <string>
#include <vector>

#include "mapper/frontsource.h"

struct FWTwatch;

// Called with the front application's names, in order of precedence, each time they change.
typedef std::function<void(const std::vector<std::string> &names)> FWTsetFront;

// Starts following the front application on the calling thread's event loop. With `fixed` names
// (--front) no window source is opened and those names stand until a report comes. Otherwise
// $WAYLAND_DISPLAY asks for the compositor's toplevels, else $DISPLAY for the X server's active
// window; the choice and why are logged.
FWTwatch *FWTstart(const std::vector<std::string> &fixed, const FWTsetFront &setFront);
// A report of the window in front from outside (the desktop shell's extension through the bus).
// Always taken: the latest report or change, from wherever it comes, decides.
void FWTreport(FWTwatch *watch, const FRTwindow &window);
// The source in use, for the log ("X11 _NET_ACTIVE_WINDOW on :1", "none", ...).
std::string FWTsourceName(const FWTwatch *watch);
// Stops watching and frees everything.
void FWTstop(FWTwatch *watch);

#endif
