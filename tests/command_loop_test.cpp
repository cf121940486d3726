#include <functional>
#include <random>

#include "tests/service_test.h"

using namespace std::string_literals;

class CommandLoopTest : public ServiceTest {
 protected:
  CommandLoopTest() {
    Start("Populated");
    TakeLog();
  }

  static std::string Reply(int32_t messageId, int32_t result) {
    const int32_t fields[] = {COMMAND_REQUEST_TYPE, messageId, 4, result};
    return std::string(reinterpret_cast<const char*>(fields), sizeof fields);
  }
};

TEST_F(CommandLoopTest, AnswersByteForByteAndHoldsRequestsToTheirSizes) {
  const std::string clip = WriteClip("w/clip.xml");
  SendRaw(4242, COMMAND_INSERT_CLIP, clip + '\0');
  SendRaw(4242, COMMAND_DELETE_CLIP, "elsewhere.xml\0behind the path"s);
  EXPECT_EQ(Receive(4242), "\1\0\0\0\0\0\0\0\4\0\0\0\0\0\0\0"s);
  EXPECT_EQ(Receive(4242), "\1\0\0\0\1\0\0\0\4\0\0\0\xff\xff\xff\xff"s);
  const std::tuple<int32_t, size_t, int32_t> cases[] = {
      {0, 8, -1},  {0, 12, -1},   {0, 13, 3},    {0, 1512, 3}, {1, 8, -1},    {1, 12, -1},
      {1, 13, -1}, {1, 1512, -1}, {2, 1319, -1}, {2, 1320, 0}, {2, 1321, -1}, {2, 1512, -1}};
  for (const auto& [messageId, size, result] : cases) {
    SendRaw(77, messageId, "", size);
    EXPECT_EQ(Receive(77), Reply(messageId, result)) << messageId << " of " << size;
  }
  TakeLog();
  std::string expected;
  for (size_t size = 0; size < 8; ++size) {
    SendRaw(77, COMMAND_INSERT_CLIP, "", size);
    expected += "27 [VexaManager]  Incomplete message received\n";
  }
  for (int32_t sender : {0, -5, COMMAND_REQUEST_TYPE}) {  // carried out, but can't be answered
    SendRaw(sender, COMMAND_INSERT_CLIP, clip);
    expected += "30 [VexaManager] Inserted clip w/clip.xml\n";
  }
  EXPECT_EQ(Delete("elsewhere.xml"), -1);
  EXPECT_EQ(TakeLog(), expected);
  EXPECT_EQ(Receive(77, IPC_NOWAIT), "");
}

