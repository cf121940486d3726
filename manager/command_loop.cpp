#include <sys/ipc.h>
#include <sys/msg.h>
#include <syslog.h>

#include <cerrno>
#include <cstring>

#include "ipc/command_messages.h"
#include "manager/vexa_manager.h"

namespace {

// The path in a request of `size` bytes. A path without a NUL ends where the request ends: the
// bytes after it belong to an earlier request.
std::string PathOf(const CommandMessage& request, size_t size) {
  return std::string(request.Data, strnlen(request.Data, size - COMMAND_HEADER_SIZE));
}

// Turns the request in *message into its reply, which keeps the MessageId, and sends the reply.
void Reply(int queueId, CommandMessage* message, int32_t result) {
  if (message->SenderType == COMMAND_REQUEST_TYPE) {
    return;  // the reply would come back as a request, without end
  }
  message->mtype = message->SenderType;
  message->SenderType = COMMAND_REQUEST_TYPE;
  message->DataLength = sizeof result;
  memcpy(message->Data, &result, sizeof result);
  msgsnd(queueId, message, COMMAND_REPLY_SIZE, 0);  // a lost reply is the requester's loss
}

}  // namespace

int VexaManager::RunCommandLoop() {
  CommandMessage message;
  int result = 0;
  // What ends the loop, and with which result, is fixed: see doc/compatibility.md. A stop that
  // comes between the test of `running` and msgrcv(2) takes effect only after the next request.
  while (running) {
    const ssize_t size = msgrcv(queueId, &message, COMMAND_REQUEST_SIZE, COMMAND_REQUEST_TYPE, 0);
    if (size == -1) {
      const int error = errno;
      if (!running && error == EINTR) {
        return 0;
      }
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Error receiving message %d\n", error);
      return error;
    }
    result = 0;
    if (size < COMMAND_LEAST_SIZE) {
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Incomplete message received\n");
    } else if (CarryOut(message, static_cast<size_t>(size), &result)) {
      Reply(queueId, &message, result);
    } else {
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Unknown message identifier received\n");
      return -1;
    }
  }
  return result;
}

// Stores the result of a request of `size` bytes. Returns false for an unknown identifier.
bool VexaManager::CarryOut(const CommandMessage& request, size_t size, int* result) {
  const bool hasData = size > COMMAND_HEADER_SIZE;
  switch (request.MessageId) {
    case COMMAND_INSERT_CLIP:
      *result = hasData ? InsertClip(PathOf(request, size)) : -1;
      return true;
    case COMMAND_DELETE_CLIP:
      *result = hasData ? DeleteClip(PathOf(request, size)) : -1;
      return true;
    case COMMAND_UPDATE_RECORDING:
      *result = size == COMMAND_UPDATE_SIZE ? dao.UpdateRecording(request.Update) : -1;
      return true;
    default:
      return false;
  }
}
