#include "db/database_preparation.h"

#include <sqlite3.h>

#include "db/connection.h"
#include "db/schema.h"

namespace {

int CreateWithWriteAheadLog(const std::string& filename, Connection* connection) {
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  if (const int error = connection->Open(filename, flags); error != 0) {
    return error;
  }
  return connection->Execute("PRAGMA page_size = 1024; PRAGMA journal_mode = WAL");
}

// Opens the file anew: only then does SQLite find out whether the file system can map the journal's
// index.
int TryWriteAheadLog(const std::string& filename, Connection* connection) {
  std::string mode;
  if (const int error = connection->Open(filename, SQLITE_OPEN_READWRITE); error != 0) {
    return error;
  }
  if (const int error = connection->Query("PRAGMA journal_mode", &mode); error != 0) {
    return error;
  }
  return mode == "wal" ? 0 : SQLITE_IOERR_SHMMAP;
}

DatabaseCreation OutcomeOf(int error) {
  switch (error) {
    case SQLITE_FULL:
    case SQLITE_IOERR_SHMSIZE:
      return DatabaseCreation::kNoRoom;
    case SQLITE_IOERR_SHMMAP:
      return DatabaseCreation::kNoSharedMappings;
    default:
      return DatabaseCreation::kFailed;
  }
}

// Works in one transaction. If a step fails, closing the connection undoes the others.
int DropUnfinishedTables(Connection* connection, bool* dropped) {
  // Creates the tables that the creation did not reach, so that both can be asked for rows.
  if (const int error = connection->Execute("BEGIN IMMEDIATE;"
                                            "CREATE TABLE IF NOT EXISTS Track (x);"
                                            "CREATE TABLE IF NOT EXISTS Recording (x)");
      error != 0) {
    return error;
  }
  std::string hasRows;
  if (const int error = connection->Query(
          "SELECT EXISTS (SELECT 1 FROM Track) OR EXISTS (SELECT 1 FROM Recording)", &hasRows);
      error != 0) {
    return error;
  }
  if (hasRows != "0") {
    return connection->Execute("ROLLBACK");
  }
  const int error = connection->Execute(
      "DROP TABLE Recording; DROP TABLE Track; DROP TABLE IF EXISTS Camera; DROP TABLE Schema;"
      "COMMIT");
  *dropped = error == 0;
  return error;
}

int LookForSchema(const std::string& filename, bool dropUnfinished, Connection* connection,
                  bool* isNew) {
  if (const int error = connection->Open(filename, SQLITE_OPEN_READWRITE); error != 0) {
    return error;
  }
  std::string count;
  if (const int error = connection->Query(kCountSchemaTables, &count); error != 0) {
    return error;
  }
  *isNew = count == "0";
  return dropUnfinished && !*isNew ? DropUnfinishedTables(connection, isNew) : 0;
}

}  // namespace

DatabaseCreation CreateEmptyDatabase(const std::string& filename, std::string* why) {
  for (const auto& step : {CreateWithWriteAheadLog, TryWriteAheadLog}) {
    Connection connection;
    if (const int error = step(filename, &connection); error != 0) {
      *why = connection.ErrorText();
      return OutcomeOf(error);
    }
  }
  return DatabaseCreation::kDone;
}

bool LookIntoDatabase(const std::string& filename, bool dropUnfinished, bool* isNew,
                      std::string* why) {
  Connection connection;
  if (LookForSchema(filename, dropUnfinished, &connection, isNew) != 0) {
    *why = connection.ErrorText();
    return false;
  }
  return true;
}
