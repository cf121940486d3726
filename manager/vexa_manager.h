#ifndef VEXAMGR_MANAGER_VEXA_MANAGER_H
#define VEXAMGR_MANAGER_VEXA_MANAGER_H

#include <atomic>
#include <cstddef>
#include <string>

#include "db/vexa_dao.h"

struct CommandMessage;

// The service: keeps the catalogue in step with the clip descriptions of one watch directory. It
// populates a new database from them and then serves the command queue.
//
// Operations return 0, or a code that says why not: SQLite's for a failed statement,
// ParseClipFile's for an unusable clip description, errno for an unreadable directory or a failed
// receive, -1 for a refused request or an unknown identifier. Each failure is logged, except a
// refusal and a reply that is lost. If SQLite, tinyxml2 or scandir(3) runs out of memory, that is a
// failure like any other. If the service's own code does, std::bad_alloc is thrown. For the texts
// of the log, see doc/compatibility.md.
class VexaManager {
 public:
  // Opens the database; throws SQLite's result code, an int, if that fails. The queue is the
  // caller's to make and, after Start, to remove.
  VexaManager(const char* databaseFilename, int queue, const char* directory);
  virtual ~VexaManager();
  VexaManager(const VexaManager&) = delete;
  VexaManager& operator=(const VexaManager&) = delete;

  // Populates the database if it is new, then serves requests until Stop is called or an error
  // ends the service.
  int Start();

  // Ends the service once the request or the population in progress is complete. May be called by a
  // signal handler. A blocked receive ends only if a signal interrupts it.
  void Stop();

 private:
  int PopulateNewDatabase();
  int ScanDirectory(const std::string& directory);

  int InsertClip(const std::string& path);
  int DeleteClip(const std::string& path);

  int RunCommandLoop();
  bool CarryOut(const CommandMessage& request, size_t size, int* result);

  VexaDAO dao;
  const std::string watchDirectory;
  const int queueId;
  std::atomic<bool> running{true};  // false once Stop was called, which may be before the loop
  static_assert(std::atomic<bool>::is_always_lock_free, "Stop runs in a signal handler");
};

#endif
