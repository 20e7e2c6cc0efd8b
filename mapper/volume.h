// The system volume: the default sink of the sound server (PulseAudio, or PipeWire's pulse
// server), driven on a thread of its own so that the Mapper's thread never waits for it.
#ifndef VQX_MAPPER_VOLUME_H
#define VQX_MAPPER_VOLUME_H

#include <string>

#include "mapper/table.h"

struct VOLcontrol; // owned by the caller

// Starts connecting in the background; never blocks. A server that is not there, or goes away, is
// looked for again; until then volume actions are logged as impossible.
VOLcontrol *VOLopen(void);
// Performs one step of a VOL action (SET, CHG, MUTE or FADE); returns at once. A volume action
// during a fade stops the fade where it is.
void VOLperform(VOLcontrol *control, const MTABaction &action);
// "connected to <server>" or why not, for the log and the checks.
std::string VOLstatus(VOLcontrol *control);
// Stops a fade, disconnects and ends the thread.
void VOLclose(VOLcontrol *control);

#endif
