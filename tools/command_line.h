#ifndef VEXAMGR_TOOLS_COMMAND_LINE_H
#define VEXAMGR_TOOLS_COMMAND_LINE_H

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
  int timeout = 10;               // of each request, in seconds
  std::vector<Request> requests;  // of insert, delete, update and ping: at least one, of one kind
  std::string database;           // of prepare, check and complete
  std::string watchDirectory;     // of the same three; empty if prepare was given none
  bool pending = false;           // of complete
};

// Reads the command line into *commandLine with getopt_long(3), which keeps its place in variables
// of its own, so call it once only. Returns false, with *commandLine half-filled, after saying on
// standard error what is wrong.
bool ParseCommandLine(int argc, char** argv, CommandLine* commandLine);

#endif
