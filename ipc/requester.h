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
// kMaxPathLength. Returns the size of the request's text.
size_t MakePathRequest(int32_t messageId, std::string_view path, CommandMessage* request);

// Sends the first textSize bytes of the request's text and waits for its reply, both within one
// time limit. Returns 0 and stores the service's result code into *result, or returns ETIMEDOUT or
// the errno of msgsnd(2) or msgrcv(2) and leaves *result unchanged.
//
// Fills in mtype and SenderType: the process's id, or INT32_MAX for id 1, which is the type of
// requests. First drains the replies that wait for an earlier process of that id. After ETIMEDOUT
// the request may still be carried out; a reply to it that comes after the drain of the process's
// next request is taken for the answer to that one.
// SIGALRM and the timer of setitimer(2) are its own: it leaves the timer off and restores nothing.
int SendRequest(int queueId, CommandMessage* request, size_t textSize,
                std::chrono::milliseconds limit, int32_t* result);

#endif
