#include "db/connection.h"

#include <sqlite3.h>

#include <cstring>

Connection::~Connection() { sqlite3_close(connection); }

void Connection::Open(const std::string& filename, int flags) {
  const int kMinute = 60000;  // in milliseconds
  // SQLite takes some names for a database in memory or for a URI, but no name that begins with /
  // or with ./.
  const std::string path = filename[0] == '/' ? filename : "./" + filename;
  error = sqlite3_open_v2(path.c_str(), &connection, flags, nullptr);
  if (error != 0) {
    error = sqlite3_extended_errcode(connection);
    return;
  }
  sqlite3_extended_result_codes(connection, 1);
  sqlite3_busy_timeout(connection, kMinute);
}

sqlite3_stmt* Connection::Prepare(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  if (error == 0) {
    error = sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr);
  }
  return statement;
}

void Connection::Execute(const char* sql) {
  if (error == 0) {
    error = sqlite3_exec(connection, sql, nullptr, nullptr, nullptr);
  }
}

std::string Connection::Query(const std::string& sql) {
  sqlite3_stmt* statement = Prepare(sql);
  if (statement == nullptr) {
    return "";
  }
  std::string value;
  if (sqlite3_step(statement) == SQLITE_ROW) {
    const void* text = sqlite3_column_text(statement, 0);
    if (text != nullptr) {
      value = static_cast<const char*>(text);
    }
  }
  error = sqlite3_finalize(statement);
  return value;
}

std::string Connection::ErrorText() const {
  const int systemError = sqlite3_system_errno(connection);
  const bool isSystemError = sqlite3_errcode(connection) == SQLITE_CANTOPEN && systemError != 0;
  return isSystemError ? strerror(systemError) : sqlite3_errmsg(connection);
}