TEST_F(CommandLoopTest, ReadsClipDescriptions) {
  const std::string from = "<dateFrom>2013-05-21T14:03:27Z\n</dateFrom>";
  const std::string dates = from + "<dateTo>2013-05-21T16:05:00+0200</dateTo>";
  const std::string user = dates + "<trigger>USER</trigger>";
  const std::string path = "<path>p</path>";
  const std::string missing = "27 [VexaManager]  XML parser cannot find element : ";
  const struct {
    std::string content;
    std::string row;  // of the Track table; empty if the content is rejected
    std::string log;  // before the line of InsertClip
  } cases[] = {
      {"<r>" + user + path + path + "</r>", "8|p", ""},
      {"<?xml version='1.0'?><!--c--><any a='1'><x/><path> a&amp;b&#65;'\n</path><trigger>SOFTWARE"
       "</trigger><trigger>bad</trigger>" +
           dates + "</any>",
       "16| a&bA'\n", ""},
      {"<r>" + dates + "<trigger>EXTERNAL</trigger><path>" + std::string(200, 'x') + "</path></r>",
       "1|" + std::string(127, 'x'), ""},
      {"<r>" + dates + "<trigger>NETWORK</trigger>" + path + "</r>", "4|p", ""},
      {"<r><r>" + user + path + "</r></r>", "", missing + "dateFrom\n"},
      {"<r>" + from + "<DateTo/></r>", "", missing + "dateTo\n"},
      {"<r>" + dates + path + "</r>", "", missing + "trigger\n"},
      {"<r>" + user + "</r>", "", missing + "path\n"},
      {"<r><dateFrom/>" + user + path + "</r>", "", ""},
      {"<r>" + dates + "<trigger>motion</trigger>" + path + "</r>", "", ""},
      {"<r>" + dates + "<trigger>MOTION\n</trigger>" + path + "</r>", "", ""},
      {"<r>" + dates + "<trigger><!--c-->USER</trigger>" + path + "</r>", "", ""},
      {"<r>" + user + "<path></path></r>", "", ""},
      {"<r>" + user + "<path><b/>p</path></r>", "", ""},
      {"<?xml version='1.0'?><!--c-->", "", "27 [VexaManager]  Parser error : no root element\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.content);
    const bool rejected = c.row.empty();
    EXPECT_EQ(Insert(Write("w/clip.xml", c.content)), rejected ? 22 : 0);
    EXPECT_EQ(TakeLog(), c.log + (rejected ? "27 [VexaManager]  Error parsing file (w/clip.xml)\n"
                                           : "30 [VexaManager] Inserted clip w/clip.xml\n"));
    EXPECT_EQ(Query("SELECT * FROM Track; DELETE FROM Track"),
              rejected ? "" : "1369145007|1369145100|" + c.row + "\n");
  }
  EXPECT_EQ(Insert("w"), 5);
  EXPECT_EQ(Insert(Write("w/clip.xml", " \n")), 13);
  TakeLog();
  EXPECT_EQ(Insert("%s%n.xml"), 3);
  EXPECT_EQ(TakeLog(),
            "27 [VexaManager]  Parser error 3 in file %s%n.xml\n"
            "27 [VexaManager]  Parser error cause1 : Error=XML_ERROR_FILE_NOT_FOUND "
            "ErrorID=3 (0x3) Line number=0: filename=%s%n.xml\n"
            "27 [VexaManager]  Parser error cause2 : XML_ERROR_FILE_NOT_FOUND\n"
            "27 [VexaManager]  Error parsing file (%s%n.xml)\n");
  // A path without a NUL ends with its message, not in an earlier and longer one.
  SendRaw(77, COMMAND_INSERT_CLIP, WriteClip("w/clip.xml") + ".xml");
  SendRaw(77, COMMAND_INSERT_CLIP, "w/clip.xml");
  EXPECT_EQ(Receive(77), Reply(0, 3));
  EXPECT_EQ(Receive(77), Reply(0, 0));
}

TEST_F(CommandLoopTest, DeletesWhatAFragmentNames) {
  const std::string x(214, 'x');
  const char* const all = "a/c1.mp4,a/c1.mp4,a/c10.mp4,it's.mp4|1|9\n";
  const auto left = [] {
    return Query("SELECT (SELECT GROUP_CONCAT(Path) FROM Track), DateFrom, DateTo FROM Recording");
  };
  for (const auto& [path, expected] : {std::pair{"w/a/c1.xml", "a/c10.mp4,it's.mp4|2|9\n"},
                                       {"w2/c10.xml", "a/c1.mp4,a/c1.mp4,it's.mp4|1|9\n"},
                                       {"w/it's.xml", "a/c1.mp4,a/c1.mp4,a/c10.mp4|1|8\n"},
                                       {"w/xx.xml", all}}) {
    Query(
        "DELETE FROM Track; INSERT INTO Track VALUES (1, 2, 1, 'a/c1.mp4'), "
        "(1, 2, 1, 'a/c1.mp4'), (2, 8, 1, 'a/c10.mp4'), (3, 9, 1, 'it''s.mp4')");
    EXPECT_EQ(Delete(path), 0) << path;
    EXPECT_EQ(left(), expected) << path;
  }
  for (const char* path : {"w/a/c1.XML", "w/a/c1.xml ", "v/a/c1.xml", "w/.xml", "w.xml", "w", ""}) {
    EXPECT_EQ(Delete(path), -1) << path;
  }
  EXPECT_EQ(Delete("w/" + x + ".xml"), 0);
  EXPECT_EQ(Delete("w/" + x + "x.xml"), 1);
  EXPECT_EQ(left(), all);
  EXPECT_EQ(TakeLog(),
            "27 [VexaDAO] sqlite3 error (1) SQL logic error\n"
            "27 [VexaManager]  Failed to delete clip (" +
                x + "x.*)\n");
}

TEST_F(CommandLoopTest, ReportsALockedDatabaseAndGoesOn) {
  const std::string clip = WriteClip("w/clip.xml");
  sqlite3* other;
  sqlite3_open("db", &other);
  sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
  EXPECT_EQ(Insert(clip), 5);
  EXPECT_EQ(Delete(clip), 5);
  sqlite3_close(other);
  EXPECT_EQ(TakeLog(),
            "27 [VexaDAO] sqlite3 error (5) database is locked\n"
            "27 [VexaManager]  Failed to insert database clip (w/clip.xml)\n"
            "27 [VexaDAO] sqlite3 error (5) database is locked\n"
            "27 [VexaManager]  Failed to delete clip (clip.*)\n");
  EXPECT_EQ(Insert(clip), 0);
}

TEST_F(CommandLoopTest, EndsOnWhatItCannotServe) {
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { SendRaw(77, 3, "data"); }, "Unknown message identifier received"},
      {[] { SendRaw(77, -1, "", 8); }, "Unknown message identifier received"},
      {[] { SendRaw(77, 0, "", 1513); }, "Error receiving message 7"},
  };
  for (const auto& [act, line] : cases) {
    EXPECT_EQ(Delete(""), -1);  // the service is in its loop
    TakeLog();
    act();
    EXPECT_EQ(End(), 1);
    EXPECT_EQ(TakeLog(), "27 [VexaManager]  " + line + "\n27 [main] Exiting due to error\n");
    EXPECT_EQ(Queue(), -1);
    Start();
  }
}

