// vexactl sends requests to a running vexamgr and prints what became of them, and it prepares,
// checks and completes vexamgr's catalogue.

#include <cstdio>

#include "ipc/requester.h"
#include "tools/check.h"
#include "tools/command_line.h"
#include "tools/complete.h"
#include "tools/prepare.h"

namespace {

const char kHelpText[] = R"(Usage: vexactl [--timeout SECONDS] insert FILE...
       vexactl [--timeout SECONDS] delete FILE...
       vexactl [--timeout SECONDS] update ID --content TEXT --source-id TEXT
               --source-name TEXT --source-location TEXT --source-description TEXT
               --source-address TEXT --max-retention-time NUMBER
       vexactl [--timeout SECONDS] ping
       vexactl prepare DATABASE [WATCH_DIRECTORY]
       vexactl check DATABASE WATCH_DIRECTORY
       vexactl [--timeout SECONDS] complete [--pending] DATABASE WATCH_DIRECTORY
       vexactl --help | -h | --version

  insert    asks vexamgr to insert clips; each FILE is the clip description of one
  delete    asks vexamgr to delete these clips
  update    asks vexamgr to replace the descriptive columns of the recording ID
  ping      asks vexamgr whether it answers
  prepare   readies the DATABASE for a start of vexamgr and makes it if need be
  check     prints the clip descriptions below WATCH_DIRECTORY whose clips the
            DATABASE lacks, and those that can't be used
  complete  waits until vexamgr answers, then asks it to insert the clips that check
            finds missing

  --timeout SECONDS  the time limit of each request, 1 to 86400 (10 unless given)
  --pending          do nothing unless prepare has marked the DATABASE, and wait as
                     long as vexamgr or the watch directory is away

vexamgr takes a relative FILE from its own working directory. Before a FILE, ID
or DATABASE that begins with - there must be a --, and all options before that.
WATCH_DIRECTORY is named as for vexamgr. A request that is refused with 5,
because another process has locked the catalogue, is sent again until its time
limit has passed. vexactl(1) lists the exit statuses.
)";

ExitStatus SendAll(CommandLine* commandLine) {
  int queueId;
  if (const int error = OpenCommandQueue(&queueId); error != 0) {
    fprintf(stderr, "vexactl: %s\n", ErrorText(error));
    return kNoAnswer;
  }
  const std::chrono::seconds limit(commandLine->timeout);
  ExitStatus status = kCarriedOut;
  for (Request& request : commandLine->requests) {
    int32_t result;
    const int error = SendUntilUnlocked(queueId, limit, &request, &result);
    if (error != 0) {
      PrintReason(request.subject, std::string("no answer: ") + ErrorText(error));
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
  using Action = CommandLine::Action;
  switch (commandLine.action) {
    case Action::kHelp:
      fputs(kHelpText, stdout);
      return kCarriedOut;
    case Action::kVersion:
      puts("vexactl " VEXAMGR_VERSION);
      return kCarriedOut;
    case Action::kPrepare:
      return Prepare(commandLine.database, commandLine.watchDirectory);
    case Action::kCheck:
      return Check(commandLine.database, commandLine.watchDirectory);
    case Action::kComplete:
      return Complete({commandLine.database, commandLine.watchDirectory,
                       std::chrono::seconds(commandLine.timeout), commandLine.pending});
    default:
      return SendAll(&commandLine);
  }
}
