#ifndef VEXAMGR_APP_SIGNALS_H
#define VEXAMGR_APP_SIGNALS_H

#include <atomic>

class VexaManager;

// The manager that SIGINT and SIGTERM stop; null while there is none, when they have no effect.
extern std::atomic<VexaManager*> activeManager;
static_assert(std::atomic<VexaManager*>::is_always_lock_free, "read by a signal handler");

// Installs HandleSignal for SIGINT and SIGTERM, without flags. A receive that it interrupts fails
// with EINTR, which ends the service: msgrcv(2) is never restarted, see signal(7).
void InstallSignalHandler();

// Stops the active manager on SIGINT or SIGTERM; any other signal has no effect.
void HandleSignal(int signal);

#endif
