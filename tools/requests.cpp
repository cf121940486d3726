#include "tools/requests.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <thread>

#include "ipc/requester.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

Request PathRequest(int32_t messageId, const char* outcome, const std::string& path) {
  CommandMessage message = {};
  const size_t size = MakePathRequest(messageId, path, &message);
  return {path, outcome, message, size};
}

// What the result code of a refused insertion stands for, where it is certain or likely. Any other
// code is tinyxml2's, for a file that vexamgr can't load, or SQLite's.
const char* MeaningOfInsertion(int32_t code) {
  switch (code) {
    case EINVAL:
      return "the content of the clip description is unusable";
    case 3:
      return "most likely vexamgr can't find the file or may not read it";
    case SQLITE_BUSY:
      return "the catalogue is locked, or the clip description can't be read";
    default:
      return "the service's log tells why";
  }
}

const char* MeaningOf(int32_t messageId, int32_t code) {
  if (messageId == COMMAND_DELETE_CLIP && code == -1) {
    return "not a clip description below the watch directory";
  }
  return messageId == COMMAND_INSERT_CLIP ? MeaningOfInsertion(code) : sqlite3_errstr(code);
}

}  // namespace

Request InsertionOf(const std::string& path) {
  return PathRequest(COMMAND_INSERT_CLIP, "inserted", path);
}

Request DeletionOf(const std::string& path) {
  return PathRequest(COMMAND_DELETE_CLIP, "deleted", path);
}

Request Ping() {
  Request request = {"vexamgr", "reached", {}, COMMAND_HEADER_SIZE, -1};
  request.message.MessageId = COMMAND_DELETE_CLIP;
  return request;
}

int SendUntilUnlocked(int queueId, milliseconds limit, Request* request, int32_t* result) {
  const auto deadline = Clock::now() + limit;
  const auto lastTime = deadline - milliseconds(100);
  milliseconds pause(10);
  int error = SendRequest(queueId, &request->message, request->size, limit, result);
  while (error == 0 && *result == SQLITE_BUSY && Clock::now() < lastTime) {
    std::this_thread::sleep_until(std::min(Clock::now() + pause, lastTime));
    pause = std::min(2 * pause, milliseconds(1000));
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    error = SendRequest(queueId, &request->message, request->size, left, result);
  }
  return error;
}

void PrintReason(const std::string& subject, const std::string& reason) {
  fprintf(stderr, "vexactl: %s: %s\n", subject.c_str(), reason.c_str());
}

void PrintOutcome(const Request& request, int32_t result) {
  if (result == request.success) {
    printf("%s %s\n", request.outcome, request.subject.c_str());
    return;
  }
  const char* meaning = MeaningOf(request.message.MessageId, result);
  PrintReason(request.subject, "refused with " + std::to_string(result) + " (" + meaning + ")");
}

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
