#include "db/database_preparation.h"

#include <sqlite3.h>

#include "db/connection.h"
#include "db/schema.h"

namespace {

// The two steps of a creation return 0, or SQLite's extended result code with the reason in *why.

int CreateWithWriteAheadLog(const std::string& filename, std::string* why) {
  Connection connection;
  connection.Open(filename, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  connection.Execute("PRAGMA page_size = 1024; PRAGMA journal_mode = WAL");
  *why = connection.ErrorText();
  return connection.Error();
}

// Opens the file anew: only then does SQLite find out whether the file system can map the journal's
// index.
int TryWriteAheadLog(const std::string& filename, std::string* why) {
  Connection connection;
  connection.Open(filename, SQLITE_OPEN_READWRITE);
  const std::string mode = connection.Query("PRAGMA journal_mode");
  *why = connection.ErrorText();
  return connection.Error() == 0 && mode != "wal" ? SQLITE_IOERR_SHMMAP : connection.Error();
}

DatabaseCreation OutcomeOf(int error) {
  switch (error) {
    case SQLITE_OK:
      return DatabaseCreation::kDone;
    case SQLITE_FULL:
    case SQLITE_IOERR_SHMSIZE:
      return DatabaseCreation::kNoRoom;
    case SQLITE_IOERR_SHMMAP:
      return DatabaseCreation::kNoSharedMappings;
    default:
      return DatabaseCreation::kFailed;
  }
}

// HasTable and HasRows return false after an error of the connection.
bool HasTable(Connection* connection, const std::string& table) {
  return connection->Query("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = '" + table +
                           "'") == "1";
}

bool HasRows(Connection* connection, const std::string& table) {
  return HasTable(connection, table) && connection->Query("SELECT 1 FROM " + table) == "1";
}

// Whether vexamgr was stopped while it created the tables. vexamgr makes all tables first, then the
// row of Camera, and last the row of Recording. If it was stopped before that last row, Recording
// and Track have no rows. If Camera has a row but there is no table Recording, vexamgr did not make
// these tables, and they are kept.
bool AreTablesUnfinished(Connection* connection) {
  const bool hasRecordingOrTracks =
      HasRows(connection, "Recording") || HasRows(connection, "Track");
  const bool areVexamgrs = HasTable(connection, "Recording") || !HasRows(connection, "Camera");
  return !hasRecordingOrTracks && areVexamgrs && connection->Error() == 0;
}

// Works in one transaction. If a step fails, closing the connection undoes the others.
void DropUnfinishedTables(Connection* connection) {
  // Look first without a write lock: a write lock would make a population in progress fail.
  if (!AreTablesUnfinished(connection)) {
    return;
  }
  connection->Execute("BEGIN IMMEDIATE");
  if (AreTablesUnfinished(connection)) {
    connection->Execute(
        "DROP TABLE IF EXISTS Recording; DROP TABLE IF EXISTS Track;"
        "DROP TABLE IF EXISTS Camera; DROP TABLE Schema; COMMIT");
  }
}

}  // namespace

DatabaseCreation CreateEmptyDatabase(const std::string& filename, std::string* why) {
  int error = CreateWithWriteAheadLog(filename, why);
  if (error == 0) {
    error = TryWriteAheadLog(filename, why);
  }
  return OutcomeOf(error);
}

bool LookIntoDatabase(const std::string& filename, bool dropUnfinished, bool* isNew,
                      std::string* why) {
  Connection connection;
  connection.Open(filename, SQLITE_OPEN_READWRITE);
  *isNew = connection.Query(kCountSchemaTables) == "0";
  if (!*isNew && dropUnfinished) {
    DropUnfinishedTables(&connection);
  }
  *why = connection.ErrorText();
  return connection.Error() == 0;
}
