/* process_int.h - what the platform core's process calls share inside the
 * library: waiting for a child with a time limit while its output is
 * drained, and ending whatever it left holding that output. */
#ifndef VUROCORE_PROCESS_INT_H
#define VUROCORE_PROCESS_INT_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

/* One line a child wrote: the index of its pipe in the list and the text
 * without the line end (long lines come in pieces). */
using VuroProcLineFn = std::function<void(size_t, const std::string&)>;

/* Waits for pid, for at most seconds, while every line written on the pipe
 * read ends fds (taken over and closed here) goes to onLine. Everything the
 * child starts inherits the pipes, so they mark its descendants even when
 * they leave its process group (setsid): once the child has ended, or when
 * the limit passes, every other process still holding a pipe for writing
 * is killed, and the child's group with the child at the limit. 1 with
 * *status when the child ended in time, 0 when the limit passed (the child
 * is reaped), -1 when it cannot be waited for. */
int VuroProcWaitDraining(pid_t pid, long seconds, std::vector<int> fds,
                         const VuroProcLineFn& onLine, int* status);

#endif