// A request that is being handled when the signal comes is answered first, and its result decides
// how the service ends. The service is held in the request by a log that nobody reads.
TEST_F(CommandLoopTest, CompletesTheRequestInHandOnAStop) {
  for (const auto& [path, result] : {std::pair{WriteClip("w/clip.xml"), 0}, {"none"s, 3}}) {
    EXPECT_EQ(Delete(""), -1);  // the service is in its loop
    fcntl(logPipe[1], F_SETFL, O_NONBLOCK);
    while (write(logPipe[1], "", 1) == 1) {
    }
    fcntl(logPipe[1], F_SETFL, 0);
    SendRaw(77, COMMAND_INSERT_CLIP, path);
    for (msqid_ds queue = {}; msgctl(Queue(), IPC_STAT, &queue) == 0 && queue.msg_qnum > 0;) {
    }
    const pid_t receiver = fork();
    if (receiver == 0) {
      _exit(Receive(77) == Reply(COMMAND_INSERT_CLIP, result) ? 0 : 1);
    }
    WaitUntilAsleep(receiver);
    EXPECT_EQ(Stop(), result == 0 ? 0 : 1);
    int status;
    EXPECT_EQ(waitpid(receiver, &status, 0), receiver);
    EXPECT_EQ(status, 0) << path;
    Start();
  }
}

// Requests of every size with any bytes in them, some carrying a path that means something.
TEST_F(CommandLoopTest, AnswersEveryKnownRequest) {
  std::mt19937 random(20130521);
  const auto below = [&](size_t limit) { return random() % limit; };
  WriteClip("w/good.xml", "it's/good.mp4");
  const char* const paths[] = {"w/good.xml", "none", "w", "w/go'od.xml", "w/.xml", ""};
  for (int i = 0; i < 500 && !HasFailure(); ++i) {
    SCOPED_TRACE("request " + std::to_string(i));
    CommandMessage request;
    for (char& byte : request.Data) {
      byte = below(4) == 0 ? '\'' : static_cast<char>(below(256));
    }
    if (below(2) == 0) {
      MakePathRequest(0, paths[below(std::size(paths))], &request);
    }
    request.MessageId = static_cast<int32_t>(below(3));
    Send(request, below(3) == 0 ? COMMAND_UPDATE_SIZE : 8 + below(COMMAND_TEXT_SIZE - 7));
    TakeLog();
  }
  EXPECT_EQ(Query("PRAGMA integrity_check; SELECT COUNT(*) FROM Recording"), "ok\n1\n");
  EXPECT_EQ(Insert("w/good.xml"), 0);
  EXPECT_EQ(Stop(), 0);
}
