// vexactl sends requests to a running vexamgr and prints what became of them.

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <thread>

#include "ipc/requester.h"
#include "tools/command_line.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

enum ExitStatus { kCarriedOut = 0, kRefused = 1, kWrongUse = 2, kNoAnswer = 3 };

const char kHelpText[] =
    "Usage: vexactl [--timeout SECONDS] insert FILE...\n"
    "       vexactl [--timeout SECONDS] delete FILE...\n"
    "       vexactl [--timeout SECONDS] update ID --content TEXT --source-id TEXT\n"
    "               --source-name TEXT --source-location TEXT --source-description TEXT\n"
    "               --source-address TEXT --max-retention-time NUMBER\n"
    "       vexactl [--timeout SECONDS] ping\n"
    "       vexactl --help | -h | --version\n"
    "\n"
    "Asks a running vexamgr to insert or delete the clips that FILEs describe, or to replace\n"
    "the descriptive columns of the recording ID, or with ping just whether it answers. Paths\n"
    "are sent as given: the service takes relative ones from its own working directory. An ID\n"
    "or FILE that begins with - goes last, after --. A TEXT may be empty; the NUMBER is stored\n"
    "only. A request that is refused with 5, since another process has locked the catalogue, is\n"
    "sent again until the time limit.\n"
    "\n"
    "  --timeout SECONDS  the time limit of each request, 1 to 86400 (10 unless given)\n"
    "\n"
    "Exit status: 0 all carried out, 1 some refused, 2 wrong use (nothing was sent),\n"
    "3 no queue or no answer in time.\n";

// What a result code other than 0 stands for, or null where that is uncertain.
const char* Meaning(int32_t messageId, int32_t code) {
  if (messageId == COMMAND_INSERT_CLIP && code == EINVAL) {
    return "the content of the clip description is unusable";
  }
  if (messageId == COMMAND_INSERT_CLIP && code == 3) {
    return "most likely vexamgr can't find the file or may not read it";
  }
  if (messageId == COMMAND_INSERT_CLIP && code == SQLITE_BUSY) {
    return "the catalogue is locked, or the clip description can't be read";
  }
  if (messageId == COMMAND_INSERT_CLIP && code > 3 && code <= 18) {
    return nullptr;  // tinyxml2's, for a file that it can't load, or SQLite's
  }
  if (messageId == COMMAND_DELETE_CLIP && code == -1) {
    return "not a clip description below the watch directory";
  }
  return code > 0 ? sqlite3_errstr(code) : nullptr;
}

void PrintOutcome(const Request& request, int32_t result) {
  if (result == request.success) {
    printf("%s %s\n", request.outcome, request.subject.c_str());
    return;
  }
  const char* meaning = Meaning(request.message.MessageId, result);
  fprintf(stderr, "vexactl: %s: refused with %d (%s)\n", request.subject.c_str(), result,
          meaning != nullptr ? meaning : "the service's log tells why");
}

// What an error of OpenCommandQueue or SendRequest means.
const char* ErrorText(int error) {
  switch (error) {
    case ENOENT:
      return "there is no command queue: vexamgr is not running";
    case EIDRM:
    case EINVAL:
      return "the command queue was removed: vexamgr has ended";
    case ETIMEDOUT:
      return "the time limit has passed";
    default:
      return strerror(error);
  }
}

// Sends a request and, while the answer is that another process has locked the catalogue, sends it
// again after growing pauses, the last time 100 ms before its time limit. Returns 0 and stores the
// last answer's result into *result, or returns the error of SendRequest.
int SendUntilUnlocked(int queueId, milliseconds limit, Request* request, int32_t* result) {
  const auto deadline = Clock::now() + limit;
  const auto lastTime = deadline - milliseconds(100);
  milliseconds pause(10);
  int error = SendRequest(queueId, &request->message, request->textSize, limit, result);
  while (error == 0 && *result == SQLITE_BUSY && Clock::now() < lastTime) {
    std::this_thread::sleep_until(std::min(Clock::now() + pause, lastTime));
    pause = std::min(2 * pause, milliseconds(1000));
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    error = SendRequest(queueId, &request->message, request->textSize, left, result);
  }
  return error;
}

ExitStatus SendAll(CommandLine* commandLine) {
  int queueId;
  if (const int error = OpenCommandQueue(&queueId); error != 0) {
    fprintf(stderr, "vexactl: %s\n", ErrorText(error));
    return kNoAnswer;
  }
  ExitStatus status = kCarriedOut;
  for (Request& request : commandLine->requests) {
    int32_t result;
    const int error = SendUntilUnlocked(queueId, commandLine->timeout, &request, &result);
    if (error != 0) {
      fprintf(stderr, "vexactl: %s: no answer: %s\n", request.subject.c_str(), ErrorText(error));
      return kNoAnswer;
    }
    PrintOutcome(request, result);
    if (result != request.success) {
      status = kRefused;
    }
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  setlinebuf(stdout);  // keeps its lines in order with those on standard error
  CommandLine commandLine;
  if (!ParseCommandLine(argc, argv, &commandLine)) {
    fputs("Try 'vexactl --help'.\n", stderr);
    return kWrongUse;
  }
  switch (commandLine.action) {
    case CommandLine::Action::kHelp:
      fputs(kHelpText, stdout);
      return kCarriedOut;
    case CommandLine::Action::kVersion:
      puts("vexactl " VEXAMGR_VERSION);
      return kCarriedOut;
    case CommandLine::Action::kSend:
      break;
  }
  return SendAll(&commandLine);
}
