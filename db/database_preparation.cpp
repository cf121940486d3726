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

int HasTable(Connection* connection, const std::string& table, bool* has) {
  std::string count;
  const int error = connection->Query(
      ("SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name = '" + table + "'")
          .c_str(),
      &count);
  *has = count == "1";
  return error;
}

// Stores false for a table that does not exist.
int HasRows(Connection* connection, const std::string& table, bool* has) {
  if (const int error = HasTable(connection, table, has); error != 0 || !*has) {
    return error;
  }
  std::string exists;
  const int error =
      connection->Query(("SELECT EXISTS (SELECT 1 FROM " + table + ")").c_str(), &exists);
  *has = exists == "1";
  return error;
}

// Stores whether vexamgr was stopped while it created the tables. vexamgr makes all tables first,
// then the row of Camera, and last the row of Recording. If it was stopped before that last row,
// Recording and Track have no rows. If Camera has a row but there is no table Recording, vexamgr
// did not make these tables, and they are kept.
int AreTablesUnfinished(Connection* connection, bool* areUnfinished) {
  *areUnfinished = false;
  bool hasRows = false;
  bool hasRecording = false;
  for (const char* table : {"Recording", "Track"}) {
    if (const int error = HasRows(connection, table, &hasRows); error != 0 || hasRows) {
      return error;
    }
  }
  if (const int error = HasTable(connection, "Recording", &hasRecording); error != 0) {
    return error;
  }
  if (const int error = HasRows(connection, "Camera", &hasRows); error != 0) {
    return error;
  }
  *areUnfinished = hasRecording || !hasRows;
  return 0;
}

// Works in one transaction. If a step fails, closing the connection undoes the others.
int DropUnfinishedTables(Connection* connection, bool* dropped) {
  bool areUnfinished = false;
  // Look first without a write lock: a write lock would make a population in progress fail.
  if (const int error = AreTablesUnfinished(connection, &areUnfinished);
      error != 0 || !areUnfinished) {
    return error;
  }
  if (const int error = connection->Execute("BEGIN IMMEDIATE"); error != 0) {
    return error;
  }
  if (const int error = AreTablesUnfinished(connection, &areUnfinished);
      error != 0 || !areUnfinished) {
    return error;
  }
  const int error = connection->Execute(
      "DROP TABLE IF EXISTS Recording; DROP TABLE IF EXISTS Track;"
      "DROP TABLE IF EXISTS Camera; DROP TABLE Schema; COMMIT");
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
  if (*isNew || !dropUnfinished) {
    return 0;
  }
  bool dropped = false;
  const int error = DropUnfinishedTables(connection, &dropped);
  *isNew = dropped;
  return error;
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
