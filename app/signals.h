#ifndef VEXAMGR_APP_SIGNALS_H
#define VEXAMGR_APP_SIGNALS_H

#include <atomic>

class VexaManager;

// The manager that SIGINT and SIGTERM stop. Once the handler is installed, the two signals have no
// effect while this is null: see doc/compatibility.md.
extern std::atomic<VexaManager*> activeManager;
static_assert(std::atomic<VexaManager*>::is_always_lock_free, "read by a signal handler");

// Has HandleSignal called for SIGINT and SIGTERM. Before this call, the two signals end the
// process. A signal makes a blocked msgrcv(2) fail with EINTR, whatever the flags of sigaction(2)
// are: see signal(7).
void InstallSignalHandler();

// Stops the active manager if the signal is SIGINT or SIGTERM.
void HandleSignal(int signal);

#endif
