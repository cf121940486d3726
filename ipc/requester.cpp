#include "ipc/requester.h"

#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

// The message type on which this thread awaits replies: its id, positive and unique among the live.
// Id 1, the first process of a container, is the type of requests; the largest type is no thread's.
int32_t ReplyType() {
  const pid_t thread = gettid();
  return thread == COMMAND_REQUEST_TYPE ? INT32_MAX : thread;
}

void DrainReplies(int queueId, int32_t type) {
  CommandReply stale;
  while (msgrcv(queueId, &stale, COMMAND_REPLY_SIZE, type, IPC_NOWAIT | MSG_NOERROR) >= 0) {
  }
}

// Repeats a non-blocking queue operation each millisecond until it succeeds, fails for another
// reason than that it would block, or the deadline has passed: msgsnd(2) and msgrcv(2) have no time
// limit of their own. Returns 0, ETIMEDOUT or the operation's errno.
template <typename Operation>
int RetryUntil(Clock::time_point deadline, Operation operation) {
  while (operation() < 0) {
    if (errno != EAGAIN && errno != ENOMSG && errno != EINTR) {
      return errno;
    }
    if (Clock::now() >= deadline) {
      return ETIMEDOUT;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return 0;
}

}  // namespace

int OpenCommandQueue(int* queueId) {
  const int id = msgget(COMMAND_QUEUE_KEY, 0);
  if (id < 0) {
    return errno;
  }
  *queueId = id;
  return 0;
}

size_t MakePathRequest(int32_t messageId, std::string_view path, CommandMessage* request) {
  const size_t length = path.copy(request->Data, kMaxPathLength);
  request->Data[length] = '\0';
  request->MessageId = messageId;
  request->DataLength = static_cast<int32_t>(length + 1);
  return COMMAND_HEADER_SIZE + length + 1;
}

int SendRequest(int queueId, CommandMessage* request, size_t textSize,
                std::chrono::milliseconds limit, int32_t* result) {
  const Clock::time_point deadline = Clock::now() + limit;
  const int32_t type = ReplyType();
  DrainReplies(queueId, type);
  request->mtype = COMMAND_REQUEST_TYPE;
  request->SenderType = type;
  int error = RetryUntil(deadline, [&] { return msgsnd(queueId, request, textSize, IPC_NOWAIT); });
  if (error != 0) {
    return error;
  }
  CommandReply reply;
  error = RetryUntil(deadline,
                     [&] { return msgrcv(queueId, &reply, COMMAND_REPLY_SIZE, type, IPC_NOWAIT); });
  if (error == 0) {
    *result = reply.Result;
  }
  return error;
}
