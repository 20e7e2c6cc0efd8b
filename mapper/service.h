// Starting the Mapper as the session's user service: when a systemd user manager runs and the
// vqx-mapper.service unit is installed, a Mapper started by hand or by the autostart entry hands
// over to the unit, so that one Mapper runs per session and always in the same place.
#ifndef VQX_MAPPER_SERVICE_H
#define VQX_MAPPER_SERVICE_H

#include <string>

#define SVC_UNIT "vqx-mapper.service"

// What was found about the way this Mapper was started and about the user's service manager.
struct SVCfacts {
    bool withArguments = false; // any option or subcommand was given (--no-service among them)
    bool invocationId = false; // INVOCATION_ID is set: this process was started by a systemd unit
    bool cgroupKnown = false; // /proc/self/cgroup could be read
    bool inOwnUnit = false; // the cgroup is the one of vqx-mapper.service
    bool otherBus = false; // the session bus is not the user bus the unit's Mapper would join
    bool managerRunning = false; // $XDG_RUNTIME_DIR/systemd/private exists
    bool unitInstalled = false; // "systemctl --user cat vqx-mapper.service" succeeded
};

enum SVCchoice { SVC_RUN, SVC_HAND_OVER };

// The choice for these facts, with the reason in *why (for the log).
SVCchoice SVCdecide(const SVCfacts &facts, std::string *why);

// True when the text of /proc/self/cgroup puts the process in the cgroup of the unit UNIT (its
// last path component), on the unified hierarchy or systemd's own named one.
bool SVCinUnit(const std::string &cgroupText, const char *unit);

// True when the bus at ADDRESS (DBUS_SESSION_BUS_ADDRESS; null or empty: not set) is not the user
// bus $RUNTIMEDIR/bus that the user manager and its units use, as under dbus-run-session or a bus
// started for one X session: a Mapper handed to the unit would not be on the starter's bus.
bool SVCotherBus(const char *address, const char *runtimeDir);

// Finds the facts for a Mapper started with argc arguments (the program's name counted). Asks
// systemctl only when the other facts leave the unit as the only question.
SVCfacts SVCprobe(int argc);

// Hands over to the unit: the session's display variables are imported into the user manager and
// the unit is started. Returns systemctl's exit status (127 when it cannot be run).
int SVChandOver();

// Everything above for main(): -1 when this process should run the Mapper itself, else the status
// to exit with after handing over.
int SVCstartAsService(int argc);

#endif
