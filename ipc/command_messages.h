/* The records of the command channel, through which other processes ask vexamgr to insert or
 * delete a clip or to update the recording. For C11 and C++17.
 *
 * One System V message queue (see sysvipc(7)) carries both directions. A requester opens it with
 * msgget(COMMAND_QUEUE_KEY, 0), sends a CommandMessage of type COMMAND_REQUEST_TYPE with msgsnd(2)
 * and waits with msgrcv(2) for the CommandReply of the type that it named in SenderType. Integers
 * have the byte order of the machine. vexamgr(8) has an example. */
#ifndef VEXAMGR_IPC_COMMAND_MESSAGES_H
#define VEXAMGR_IPC_COMMAND_MESSAGES_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#define COMMAND_QUEUE_KEY ((key_t)0xECDB0123)

/* The message type of every request; the service receives no other. */
#define COMMAND_REQUEST_TYPE 1

/* Values of MessageId. The service ends, without a reply, on any other. */
#define COMMAND_INSERT_CLIP 0      /* Data: path of a clip description, with its NUL */
#define COMMAND_DELETE_CLIP 1      /* Data: the same */
#define COMMAND_UPDATE_RECORDING 2 /* Update: the whole record */

/* Sizes in bytes, without mtype. */
#define COMMAND_LEAST_SIZE 8      /* the service drops a request that is shorter */
#define COMMAND_HEADER_SIZE 12    /* a request without its data */
#define COMMAND_DATA_SIZE 1500    /* the most data that a request can carry */
#define COMMAND_REQUEST_SIZE 1512 /* the longest request */
#define COMMAND_UPDATE_SIZE 1320  /* every COMMAND_UPDATE_RECORDING request */
#define COMMAND_REPLY_SIZE 16     /* every reply */

/* The new values of a recording's descriptive columns. Texts are NUL-terminated; a text without a
 * NUL ends with its field. */
typedef struct RecordingUpdate {
  int32_t Id;        /* of the recording; the service makes only the recording 1 */
  char Unused4[8];   /* not read */
  char Content[132]; /* up to 131 bytes and a NUL, the texts below up to 127 */
  char SourceId[128];
  char SourceName[128];
  char SourceLocation[128];
  char SourceDescription[128];
  char SourceAddress[128];
  uint32_t MaxRetentionTime;
  char Unused788[520]; /* not read */
} RecordingUpdate;

/* A request. */
typedef struct CommandMessage {
  long mtype;         /* COMMAND_REQUEST_TYPE */
  int32_t SenderType; /* the mtype of the reply: positive, not 1, and no other requester's */
  int32_t MessageId;
  int32_t DataLength; /* not read: the size of the message counts */
  union {
    char Data[COMMAND_DATA_SIZE];
    RecordingUpdate Update;
  };
} CommandMessage;

/* The answer to one request. Result is
 *
 *        0  The request was carried out. A deletion or an update was carried out even if it found
 *           no row.
 *       -1  The size of the request is wrong, or the path to delete is not that of a clip
 *           description below the watch directory.
 *        5  Another process has locked the database, nothing was changed, and the request can be
 *           sent again. For an insertion, 5 can also mean that the clip description can't be read.
 *       22  The clip description to insert lacks an element, or one of its texts is unusable.
 *    other  For an insertion tinyxml2's error number or SQLite's result code; for a deletion or an
 *           update SQLite's result code. See vexamgr(8). */
typedef struct CommandReply {
  long mtype;         /* the request's SenderType */
  int32_t SenderType; /* COMMAND_REQUEST_TYPE */
  int32_t MessageId;  /* the request's */
  int32_t DataLength; /* sizeof Result */
  int32_t Result;
} CommandReply;

/* The offsets that other programs rely on. Those of messages count from after mtype. */
#define COMMAND_ASSERT_OFFSET(record, field, offset) \
  static_assert(offsetof(record, field) == (offset), #record "." #field)
#define COMMAND_ASSERT_MESSAGE_OFFSET(record, field, offset) \
  COMMAND_ASSERT_OFFSET(record, field, sizeof(long) + (offset))

COMMAND_ASSERT_OFFSET(RecordingUpdate, Id, 0);
COMMAND_ASSERT_OFFSET(RecordingUpdate, Content, 12);
COMMAND_ASSERT_OFFSET(RecordingUpdate, SourceId, 144);
COMMAND_ASSERT_OFFSET(RecordingUpdate, SourceName, 272);
COMMAND_ASSERT_OFFSET(RecordingUpdate, SourceLocation, 400);
COMMAND_ASSERT_OFFSET(RecordingUpdate, SourceDescription, 528);
COMMAND_ASSERT_OFFSET(RecordingUpdate, SourceAddress, 656);
COMMAND_ASSERT_OFFSET(RecordingUpdate, MaxRetentionTime, 784);
static_assert(sizeof(RecordingUpdate) == 1308, "RecordingUpdate");

COMMAND_ASSERT_MESSAGE_OFFSET(CommandMessage, SenderType, 0);
COMMAND_ASSERT_MESSAGE_OFFSET(CommandMessage, MessageId, 4);
COMMAND_ASSERT_MESSAGE_OFFSET(CommandMessage, DataLength, 8);
COMMAND_ASSERT_MESSAGE_OFFSET(CommandMessage, Data, COMMAND_HEADER_SIZE);
COMMAND_ASSERT_MESSAGE_OFFSET(CommandMessage, Update, COMMAND_HEADER_SIZE);
static_assert(sizeof(CommandMessage) == sizeof(long) + COMMAND_REQUEST_SIZE, "CommandMessage");

COMMAND_ASSERT_MESSAGE_OFFSET(CommandReply, SenderType, 0);
COMMAND_ASSERT_MESSAGE_OFFSET(CommandReply, MessageId, 4);
COMMAND_ASSERT_MESSAGE_OFFSET(CommandReply, DataLength, 8);
COMMAND_ASSERT_MESSAGE_OFFSET(CommandReply, Result, 12);
static_assert(sizeof(CommandReply) == sizeof(long) + COMMAND_REPLY_SIZE, "CommandReply");

#undef COMMAND_ASSERT_MESSAGE_OFFSET
#undef COMMAND_ASSERT_OFFSET

#endif
