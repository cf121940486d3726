#include "manager/vexa_manager.h"

#include <syslog.h>

VexaManager::VexaManager(const char* databaseFilename, int queue, const char* directory)
    : dao(databaseFilename), watchDirectory(directory), queueId(queue) {}

VexaManager::~VexaManager() = default;

int VexaManager::Start() {
  if (dao.IsEmpty() != 0) {
    if (const int error = PopulateNewDatabase(); error != 0) {
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Failed to populate new database\n");
      return error;
    }
  }
  return RunCommandLoop();
}

void VexaManager::Stop() {
  stopRequested = true;
  running = false;
}
