#include "ipc/requester.h"

#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

// The message type on which this process awaits replies: the process's id, which is positive and
// unique in a PID namespace. The process with the id 1 takes INT32_MAX, since 1 is the type of
// requests and no process has the id INT32_MAX.
int32_t ReplyType() {
  const pid_t process = getpid();
  return process == COMMAND_REQUEST_TYPE ? INT32_MAX : process;
}

void DrainReplies(int queueId, int32_t type) {
  CommandReply stale;
  while (msgrcv(queueId, &stale, COMMAND_REPLY_SIZE, type, IPC_NOWAIT | MSG_NOERROR) != -1) {
  }
}

timeval ToTimeval(microseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {static_cast<time_t>(seconds.count()), static_cast<suseconds_t>((time - seconds).count())};
}

// Has SIGALRM interrupt blocked system calls once the limit has passed, and again every 10 ms,
// since the first signal may come just before the call that it is to interrupt.
void StartInterruptions(microseconds limit) {
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, nullptr);
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  sigprocmask(SIG_UNBLOCK, &alarm, nullptr);
  // A limit of 0 would leave the timer off.
  const itimerval times = {ToTimeval(milliseconds(10)),
                           ToTimeval(std::max(limit, microseconds(1)))};
  setitimer(ITIMER_REAL, &times, nullptr);
}

void StopInterruptions() {
  const itimerval off = {};
  setitimer(ITIMER_REAL, &off, nullptr);
}

// Calls a blocking queue operation until it succeeds, fails otherwise than by being interrupted, or
// the deadline has passed. Returns 0, the operation's errno or ETIMEDOUT.
template <typename Operation>
int CallUntil(Clock::time_point deadline, Operation operation) {
  int error = 0;
  StartInterruptions(std::chrono::duration_cast<microseconds>(deadline - Clock::now()));
  while (error == 0 && operation() == -1) {
    if (errno != EINTR) {
      error = errno;
    } else if (Clock::now() >= deadline) {
      error = ETIMEDOUT;
    }
  }
  StopInterruptions();
  return error;
}

}  // namespace

int OpenCommandQueue(int* queueId) {
  const int id = msgget(COMMAND_QUEUE_KEY, 0);
  if (id == -1) {
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

int PutRequest(int queueId, CommandMessage* request, size_t size, milliseconds limit) {
  request->mtype = COMMAND_REQUEST_TYPE;
  request->SenderType = ReplyType();
  DrainReplies(queueId, request->SenderType);
  return CallUntil(Clock::now() + limit, [&] { return msgsnd(queueId, request, size, 0); });
}

int TakeReply(int queueId, int32_t messageId, milliseconds limit, int32_t* result) {
  const Clock::time_point deadline = Clock::now() + limit;
  const int32_t type = ReplyType();
  CommandReply reply;
  do {
    const int error =
        CallUntil(deadline, [&] { return msgrcv(queueId, &reply, COMMAND_REPLY_SIZE, type, 0); });
    if (error != 0) {
      return error;
    }
  } while (reply.MessageId != messageId);
  *result = reply.Result;
  return 0;
}

int SendRequest(int queueId, CommandMessage* request, size_t size, milliseconds limit,
                int32_t* result) {
  const Clock::time_point deadline = Clock::now() + limit;
  if (const int error = PutRequest(queueId, request, size, limit); error != 0) {
    return error;
  }
  const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
  return TakeReply(queueId, request->MessageId, left, result);
}

bool IsQueueEmpty(int queueId) {
  msqid_ds status;
  return msgctl(queueId, IPC_STAT, &status) == 0 && status.msg_qnum == 0;
}
