#include "db/connection.h"

#include <sqlite3.h>

#include <cstring>

Connection::~Connection() { sqlite3_close(connection); }

int Connection::Open(const std::string& filename, int flags) {
  const int kMinute = 60 * 1000;
  // SQLite takes some names for a database in memory or for a URI, but no name that begins with /
  // or with ./.
  const std::string path = filename[0] == '/' ? filename : "./" + filename;
  const int error = sqlite3_open_v2(path.c_str(), &connection, flags, nullptr);
  if (connection == nullptr) {
    return SQLITE_NOMEM;
  }
  sqlite3_extended_result_codes(connection, 1);
  sqlite3_busy_timeout(connection, kMinute);
  return error == SQLITE_OK ? 0 : sqlite3_extended_errcode(connection);
}

int Connection::Prepare(const char* sql, sqlite3_stmt** statement) {
  return sqlite3_prepare_v2(connection, sql, -1, statement, nullptr);
}

int Connection::Execute(const char* sql) {
  return sqlite3_exec(connection, sql, nullptr, nullptr, nullptr);
}

int Connection::Query(const char* sql, std::string* value) {
  sqlite3_stmt* statement = nullptr;
  if (const int error = Prepare(sql, &statement); error != 0) {
    return error;
  }
  value->clear();
  if (sqlite3_step(statement) == SQLITE_ROW) {
    const void* text = sqlite3_column_text(statement, 0);
    if (text != nullptr) {
      value->assign(static_cast<const char*>(text));
    }
  }
  return sqlite3_finalize(statement);
}

std::string Connection::ErrorText() const {
  const int systemError = sqlite3_system_errno(connection);
  const bool isSystemError = sqlite3_errcode(connection) == SQLITE_CANTOPEN && systemError != 0;
  return isSystemError ? strerror(systemError) : sqlite3_errmsg(connection);
}
