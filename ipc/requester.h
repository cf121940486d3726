#ifndef VEXAMGR_IPC_REQUESTER_H
#define VEXAMGR_IPC_REQUESTER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ipc/command_messages.h"

// The requester's side of the command channel.

// Opens the service's queue, never creating it. Returns 0 and stores into *queueId, or returns the
// errno of msgget(2) and leaves *queueId unchanged; ENOENT: there is no queue, so no service.
int OpenCommandQueue(int* queueId);

// The longest path that a request can carry, in bytes without the NUL.
constexpr size_t kMaxPathLength = COMMAND_DATA_SIZE - 1;

// Makes *request an insert or a delete of the clip whose description has this path, cut to
// kMaxPathLength. Returns the size of the request's text.
size_t MakePathRequest(int32_t messageId, std::string_view path, CommandMessage* request);

// Sends the first textSize bytes of the request's text and waits for its reply, both within one
// time limit. mtype and SenderType are filled in: the calling thread's id (INT32_MAX for the id 1,
// which is the type of requests), after any reply left for it by an earlier thread of that id has
// been drained. Returns 0 and stores the service's result code into *result, or returns ETIMEDOUT
// or the errno of msgsnd(2), msgrcv(2) or timer_create(2) and leaves *result unchanged. After
// ETIMEDOUT the request may still be carried out; a reply that comes so late that the thread's next
// request has drained the queue already is taken for the answer to that one. Meanwhile it handles
// SIGRTMIN, so only one thread of a process at a time may call it.
int SendRequest(int queueId, CommandMessage* request, size_t textSize,
                std::chrono::milliseconds limit, int32_t* result);

#endif
