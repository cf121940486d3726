#ifndef VEXAMGR_APP_SIGNALS_H
#define VEXAMGR_APP_SIGNALS_H

#include <atomic>

#include "manager/vexa_manager.h"

// The manager that SIGINT and SIGTERM stop; null while there is none, when they have no effect.
extern std::atomic<VexaManager*> activeManager;
static_assert(std::atomic<VexaManager*>::is_always_lock_free, "read by a signal handler");

// Installs HandleSignal for SIGINT and SIGTERM, without SA_RESTART: a blocked receive must fail
// with EINTR for the service to end. See sigaction(2).
void InstallSignalHandler();

// Stops the active manager on SIGINT or SIGTERM; any other signal has no effect.
void HandleSignal(int signal);

#endif
