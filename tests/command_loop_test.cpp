#include <sys/resource.h>

#include "tests/service_test.h"

using namespace std::string_literals;
using CommandLoopTest = ServiceTest;

TEST_F(CommandLoopTest, HoldsRequestsToTheirSizes) {
  Serve();
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "", 8), -1);
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "", 12), -1);
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "", 13), 3);
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "", 1512), 3);
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "", 12), -1);
  EXPECT_EQ(Ask(COMMAND_UPDATE_RECORDING, "", 1319), -1);
  EXPECT_EQ(Ask(COMMAND_UPDATE_RECORDING, "", 1320), 0);
  EXPECT_EQ(Ask(COMMAND_UPDATE_RECORDING, "", 1321), -1);
}

TEST_F(CommandLoopTest, APathEndsWithItsNulOrItsMessage) {
  Serve();
  WriteClip("clip.xml");
  const size_t withoutNul = COMMAND_HEADER_SIZE + strlen("clip.xml");
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "clip.xml.x", withoutNul + 2), 3);
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "clip.xml.x", withoutNul), 0);
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "clip.xml\0after"s), 0);
}

TEST_F(CommandLoopTest, GoesOnAfterARequestThatItCannotAnswer) {
  Serve();
  Send(77, COMMAND_INSERT_CLIP, "", 7);
  Send(COMMAND_REQUEST_TYPE, COMMAND_INSERT_CLIP, WriteClip("clip.xml"));
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, ""), -1);
  EXPECT_EQ(TakeLog(),
            "27 [VexaManager]  Incomplete message received\n"
            "30 [VexaManager] Inserted clip clip.xml\n");
}

const std::string kDates =
    "<dateFrom>2013-05-21T14:03:27Z\n</dateFrom><dateTo>2013-05-21T16:05:00+0200</dateTo>";
const std::string kDatesAndUser = kDates + "<trigger>USER</trigger>";

TEST_F(CommandLoopTest, InsertsWhatADescriptionSays) {
  Serve();
  const std::pair<std::string, std::string> descriptions[] = {
      {kDatesAndUser + "<path>p</path><path>second</path>", "8|p|"},
      {"<trigger>SOFTWARE</trigger><path> a&amp;b&#65;'\n</path>" + kDates, "16| a&bA'\n|"},
      {kDates + "<trigger>NETWORK</trigger><trigger/><x/><path>p</path>", "4|p|"},
      {kDates + "<trigger>EXTERNAL</trigger><path>" + std::string(200, 'x') + "</path>",
       "1|" + std::string(127, 'x') + "|"},
  };
  for (const auto& [content, triggerAndPath] : descriptions) {
    Write("clip.xml", "<any>" + content + "</any>");
    EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "clip.xml"), 0) << content;
    EXPECT_EQ(Query("SELECT * FROM Track; DELETE FROM Track"),
              "1369145007|1369145100|" + triggerAndPath);
  }
}

TEST_F(CommandLoopTest, RefusesADescriptionThatLacksSomething) {
  Serve();
  const std::string missing = "27 [VexaManager]  XML parser cannot find element : ";
  const std::pair<std::string, std::string> descriptions[] = {
      // The content, and the log before the last line.
      {"<any><r>" + kDatesAndUser + "<path>p</path></r></any>", missing + "dateFrom\n"},
      {"<any>" + kDatesAndUser + "</any>", missing + "path\n"},
      {"<any><dateFrom/>" + kDatesAndUser + "<path>p</path></any>", ""},
      {"<any>" + kDates + "<trigger>motion</trigger><path>p</path></any>", ""},
      {"<any>" + kDatesAndUser + "<path><!--c-->p</path></any>", ""},
      {"<?xml version='1.0'?><!--c-->", "27 [VexaManager]  Parser error : no root element\n"},
  };
  for (const auto& [content, log] : descriptions) {
    Write("clip.xml", content);
    EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "clip.xml"), 22) << content;
    EXPECT_EQ(TakeLog(), log + "27 [VexaManager]  Error parsing file (clip.xml)\n") << content;
  }
}

TEST_F(CommandLoopTest, TellsWhyAFileCannotBeOpened) {
  Serve();
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "%s%n.xml"), 3);
  EXPECT_EQ(TakeLog(),
            "27 [VexaManager]  Parser error 3 in file %s%n.xml\n"
            "27 [VexaManager]  Parser error cause1 : %s%n.xml: No such file or directory\n"
            "27 [VexaManager]  Parser error cause2 : XML_ERROR_FILE_NOT_FOUND\n"
            "27 [VexaManager]  Error parsing file (%s%n.xml)\n");
}

