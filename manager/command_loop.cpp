#include <sys/ipc.h>
#include <sys/msg.h>
#include <syslog.h>

#include <cerrno>
#include <cstring>

#include "manager/vexa_manager.h"

namespace {

// The one area for every message: a request as received, then the reply over its header.
union MessageArea {
  CommandMessage request;
  CommandReply reply;
};

bool IsKnown(int32_t messageId) {
  return messageId == COMMAND_INSERT_CLIP || messageId == COMMAND_DELETE_CLIP ||
         messageId == COMMAND_UPDATE_RECORDING;
}

// The path that a request of `size` bytes carries. A path without a NUL ends with the received
// bytes: what lies behind them belongs to earlier requests.
std::string PathOf(const CommandMessage& request, size_t size) {
  return std::string(request.Data, strnlen(request.Data, size - COMMAND_HEADER_SIZE));
}

void Reply(int queueId, MessageArea* area, int32_t result) {
  const int32_t receiver = area->request.SenderType;
  if (receiver == COMMAND_REQUEST_TYPE) {
    return;  // the reply would come back as a request, without end
  }
  area->reply.mtype = receiver;
  area->reply.SenderType = COMMAND_REQUEST_TYPE;
  area->reply.DataLength = sizeof area->reply.Result;
  area->reply.Result = result;
  msgsnd(queueId, &area->reply, COMMAND_REPLY_SIZE, 0);  // a lost reply is the requester's loss
}

}  // namespace

int VexaManager::RunCommandLoop() {
  running = true;
  if (stopRequested) {
    return 0;
  }
  MessageArea area;
  // A stop that comes between the test of `running` and the receive is noticed only after the next
  // request. A handler can't close this gap: it can't know that the receive hasn't begun, and
  // msgrcv(2) can't unblock signals as it begins to wait, as pselect(2) can.
  while (true) {
    const ssize_t size = msgrcv(queueId, &area.request, COMMAND_TEXT_SIZE, COMMAND_REQUEST_TYPE, 0);
    if (size < 0) {
      const int error = errno;
      if (!running && error == EINTR) {
        return 0;
      }
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Error receiving message %d\n", error);
      return error;
    }
    int result = 0;
    if (size < COMMAND_LEAST_SIZE) {
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Incomplete message received\n");
    } else if (IsKnown(area.request.MessageId)) {
      result = CarryOut(area.request, static_cast<size_t>(size));
      Reply(queueId, &area, result);
    } else {
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Unknown message identifier received\n");
      return -1;
    }
    if (!running) {
      return result;
    }
  }
}

int VexaManager::CarryOut(const CommandMessage& request, size_t size) {
  if (request.MessageId == COMMAND_UPDATE_RECORDING) {
    return size == COMMAND_UPDATE_SIZE ? dao.UpdateRecording(request.Update) : -1;
  }
  if (size <= COMMAND_HEADER_SIZE) {
    return -1;
  }
  const std::string path = PathOf(request, size);
  return request.MessageId == COMMAND_INSERT_CLIP ? InsertClip(path) : DeleteClip(path);
}
