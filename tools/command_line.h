#ifndef VEXAMGR_TOOLS_COMMAND_LINE_H
#define VEXAMGR_TOOLS_COMMAND_LINE_H

#include <chrono>
#include <string>
#include <vector>

#include "tools/requests.h"

// What a command line of vexactl asks for.
struct CommandLine {
  enum class Action {
    kInsert,
    kDelete,
    kUpdate,
    kPing,
    kPrepare,
    kCheck,
    kComplete,
    kHelp,
    kVersion,
  };

  Action action = Action::kHelp;
  std::chrono::seconds timeout{10};
  std::vector<Request> requests;  // one at least for the first four actions; all of one kind
  std::string database;           // for the next three
  std::string watchDirectory;     // for the same; empty if prepare was given none
  bool pending = false;           // for kComplete
};

// Reads the command line into *commandLine with getopt_long(3), which keeps its place in variables
// of its own, so call it once only. Returns false, with *commandLine half-filled, after saying on
// standard error what is wrong.
bool ParseCommandLine(int argc, char** argv, CommandLine* commandLine);

#endif