#ifndef __SANITIZE_ADDRESS__  // which ends the program where memory is short
TEST_F(CommandLoopTest, OutlivesADescriptionThatIsTooLargeForMemory) {
  Serve();
  Write("large.xml", "");
  std::filesystem::resize_file("large.xml", 3ULL << 30);
  rlimit memory;
  getrlimit(RLIMIT_AS, &memory);
  const rlimit less = {2ULL << 30, memory.rlim_max};
  setrlimit(RLIMIT_AS, &less);
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "large.xml"), 5);
  setrlimit(RLIMIT_AS, &memory);
}
#endif

TEST_F(CommandLoopTest, DeletesTheTracksWhosePathContainsTheName) {
  Serve();
  const std::tuple<std::string, std::string, std::string> deletions[] = {
      // The description, the paths that are left, and the time that they span.
      {"w/a/c1.xml", "a/c10.mp4|it's.mp4|", "2|9|"},
      {"w2/c10.xml", "a/c1.mp4|a/c1.mp4|it's.mp4|", "1|9|"},
      {"w/it's.xml", "a/c1.mp4|a/c1.mp4|a/c10.mp4|", "1|8|"},
  };
  for (const auto& [path, left, span] : deletions) {
    SCOPED_TRACE(path);
    Query(
        "DELETE FROM Track; INSERT INTO Track VALUES (3, 9, 1, 'it''s.mp4'),"
        "(1, 2, 1, 'a/c1.mp4'), (1, 2, 1, 'a/c1.mp4'), (2, 8, 1, 'a/c10.mp4')");
    EXPECT_EQ(Query("SELECT DateFrom, DateTo FROM Recording"), "1|9|");
    EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, path), 0);
    EXPECT_EQ(Query("SELECT Path FROM Track ORDER BY Path"), left);
    EXPECT_EQ(Query("SELECT DateFrom, DateTo FROM Recording"), span);
  }
}

TEST_F(CommandLoopTest, DeletesNothingForAnotherPath) {
  Serve();
  for (const char* path : {"w/a/c1.XML", "v/a/c1.xml", "w/.xml", "w.xml", "w"}) {
    EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, path), -1) << path;
  }
}

TEST_F(CommandLoopTest, TellsWhichClipAStatementFailedFor) {
  Serve();
  Query("DROP TABLE Track");
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/gone.xml"), 1);
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, WriteClip("new.xml")), 1);
  EXPECT_EQ(TakeLog(),
            "27 [VexaDAO] sqlite3 error (1) SQL logic error\n"
            "27 [VexaManager]  Failed to delete clip (gone.*)\n"
            "27 [VexaDAO] sqlite3 error (1) SQL logic error\n"
            "27 [VexaManager]  Failed to insert database clip (new.xml)\n");
}

TEST_F(CommandLoopTest, EndsOnAnUnknownIdentifier) {
  Serve();
  Send(77, -1, "", 8);
  EXPECT_EQ(served.get(), -1);
  EXPECT_EQ(TakeLog(), "27 [VexaManager]  Unknown message identifier received\n");
  EXPECT_FALSE(HasReply(77));
}

TEST_F(CommandLoopTest, EndsOnARequestThatIsTooLong) {
  Serve();
  Send(77, COMMAND_INSERT_CLIP, "", 1513);
  EXPECT_EQ(served.get(), 7);
  EXPECT_EQ(TakeLog(), "27 [VexaManager]  Error receiving message 7\n");
}

TEST_F(CommandLoopTest, WaitsForRoomToReply) {
  Serve();
  msqid_ds queue = QueueStatus();
  queue.msg_qbytes = COMMAND_REPLY_SIZE - 1;
  msgctl(Queue(), IPC_SET, &queue);
  Send(77, COMMAND_DELETE_CLIP, "", COMMAND_HEADER_SIZE);
  // It sleeps when it waits: for room or, had it lost the reply, for the next request.
  WaitUntil("the service waits", [this] {
    std::ifstream thread("/proc/self/task/" + std::to_string(servingThread) + "/stat");
    std::string id, name, state;
    thread >> id >> name >> state;
    return QueueStatus().msg_qnum == 0 && state == "S";
  });
  queue.msg_qbytes = COMMAND_REPLY_SIZE;
  msgctl(Queue(), IPC_SET, &queue);
  EXPECT_EQ(Receive(77).Result, -1);
}

TEST_F(CommandLoopTest, CompletesTheRequestInHandOnAStop) {
  const std::pair<std::string, int> requests[] = {{WriteClip("clip.xml"), 0}, {"none.xml", 3}};
  for (const auto& [path, result] : requests) {
    Serve();
    onLogLine = [this](const std::string&) { manager->Stop(); };
    EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, path), result);
    EXPECT_EQ(served.get(), result) << path;
    onLogLine = nullptr;
  }
}
