#ifndef VEXAMGR_TOOLS_COMMAND_LINE_H
#define VEXAMGR_TOOLS_COMMAND_LINE_H

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "ipc/command_messages.h"

// One request that vexactl is to send.
struct Request {
  std::string subject;     // what it is about, for the output: a path, "recording ID", "vexamgr"
  const char* outcome;     // what becomes of the subject when it is carried out, for the output
  CommandMessage message;  // complete but for mtype and SenderType
  size_t textSize;
  int32_t success = 0;  // the result code of a request that was carried out
};

// What a command line of vexactl asks for.
struct CommandLine {
  enum class Action { kSend, kHelp, kVersion };

  Action action = Action::kSend;
  std::chrono::seconds timeout{10};
  std::vector<Request> requests;  // one at least for kSend; all of one kind
};

// Reads the command line into *commandLine with getopt_long(3), which keeps its place in variables
// of its own, so call it once only. Returns false, with *commandLine half-filled, after saying on
// standard error what is wrong.
bool ParseCommandLine(int argc, char** argv, CommandLine* commandLine);

#endif
