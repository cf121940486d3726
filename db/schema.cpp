#include <syslog.h>

#include "db/vexa_dao.h"

namespace {

// The steps of a creation, in this order. The format of the catalogue is version 0.2.
const struct {
  const char* sql;
  const char* failure;  // the log line of a step that failed
} kCreationSteps[] = {
    {"CREATE TABLE Schema (URI VARCHAR(256) NOT NULL, MajorVersion INTEGER NOT NULL, "
     "MinorVersion INTEGER NOT NULL);",
     "[VexaDAO] Failed to create SCHEMA table\n"},

    {"CREATE TABLE Camera (ManufacturerName VARCHAR(80) NOT NULL, "
     "ProductName VARCHAR(80) NOT NULL, ModelName VARCHAR(80) NOT NULL, "
     "SerialNumber VARCHAR(80) NOT NULL);",
     "[VexaDAO] Failed to create CAMERA table\n"},

    {"CREATE TABLE Track (DateFrom DATETIME NOT NULL, DateTo DATETIME NOT NULL, "
     "TriggerType INTEGER NOT NULL, Path VARCHAR(80) NOT NULL);",
     "[VexaDAO] Failed to create TRACK table\n"},

    {"CREATE TABLE Recording (Id INTEGER PRIMARY KEY, DateFrom DATETIME NOT NULL, "
     "DateTo DATETIME NOT NULL, Content VARCHAR(80), Status VARCHAR(20) NOT NULL, "
     "SourceId VARCHAR(128), SourceName VARCHAR(20), SourceLocation VARCHAR(256), "
     "SourceDescription VARCHAR(256), SourceAddress VARCHAR(128) NOT NULL, "
     "MaxRetentionTime INTEGER NOT NULL);",
     "[VexaDAO] Failed to create RECORDING table\n"},

    {"CREATE INDEX RecordingDateFromAscending ON Recording ( DateFrom ASC );"
     "CREATE INDEX RecordingDateToAscending ON Recording ( DateTo ASC );"
     "CREATE INDEX TrackDateFromAscending ON Track ( DateFrom ASC );"
     "CREATE INDEX TrackDateToAscending ON Track ( DateTo ASC );",
     "[VexaDAO] Failed to create indices\n"},

    {"CREATE TRIGGER ClipInserted AFTER INSERT ON Track BEGIN "
     "UPDATE Recording SET DateFrom = "
     "(SELECT IFNULL(MIN(Track.DateFrom), 0) FROM Track) WHERE Id = 1;"
     "UPDATE Recording SET DateTo = "
     "(SELECT IFNULL(MAX(Track.DateTo), 0) FROM Track) WHERE Id = 1;"
     "END;"
     "CREATE TRIGGER ClipDeleted AFTER DELETE ON Track BEGIN "
     "UPDATE Recording SET DateFrom = "
     "(SELECT IFNULL(MIN(Track.DateFrom), 0) FROM Track) WHERE Id = 1;"
     "UPDATE Recording SET DateTo = "
     "(SELECT IFNULL(MAX(Track.DateTo), 0) FROM Track) WHERE Id = 1;"
     "END;",
     "[VexaDAO] Failed to create triggers\n"},

    {"INSERT INTO Schema VALUES ('http://norvane.example/ipnc/recordings.xsd', 0, 2);",
     "[VexaDAO] Failed to populate SCHEMA table\n"},
};

}  // namespace

int VexaDAO::CreateNewDatabase(const char* manufacturerName, const char* productName,
                               const char* modelName, const char* serialNumber) {
  syslog(LOG_DAEMON | LOG_INFO, "[VexaDAO] Creating new database\n");
  for (const auto& step : kCreationSteps) {
    if (const int error = ExecuteStatement(step.sql); error != 0) {
      syslog(LOG_DAEMON | LOG_ERR, "%s", step.failure);
      return error;
    }
  }
  if (const int error = InsertCamera(manufacturerName, productName, modelName, serialNumber);
      error != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaDAO] Failed to populate CAMERA table\n");
    return error;
  }
  syslog(LOG_DAEMON | LOG_INFO, "[VexaDAO] Created new database\n");
  return 0;
}
