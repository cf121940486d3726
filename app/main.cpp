#include <sys/ipc.h>
#include <sys/msg.h>
#include <syslog.h>

#include <cerrno>
#include <new>
#include <optional>

#include "app/signals.h"
#include "ipc/command_messages.h"
#include "manager/vexa_manager.h"

namespace {

// Makes the manager in *manager and runs the service. Returns 0, or the error that ended it.
int RunManager(const char* databaseFilename, int queueId, const char* watchDirectory,
               std::optional<VexaManager>* manager) {
  try {
    manager->emplace(databaseFilename, queueId, watchDirectory);
    activeManager = &manager->value();
    syslog(LOG_DAEMON | LOG_INFO, "[main] Starting manager...\n");
    return manager->value().Start();
  } catch (int databaseError) {
    return databaseError;
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    syslog(LOG_DAEMON | LOG_ERR, "[main] Insufficient arguments supplied\n");
    syslog(LOG_DAEMON | LOG_ERR, "[main] Usage: vexamgr <databaseFilename> <watchDirectory>\n");
    return 1;
  }
  InstallSignalHandler();
  // The queue comes before the database: see doc/compatibility.md.
  const int queueId = msgget(COMMAND_QUEUE_KEY, IPC_CREAT | 0666);
  if (queueId == -1) {
    syslog(LOG_DAEMON | LOG_ERR, "[main] Failed to create message queue\n");
    return 1;
  }
  syslog(LOG_DAEMON | LOG_INFO, "[main] Creating manager...\n");
  // The manager is declared here so that it is destroyed, and the database closed, after the queue
  // has been removed: see doc/compatibility.md.
  std::optional<VexaManager> manager;
  const int result = RunManager(argv[1], queueId, argv[2], &manager);
  activeManager = nullptr;
  if (result != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[main] Exiting due to error\n");
  } else {
    syslog(LOG_DAEMON | LOG_INFO, "[main] Exiting normally\n");
  }
  msgctl(queueId, IPC_RMID, nullptr);
  return result != 0 ? 1 : 0;
}
