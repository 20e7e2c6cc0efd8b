// The Mapper's log: one line per event on standard error (the journal under systemd), with the
// decision traces shown only under --verbose.
#ifndef VQX_MAPPER_LOG_H
#define VQX_MAPPER_LOG_H

extern int LOGverbose; // 1: trace every decision

// A line that is always written ("vqx-mapper: " and the text).
void LOGinfo(const char *format, ...) __attribute__((format(printf, 1, 2)));
// A decision trace, written only when LOGverbose is set.
void LOGtrace(const char *format, ...) __attribute__((format(printf, 1, 2)));
// Text from outside (a button name, a bus argument) made safe for one log line: control bytes and
// bytes outside ASCII shown as \xNN, cut to `max` characters with "..." behind.
const char *LOGsafe(const char *text, unsigned long length, char *buffer, unsigned long size);

#endif
