// Scripts run for the Mapper on a worker thread with its own interpreter, one after the other, so
// that a slow script never delays a press.
#ifndef VQX_MAPPER_SCRIPTS_H
#define VQX_MAPPER_SCRIPTS_H

#include <string>

struct SCWworker; // owned by the caller

SCWworker *SCWstart(void);
// Queues the script at `path`; returns at once. Errors are logged with the interpreter's message;
// vqx.alert(text) in a script becomes a desktop notification and a log line.
void SCWrun(SCWworker *worker, const std::string &path);
// True while the script at `path` is queued or running.
bool SCWbusy(SCWworker *worker, const std::string &path);
// Stops the worker: a running script is interrupted, the queue dropped, the thread joined.
void SCWstop(SCWworker *worker);

#endif
