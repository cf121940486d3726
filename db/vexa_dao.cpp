#include "db/vexa_dao.h"

#include <sqlite3.h>
#include <syslog.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "clip/track_record.h"
#include "db/schema.h"
#include "ipc/command_messages.h"

namespace {

// Room for 254 characters of a statement and a NUL. A longer statement is cut there, and mostly
// fails: see doc/compatibility.md. An update has no such limit.
constexpr size_t kStatementSize = 255;

// The text as it must stand between single quotes in SQL: with every single quote doubled.
std::string EscapeQuotes(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    if (character == '\'') {
      escaped += '\'';
    }
    escaped += character;
  }
  return escaped;
}

// The text of a fixed-size field: up to its NUL, or all of the field if it has none.
template <size_t size>
std::string EscapedField(const char (&field)[size]) {
  return EscapeQuotes(std::string_view(field, strnlen(field, size)));
}

// The row callback of sqlite3_exec for a query of one number; `count` is the long that receives it.
// If SQLite has no memory for the column's text, it hands over a null, and the query fails.
int ReadCountCallback(void* count, int /*columns*/, char** values, char** /*names*/) {
  if (values[0] == nullptr) {
    return 1;
  }
  *static_cast<long*>(count) = strtol(values[0], nullptr, 10);
  return 0;
}

}  // namespace

VexaDAO::VexaDAO(const char* filename) {
  if (sqlite3_open(filename, &connection) != SQLITE_OK) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaDAO] Failed to open database (%s)\n", filename);
    const int error = LogSqliteError();
    sqlite3_close(connection);
    throw error;
  }
}

VexaDAO::~VexaDAO() {
  if (sqlite3_close(connection) != SQLITE_OK) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaDAO] Failed to close database\n");
    LogSqliteError();
  }
}

int VexaDAO::IsEmpty() {
  long count = 0;
  const int error =
      sqlite3_exec(connection, kCountSchemaTables, ReadCountCallback, &count, nullptr);
  if (error != SQLITE_OK) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaDAO] Error checking whether database is empty\n");
    LogSqliteError();
    return 0;
  }
  return count == 0;
}

int VexaDAO::InsertCamera(const char* manufacturerName, const char* productName,
                          const char* modelName, const char* serialNumber) {
  char sql[kStatementSize];
  snprintf(sql, sizeof sql, "INSERT INTO Camera VALUES ('%s', '%s', '%s', '%s');",
           EscapeQuotes(manufacturerName).c_str(), EscapeQuotes(productName).c_str(),
           EscapeQuotes(modelName).c_str(), EscapeQuotes(serialNumber).c_str());
  return ExecuteStatement(sql);
}

int VexaDAO::InsertTrack(const TrackRecord& track) {
  char sql[kStatementSize];
  snprintf(sql, sizeof sql, "INSERT INTO Track VALUES ('%lu', '%lu', '%u', '%s');",
           static_cast<unsigned long>(track.DateFrom), static_cast<unsigned long>(track.DateTo),
           track.TriggerType, EscapeQuotes(track.Path).c_str());
  return ExecuteStatement(sql);
}

int VexaDAO::DeleteTrack(const char* pathFragment) {
  char sql[kStatementSize];
  snprintf(sql, sizeof sql, "DELETE FROM Track WHERE INSTR(Path, '%s');",
           EscapeQuotes(pathFragment).c_str());
  return ExecuteStatement(sql);
}

int VexaDAO::InsertRecording(uint32_t dateFrom, uint32_t dateTo, const std::string& content,
                             uint32_t status, const RecordingSource& source,
                             uint32_t maxRetentionTime) {
  char sql[kStatementSize];
  snprintf(sql, sizeof sql,
           "INSERT INTO Recording VALUES "
           "(NULL, '%lu', '%lu', '%s', '%u', '%s', '%s', '%s', '%s', '%s', '%lu');",
           static_cast<unsigned long>(dateFrom), static_cast<unsigned long>(dateTo),
           EscapeQuotes(content).c_str(), status, EscapeQuotes(source.SourceId).c_str(),
           EscapeQuotes(source.SourceName).c_str(), EscapeQuotes(source.SourceLocation).c_str(),
           EscapeQuotes(source.SourceDescription).c_str(),
           EscapeQuotes(source.SourceAddress).c_str(),
           static_cast<unsigned long>(maxRetentionTime));
  return ExecuteStatement(sql);
}

int VexaDAO::UpdateRecording(const RecordingUpdate& update) {
  std::string sql = "UPDATE Recording SET ";
  sql += "SourceId = '" + EscapedField(update.SourceId);
  sql += "', SourceName = '" + EscapedField(update.SourceName);
  sql += "', SourceLocation = '" + EscapedField(update.SourceLocation);
  sql += "', SourceDescription = '" + EscapedField(update.SourceDescription);
  sql += "', SourceAddress = '" + EscapedField(update.SourceAddress);
  sql += "', Content = '" + EscapedField(update.Content);
  sql += "', MaxRetentionTime = " + std::to_string(update.MaxRetentionTime);
  sql += " WHERE Id = " + std::to_string(update.Id);
  sql += ";";
  return ExecuteStatement(sql.c_str());
}

int VexaDAO::ExecuteStatement(const char* sql) {
  const int error = sqlite3_exec(connection, sql, nullptr, nullptr, nullptr);
  return error == SQLITE_OK ? 0 : LogSqliteError();
}

int VexaDAO::LogSqliteError() {
  const int code = sqlite3_errcode(connection);
  syslog(LOG_DAEMON | LOG_ERR, "[VexaDAO] sqlite3 error (%d) %s\n", code, sqlite3_errstr(code));
  return code;
}
