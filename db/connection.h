#ifndef VEXAMGR_DB_CONNECTION_H
#define VEXAMGR_DB_CONNECTION_H

#include <string>

struct sqlite3;
struct sqlite3_stmt;

// vexactl's own connection to a database, apart from that of the service. Its statements wait up to
// a minute for another process's lock.
//
// After an operation has failed, the later ones do nothing, so that a caller can look for the error
// once, after several operations.
class Connection {
 public:
  Connection() = default;
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Opens a database, with the flags of sqlite3_open_v2. Takes every name for that of a file, never
  // for a URI or a database in memory. Call this once only.
  void Open(const std::string& filename, int flags);

  // Compiles a statement, which is the caller's to finalize. Returns null on failure.
  sqlite3_stmt* Prepare(const std::string& sql);

  // Runs statements whose rows nobody needs.
  void Execute(const char* sql);

  // Runs a query. Returns the first value of its first row, or an empty text on failure or if there
  // is no row.
  std::string Query(const std::string& sql);

  // 0, or SQLite's extended result code of the operation that has failed, and what that means.
  int Error() const { return error; }
  std::string ErrorText() const;

 private:
  sqlite3* connection = nullptr;
  int error = 0;
};

#endif
