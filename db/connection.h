#ifndef VEXAMGR_DB_CONNECTION_H
#define VEXAMGR_DB_CONNECTION_H

#include <string>

struct sqlite3;
struct sqlite3_stmt;

// vexactl's own connection to a database, apart from that of the service. Its statements wait up to
// a minute for another process's lock.
//
// Operations return 0 or SQLite's extended result code, which ErrorText then puts into words.
class Connection {
 public:
  Connection() = default;
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Opens a database, with the flags of sqlite3_open_v2. Any file name means a file. Once only.
  int Open(const std::string& filename, int flags);

  // Compiles a statement, which is the caller's to finalize.
  int Prepare(const char* sql, sqlite3_stmt** statement);

  // Runs statements whose rows nobody needs.
  int Execute(const char* sql);

  // Runs a query and stores the first value of its first row, or an empty text if it has no row.
  int Query(const char* sql, std::string* value);

  std::string ErrorText() const;

 private:
  sqlite3* connection = nullptr;
};

#endif
