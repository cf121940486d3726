#include <sys/ipc.h>
#include <sys/msg.h>
#include <syslog.h>

#include "app/signals.h"
#include "ipc/command_messages.h"
#include "manager/vexa_manager.h"

namespace {

// Removes the command queue at the end of its scope.
class QueueRemoval {
 public:
  explicit QueueRemoval(int queueId) : queueId_(queueId) {}
  ~QueueRemoval() { msgctl(queueId_, IPC_RMID, nullptr); }
  QueueRemoval(const QueueRemoval&) = delete;
  QueueRemoval& operator=(const QueueRemoval&) = delete;

 private:
  const int queueId_;
};

void LogEnd(int result) {
  if (result != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[main] Exiting due to error\n");
  } else {
    syslog(LOG_DAEMON | LOG_INFO, "[main] Exiting normally\n");
  }
}

// Serves the queue to its end and removes it; the database is closed after that. 0 for a normal
// end.
int RunService(const char* databaseFilename, int queueId, const char* watchDirectory) {
  VexaManager manager(databaseFilename, queueId, watchDirectory);
  const QueueRemoval removal(queueId);
  activeManager = &manager;
  syslog(LOG_DAEMON | LOG_INFO, "[main] Starting manager...\n");
  const int result = manager.Start();
  activeManager = nullptr;
  LogEnd(result);
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    syslog(LOG_DAEMON | LOG_ERR, "[main] Insufficient arguments supplied\n");
    syslog(LOG_DAEMON | LOG_ERR, "[main] Usage: vexamgr <databaseFilename> <watchDirectory>\n");
    return 1;
  }
  InstallSignalHandler();
  const int queueId = msgget(COMMAND_QUEUE_KEY, IPC_CREAT | 0666);
  if (queueId < 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[main] Failed to create message queue\n");
    return 1;
  }
  syslog(LOG_DAEMON | LOG_INFO, "[main] Creating manager...\n");
  try {
    return RunService(argv[1], queueId, argv[2]) != 0 ? 1 : 0;
  } catch (int databaseError) {
    const QueueRemoval removal(queueId);
    LogEnd(databaseError);
    return 1;
  }
}
