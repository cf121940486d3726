#include <syslog.h>

#include "manager/vexa_manager.h"

int VexaManager::PopulateNewDatabase() {
  syslog(LOG_DAEMON | LOG_INFO, "[VexaManager] Populating new database\n");
  if (const int error = dao.CreateNewDatabase("Norvane", "Pellaro", "Quintor", ""); error != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Failed to create new database\n");
    return error;
  }
  // Before the first track: the triggers widen the dates of this row.
  if (const int error = InsertDefaultRecording(); error != 0) {
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

int VexaManager::InsertDefaultRecording() {
  const RecordingSource source = {"Source ID", "Source Name", "Source Location",
                                  "Source Description", "urn:camera0"};
  const uint32_t status = 2;
  return dao.InsertRecording(0, 0, "Recording Contents", status, source, 0);
}
