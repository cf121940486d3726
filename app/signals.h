#ifndef VEXAMGR_APP_SIGNALS_H
#define VEXAMGR_APP_SIGNALS_H

#include <atomic>

class VexaManager;

// The manager that SIGINT and SIGTERM stop. While it is null, they are lost: see
// doc/compatibility.md.
extern std::atomic<VexaManager*> activeManager;
static_assert(std::atomic<VexaManager*>::is_always_lock_free, "read by a signal handler");

// Has HandleSignal called for these two. A receive that it interrupts fails with EINTR, which ends
// the service: msgrcv(2) is never restarted, see signal(7).
void InstallSignalHandler();

// Stops the active manager if the signal is one of the two.
void HandleSignal(int signal);

#endif
