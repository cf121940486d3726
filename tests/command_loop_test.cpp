#include <sys/stat.h>
#include <sys/syscall.h>

#include "tests/service_test.h"

class CommandLoopTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    Serve();
  }
};

TEST_F(CommandLoopTest, HoldsRequestsToTheirSizes) {
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "", 12), -1);
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "", 13), 3);  // an empty path, which is not found
  EXPECT_EQ(Ask(COMMAND_UPDATE_RECORDING, "", 1319), -1);
  EXPECT_EQ(Ask(COMMAND_UPDATE_RECORDING, "", 1320), 0) << "of the recording 0";
  EXPECT_EQ(Ask(COMMAND_UPDATE_RECORDING, "", 1321), -1);
  EXPECT_EQ(Query("SELECT DateFrom, DateTo, Content FROM Recording"), "0|0|Recording Contents|");
}

TEST_F(CommandLoopTest, APathEndsWithItsNulOrItsMessage) {
  WriteClip("clip.xml");
  const size_t withoutNul = COMMAND_HEADER_SIZE + strlen("clip.xml");
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "clip.xml.x", withoutNul + 2), 3);
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "clip.xml.x", withoutNul), 0);
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, std::string("clip.xml\0after", 14)), 0);
}

TEST_F(CommandLoopTest, GoesOnAfterARequestThatItCannotAnswer) {
  Send(77, COMMAND_INSERT_CLIP, "", COMMAND_LEAST_SIZE - 1);
  Send(COMMAND_REQUEST_TYPE, COMMAND_INSERT_CLIP, WriteClip("clip.xml"));
  Send(0, COMMAND_DELETE_CLIP, "w/clip.xml");
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "", COMMAND_HEADER_SIZE), -1);
  EXPECT_EQ(Ask(COMMAND_UPDATE_RECORDING, "", COMMAND_UPDATE_SIZE), 0);
  EXPECT_EQ(Take("log"),
            "27 [VexaManager]  Incomplete message received\n"
            "30 [VexaManager] Inserted clip clip.xml\n");
}

const std::string kDates =
    "<dateFrom>2013-05-21T14:03:27Z\n</dateFrom><dateTo>2013-05-21T16:03:00+0200</dateTo>";
const std::string kDatesAndUser = kDates + "<trigger>USER</trigger>";

TEST_F(CommandLoopTest, InsertsWhatADescriptionSays) {
  const std::pair<std::string, std::string> descriptions[] = {
      {kDatesAndUser + "<path>p</path><path>second</path>", "8|p|"},
      {"<trigger>SOFTWARE</trigger><path> a&amp;b&#65;'\n</path>" + kDates, "16| a&bA'\n|"},
      {kDates + "<trigger>NETWORK</trigger><trigger/><x/><path>p</path>", "4|p|"},
      {kDates + "<trigger>EXTERNAL</trigger><path>" + std::string(126, 'x') + "\xc3\xa9</path>",
       "1|" + std::string(126, 'x') + "\xc3|"},  // cut inside an "é"
  };
  for (const auto& [content, triggerAndPath] : descriptions) {
    Write("clip.xml", "<any>" + content + "</any>");
    EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "clip.xml"), 0) << content;
    EXPECT_EQ(Query("SELECT * FROM Track; DELETE FROM Track"),
              "1369145007|1369144980|" + triggerAndPath)
        << content;
    EXPECT_EQ(Take("log"), "30 [VexaManager] Inserted clip clip.xml\n") << content;
  }
}

TEST_F(CommandLoopTest, RefusesAnUnusableDescription) {
  const std::string missing = "27 [VexaManager]  XML parser cannot find element : ";
  const std::pair<std::string, std::string> descriptions[] = {
      {"<any><r>" + kDatesAndUser + "<path>p</path></r></any>", missing + "dateFrom\n"},
      {"<any>" + kDatesAndUser + "</any>", missing + "path\n"},
      {"<any><dateFrom>today</dateFrom></any>", ""},
      {"<any>" + kDates + "<trigger>motion</trigger><path>p</path></any>", ""},
      {"<any>" + kDatesAndUser + "<path><!--c-->p</path></any>", ""},
      {"<?xml version='1.0'?><!--c-->", "27 [VexaManager]  Parser error : no root element\n"},
  };
  for (const auto& [content, log] : descriptions) {
    Write("clip.xml", content);
    EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "clip.xml"), 22) << content;
    EXPECT_EQ(Take("log"), log + "27 [VexaManager]  Error parsing file (clip.xml)\n") << content;
  }
}

