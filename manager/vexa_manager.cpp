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

void VexaManager::Stop() { running = false; }

// The texts about the camera and its recording are for the camera's integrator to change.
int VexaManager::PopulateNewDatabase() {
  syslog(LOG_DAEMON | LOG_INFO, "[VexaManager] Populating new database\n");
  if (const int error = dao.CreateNewDatabase("Norvane", "Pellaro", "Quintor", ""); error != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Failed to create new database\n");
    return error;
  }
  const RecordingSource source = {"Source ID", "Source Name", "Source Location",
                                  "Source Description", "urn:camera0"};
  const uint32_t status = 2;  // has no meaning to the service
  // This row must be there before the first track, since the triggers set its dates.
  if (const int error = dao.InsertRecording(0, 0, "Recording Contents", status, source, 0);
      error != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Failed to populate RECORDING table\n");
    return error;
  }
  if (const int error = ScanDirectory(watchDirectory); error != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Error scanning directories\n");
    return error;
  }
  syslog(LOG_DAEMON | LOG_INFO, "[VexaManager] Populated new database\n");
  return 0;
}
