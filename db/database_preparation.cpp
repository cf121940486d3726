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

// Stores whether a creation was cut short before the row of Recording, which comes last. The row of
// Camera comes once all tables are there: without Recording, it is in somebody else's table.
int LookForUnfinishedTables(Connection* connection, bool* areUnfinished) {
  std::string tables;
  if (const int error = connection->Query(
          "SELECT GROUP_CONCAT(name) FROM sqlite_master WHERE type = 'table'", &tables);
      error != 0) {
    return error;
  }
  const auto has = [&tables](const char* name) { return tables.find(name) != std::string::npos; };
  *areUnfinished = false;
  for (const std::string table : {"Recording", "Track", "Camera"}) {
    const bool mayHaveRows = table == "Camera" && has("Recording");
    std::string rows = "0";
    if (has(table.c_str()) && !mayHaveRows) {
      const std::string sql = "SELECT EXISTS (SELECT 1 FROM " + table + ")";
      if (const int error = connection->Query(sql.c_str(), &rows); error != 0) {
        return error;
      }
    }
    if (rows != "0") {
      return 0;
    }
  }
  *areUnfinished = true;
  return 0;
}

// Works in one transaction. If a step fails, closing the connection undoes the others.
int DropUnfinishedTables(Connection* connection, bool* dropped) {
  bool areUnfinished = false;
  // The lock would end a population in progress, so the first look is without it.
  for (const char* next : {"BEGIN IMMEDIATE",
                           "DROP TABLE IF EXISTS Recording; DROP TABLE IF EXISTS Track;"
                           "DROP TABLE IF EXISTS Camera; DROP TABLE Schema; COMMIT"}) {
    if (const int error = LookForUnfinishedTables(connection, &areUnfinished); error != 0) {
      return error;
    }
    if (!areUnfinished) {
      return 0;
    }
    if (const int error = connection->Execute(next); error != 0) {
      return error;
    }
  }
  *dropped = true;
  return 0;
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