TEST_F(CommandLoopTest, TellsWhyAFileCannotBeLoaded) {
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "%s%n.xml"), 3);
  EXPECT_EQ(Take("log"),
            "27 [VexaManager]  Parser error 3 in file %s%n.xml\n"
            "27 [VexaManager]  Parser error cause1 : %s%n.xml: No such file or directory\n"
            "27 [VexaManager]  Parser error cause2 : XML_ERROR_FILE_NOT_FOUND\n"
            "27 [VexaManager]  Error parsing file (%s%n.xml)\n");
  Write("clip.xml", "<clip></end>");
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, "clip.xml"), 14);
  EXPECT_LOGGED("27 [VexaManager]  Parser error 14 in file clip.xml\n");
}

TEST_F(CommandLoopTest, DeletesTheTracksWhosePathContainsTheName) {
  const std::string recording = "SELECT DateFrom, DateTo FROM Recording";
  Query(
      "INSERT INTO Track VALUES (3, 9, 1, 'it''s [1].mp4'), (1, 2, 1, 'a/c1.mp4'),"
      "(1, 2, 1, 'a/c1.mp4'), (2, 8, 1, 'a/c10.mp4'), (2, 8, 1, 'A/C1./c10.mp4')");
  EXPECT_EQ(Query(recording), "1|9|");
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/a/c1.xml"), 0);
  EXPECT_EQ(Query("SELECT Path FROM Track"), "it's [1].mp4|a/c10.mp4|A/C1./c10.mp4|")
      << "w/a/c1.xml deletes what contains a/c1. in the same letter case";
  EXPECT_EQ(Query(recording), "2|9|");
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/it's [1].xml"), 0);
  EXPECT_EQ(Query(recording), "2|8|");
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w2/c10.xml"), 0) << "the 2 passes for the separator";
  EXPECT_EQ(Query(recording), "0|0|");
}

// With the 40 characters around it, such a name makes a statement of 255. The cut after 254 then
// takes only the ";" away.
TEST_F(CommandLoopTest, ANameToDeleteMayHave215BytesWithItsPoint) {
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/" + std::string(214, 'x') + ".xml"), 0);
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/" + std::string(215, 'x') + ".xml"), 1);
}

TEST_F(CommandLoopTest, DeletesNothingForAnotherPath) {
  for (const char* path : {"w/a/c1.XML", "v/a/c1.xml", "w/.xml", "w.xml", "w"}) {
    EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, path), -1) << path;
  }
}

TEST_F(CommandLoopTest, EndsOnAnUnknownIdentifier) {
  Send(77, -1, "", 8);
  EXPECT_EQ(Ended(), -1);
  EXPECT_EQ(Take("log"), "27 [VexaManager]  Unknown message identifier received\n");
  EXPECT_EQ(QueueStatus().msg_qnum, 0);
}

TEST_F(CommandLoopTest, EndsOnARequestThatIsTooLong) {
  Send(77, COMMAND_INSERT_CLIP, "", 1513);
  EXPECT_EQ(Ended(), 7);
  EXPECT_EQ(Take("log"), "27 [VexaManager]  Error receiving message 7\n");
}

TEST_F(CommandLoopTest, EndsOnAnInterruptionThatIsNoStop) {
  signal(SIGUSR1, [](int) {});
  syscall(SYS_tgkill, getpid(), servingThread.load(), SIGUSR1);
  EXPECT_EQ(Ended(), 4);
}

TEST_F(CommandLoopTest, EndsOnARemovedQueueThoughItWasStopped) {
  manager->Stop();
  msgctl(Queue(), IPC_RMID, nullptr);
  EXPECT_EQ(Ended(), 43);
}

TEST_F(CommandLoopTest, WaitsForRoomToReply) {
  msqid_ds queue = QueueStatus();
  queue.msg_qbytes = COMMAND_REPLY_SIZE - 1;  // enough for the request
  msgctl(Queue(), IPC_SET, &queue);
  Send(77, COMMAND_DELETE_CLIP, "", COMMAND_HEADER_SIZE);
  WaitUntil("the service waits for room or, wrongly, for the next request",
            [this] { return QueueStatus().msg_qnum == 0 && Sleeps(servingThread); });
  manager->Stop();
  queue.msg_qbytes = COMMAND_REPLY_SIZE;
  msgctl(Queue(), IPC_SET, &queue);
  EXPECT_EQ(Receive("the deletion").Result, -1);
  EXPECT_EQ(Ended(), -1) << "a stop ends with the result of the request in hand";
}
