#ifndef VEXAMGR_TOOLS_COMPLETE_H
#define VEXAMGR_TOOLS_COMPLETE_H

#include <chrono>
#include <string>

#include "tools/requests.h"

struct CompletionOptions {
  std::string database;  // by its name, which may be that of a link
  std::string watchDirectory;
  std::chrono::milliseconds limit;  // of each request
  bool pending;                     // do nothing without the mark; begin again if vexamgr ends
};

// Waits until vexamgr serves, then has it insert every clip that is described below the watch
// directory and has no row in the database. Removes the database's mark unless something is left
// for another time. Prints what it inserts, and on standard error what it can't.
ExitStatus Complete(const CompletionOptions& options);

#endif
