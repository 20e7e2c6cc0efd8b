// The Mapper's object on the session bus: its well-known name, the methods of the virtual remote
// and of control, and its read-only properties. Malformed calls are logged and refused.
#ifndef VQX_MAPPER_BUS_H
#define VQX_MAPPER_BUS_H

#include <string>

#define BUS_NAME "com.Orvenda.VQX.Mapper"
#define BUS_PATH "/com/Orvenda/VQX/Mapper"
#define BUS_INTERFACE "com.Orvenda.VQX.Mapper1"

struct LOOPmapper;

enum { BUS_OWNED = 1, BUS_TAKEN = 0, BUS_NONE = -1 };

// Registers the object and takes the name: BUS_OWNED; BUS_TAKEN when another Mapper holds the
// name (nothing stays registered); BUS_NONE with *why when there is no session bus.
int BUSstart(LOOPmapper *m, std::string *why);
// Gives the name back and unregisters the object.
void BUSstop(void);
// Waits until everything sent so far has left for the bus (before the process ends).
void BUSflush(void);

#endif
