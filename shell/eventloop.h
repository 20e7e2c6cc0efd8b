// The event loop: every event offered to the action editor first, then routed to the menus and
// the main window; the idle chain on a timer; quit requests from signals and the session manager;
// the window positions and the modifier keys held at start.
#ifndef VQX_SHELL_EVENTLOOP_H
#define VQX_SHELL_EVENTLOOP_H

#include <cstdint>

class QEvent;
class QObject;
class QWidget;

enum { kIdleTicks = 10 }; // the idle chain runs after this many ticks of 1/60 s

extern int32_t done;             // set by doMenuClose to end the loop
extern int32_t managerInFront;   // the editor is the front application
extern QWidget *activeWind;      // the window most recently activated, never cleared
extern uint32_t CmmdKeyOnEntry;  // Command (Super) held at start: 0x8000, else 0
extern uint32_t OptKeyOnEntry;   // Option (Alt) held at start: 0x4, else 0
extern uint32_t ShiftKeyOnEntry; // Shift held at start: 0x1, else 0
extern int32_t VQXIDLEpassCount; // idle passes run so far

// Routes one event (the application-wide filter); 1 when it was consumed.
int doEvent(QObject *target, QEvent *event);
// A request to quit from outside (signal, session manager): the same path as the Quit command.
int myQuitHandler(void);
void updateMainWindowPositionConfiguration(void);
void updateRemoteWindowPositionConfiguration(QWidget *window);

// Notes which of Command, Option and Shift are held now.
void VQXrecordModifierKeys(void);
// SIGTERM, SIGINT, SIGHUP and the session manager's quit request reach myQuitHandler.
void VQXEVTinstallQuitHandler(void);
// The application-wide event filter and the idle timer.
void VQXEVTinstallRouting(void);
// Runs until done is set.
void VQXEVTrunLoop(void);
// One pass of the idle chain, and one as soon as the loop is free.
void VQXIDLEpass(void);
void VQXIDLErunSoon(void);

// The event log viewer's part of the routing: offered the events of top-level windows (1 when
// consumed), and the close button (1 when the window was a log window; *closed set when closed).
typedef int (*EVTlogEventProc)(QObject *window, QEvent *event);
typedef int (*EVTlogGoAwayProc)(QObject *window, QEvent *event, int *closed);
void EVTsetLogWindowRouting(EVTlogEventProc nonNullEvent, EVTlogGoAwayProc trackGoAway);

// Filter, timer and quit handler removed, state as at start-up (tests).
void EVTreset(void);

#endif
