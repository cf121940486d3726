#ifndef VEXAMGR_TOOLS_REQUESTS_H
#define VEXAMGR_TOOLS_REQUESTS_H

#include <chrono>
#include <cstddef>
#include <string>

#include "ipc/command_messages.h"

// vexactl's exit statuses.
enum ExitStatus {
  kCarriedOut = 0,
  kRefused = 1,
  kMissing = 1,     // of check: a clip has no row, or a clip description can't be used
  kWrongUse = 2,    // nothing was done
  kNoAnswer = 3,    // no queue, no answer in time; of complete: an error ended it
  kCannotTell = 3,  // of check
  kFailed = 255,    // of prepare; systemd counts 255 as a failure of the unit, but not 1
};

// One request that vexactl is to send.
struct Request {
  std::string subject;     // printed: a path, the recording or vexamgr
  const char* outcome;     // printed before the subject once the request was carried out
  CommandMessage message;  // complete but for mtype and SenderType
  size_t size;             // of the message, without mtype
  int32_t success = 0;     // the result code of a request that was carried out
};

// An insertion or a deletion. The path has at most kMaxPathLength bytes.
Request InsertionOf(const std::string& path);
Request DeletionOf(const std::string& path);

// A deletion without a path. The service refuses it with -1, changes nothing and logs nothing. The
// refusal shows that the service answers.
Request Ping();

// Sends a request. If the answer says that another process has locked the catalogue, sends the
// request again after growing pauses; the last attempt is made 100 ms before the time limit.
// Returns 0 and stores the result of the last answer, or returns the error of SendRequest.
int SendUntilUnlocked(int queueId, std::chrono::milliseconds limit, Request* request,
                      int32_t* result);

// Prints what became of an answered request: a line on standard output if it was carried out, else
// on standard error.
void PrintOutcome(const Request& request, int32_t result);

// Prints a line on standard error: "vexactl: SUBJECT: REASON".
void PrintReason(const std::string& subject, const std::string& reason);

// What an error of OpenCommandQueue or SendRequest means.
const char* ErrorText(int error);

#endif
