#include "ipc/requester.h"

#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#ifndef sigev_notify_thread_id  // sigevent(7) has it, glibc has not
#define sigev_notify_thread_id _sigev_un._tid
#endif

namespace {

using Clock = std::chrono::steady_clock;  // that is CLOCK_MONOTONIC

// The message type on which this thread awaits replies: its id, positive and unique among the live
// of one PID namespace. Id 1, that of the namespace's first process, is the type of requests;
// INT32_MAX, which is no thread's id, stands for it.
int32_t ReplyType() {
  const pid_t thread = gettid();
  return thread == COMMAND_REQUEST_TYPE ? INT32_MAX : thread;
}

void DrainReplies(int queueId, int32_t type) {
  CommandReply stale;
  while (msgrcv(queueId, &stale, COMMAND_REPLY_SIZE, type, IPC_NOWAIT | MSG_NOERROR) >= 0) {
  }
}

timespec ToTimespec(std::chrono::nanoseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {static_cast<time_t>(seconds.count()), static_cast<long>((time - seconds).count())};
}

// Interrupts the calling thread's system calls with a signal at the deadline, and again each 10 ms:
// one signal alone could come before the call that it is to interrupt. The signal's disposition is
// restored at the end of the scope.
class Interruption {
 public:
  explicit Interruption(Clock::time_point deadline) {
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = signal;
    event.sigev_notify_thread_id = gettid();
    if (timer_create(CLOCK_MONOTONIC, &event, &timer) < 0) {
      error = errno;
      return;
    }
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(signal, &action, &previousAction);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, signal);
    pthread_sigmask(SIG_UNBLOCK, &signals, &previousMask);
    const itimerspec times = {ToTimespec(std::chrono::milliseconds(10)),
                              ToTimespec(deadline.time_since_epoch())};
    timer_settime(timer, TIMER_ABSTIME, &times, nullptr);
  }
  ~Interruption() {
    if (error == 0) {
      timer_delete(timer);
      pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
      sigaction(signal, &previousAction, nullptr);
    }
  }
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  int error = 0;  // the errno of timer_create(2), if there is no timer

 private:
  const int signal = SIGRTMIN;
  timer_t timer;
  struct sigaction previousAction;
  sigset_t previousMask;
};

// Calls a blocking queue operation until it succeeds, fails otherwise than by being interrupted, or
// the deadline has passed. Returns 0, the operation's errno or ETIMEDOUT.
template <typename Operation>
int CallUntil(Clock::time_point deadline, Operation operation) {
  while (operation() < 0) {
    if (errno != EINTR) {
      return errno;
    }
    if (Clock::now() >= deadline) {
      return ETIMEDOUT;
    }
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
  const Interruption interruption(deadline);
  if (interruption.error != 0) {
    return interruption.error;
  }
  int error = CallUntil(deadline, [&] { return msgsnd(queueId, request, textSize, 0); });
  if (error != 0) {
    return error;
  }
  CommandReply reply;
  error = CallUntil(deadline, [&] { return msgrcv(queueId, &reply, COMMAND_REPLY_SIZE, type, 0); });
  if (error == 0) {
    *result = reply.Result;
  }
  return error;
}
