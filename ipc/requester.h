#ifndef VEXAMGR_IPC_REQUESTER_H
#define VEXAMGR_IPC_REQUESTER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ipc/command_messages.h"

// The requester's side of the command channel, for a single-threaded process.

// Opens the service's queue, never creating it. Returns 0 and stores into *queueId, or returns the
// errno of msgget(2) and leaves *queueId unchanged; ENOENT: there is no queue, so no service.
int OpenCommandQueue(int* queueId);

// The longest path that a request can carry, in bytes without the NUL.
constexpr size_t kMaxPathLength = COMMAND_DATA_SIZE - 1;

// Makes *request an insert or a delete of the clip whose description has this path, cut to
// kMaxPathLength. Returns the size of the message, without mtype.
size_t MakePathRequest(int32_t messageId, std::string_view path, CommandMessage* request);

// The three operations below return 0, or ETIMEDOUT once their time limit has passed, or the errno
// of msgsnd(2) or msgrcv(2). SIGALRM and the timer of setitimer(2) are theirs: they leave the timer
// off and restore nothing.

// Puts a request of `size` bytes, without mtype, into the queue. If this returns an error, nothing
// was put there.
//
// Fills in mtype and SenderType. First drains the replies that wait for this process, or for an
// earlier process with the same id.
int PutRequest(int queueId, CommandMessage* request, size_t size, std::chrono::milliseconds limit);

// Takes the reply to the process's request with this MessageId and stores the service's result code
// into *result. Replies with another MessageId, to requests that were given up, are dropped.
int TakeReply(int queueId, int32_t messageId, std::chrono::milliseconds limit, int32_t* result);

// Does both, within one time limit. On failure *result is unchanged. After ETIMEDOUT the request
// may still be carried out, and its reply may come late. The next PutRequest drops replies that
// have come by then. A reply that comes still later is mistaken for the answer to that next request
// if the two have the same MessageId.
int SendRequest(int queueId, CommandMessage* request, size_t size, std::chrono::milliseconds limit,
                int32_t* result);

// Whether there is no message in the queue.
bool IsQueueEmpty(int queueId);

#endif
