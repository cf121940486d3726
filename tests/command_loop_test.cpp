#include <sys/resource.h>

#include "tests/service_test.h"

using namespace std::string_literals;
using CommandLoopTest = ServiceTest;

TEST_F(CommandLoopTest, HoldsRequestsToTheirSizes) {
  Serve();
  const std::tuple<int, size_t, int> cases[] = {{0, 8, -1},    {0, 12, -1},  {0, 13, 3},
                                                {0, 1512, 3},  {1, 12, -1},  {1, 13, -1},
                                                {2, 1319, -1}, {2, 1320, 0}, {2, 1321, -1}};
  for (const auto& [id, size, result] : cases) {
    SendRaw(77, id, "", size);
    EXPECT_EQ(Receive(77), (std::vector<int32_t>{1, id, 4, result})) << size;
  }
  // A path ends with its NUL or, without one, with its message, not in an earlier and longer one.
  WriteClip("clip.xml");
  for (size_t size : {22u, 20u, 25u}) {
    SendRaw(77, COMMAND_INSERT_CLIP, size < 25 ? "clip.xml.x" : "clip.xml\0after"s, size);
    EXPECT_EQ(Receive(77)[3], size == 22 ? 3 : 0) << size;
  }
  Take();
  SendRaw(77, COMMAND_INSERT_CLIP, "", 7);
  SendRaw(COMMAND_REQUEST_TYPE, COMMAND_INSERT_CLIP, "clip.xml");  // not answered
  EXPECT_EQ(Request(COMMAND_DELETE_CLIP, ""), -1);
  EXPECT_EQ(Take(),
            "27 [VexaManager]  Incomplete message received\n"
            "30 [VexaManager] Inserted clip clip.xml\n");
}

TEST_F(CommandLoopTest, ReadsClipDescriptions) {
  Serve();
  const std::string dates =
      "<dateFrom>2013-05-21T14:03:27Z\n</dateFrom><dateTo>2013-05-21T16:05:00+0200</dateTo>";
  const std::string user = dates + "<trigger>USER</trigger>", path = "<path>p</path>";
  const std::string missing = "27 [VexaManager]  XML parser cannot find element : ";
  // The row, if any, and the log before the insertion's own line.
  for (const auto& [content, row, log] :
       {std::tuple{user + path + "<path>q</path>", "8|p|"s, ""s},
        {"<x/><path> a&amp;b&#65;'\n</path><trigger>SOFTWARE</trigger><trigger/>" + dates,
         "16| a&bA'\n|", ""},
        {dates + "<trigger>EXTERNAL</trigger><path>" + std::string(200, 'x') + "</path>",
         "1|" + std::string(127, 'x') + "|", ""},
        {dates + "<trigger>NETWORK</trigger>" + path, "4|p|", ""},
        {"<r>" + user + path + "</r>", "", missing + "dateFrom\n"},
        {user, "", missing + "path\n"},
        {"<dateFrom/>" + user + path, "", ""},
        {dates + "<trigger>motion</trigger>" + path, "", ""},
        {user + "<path><!--c-->p</path>", "", ""}}) {
    EXPECT_EQ(Request(COMMAND_INSERT_CLIP, Write("c.xml", "<any>" + content + "</any>")),
              row.empty() ? 22 : 0);
    EXPECT_EQ(Take(), log + (row.empty() ? "27 [VexaManager]  Error parsing file (c.xml)\n"
                                         : "30 [VexaManager] Inserted clip c.xml\n"));
    EXPECT_EQ(Query("SELECT * FROM Track; DELETE FROM Track"),
              row.empty() ? "" : "1369145007|1369145100|" + row)
        << content;
  }
  EXPECT_EQ(Request(COMMAND_INSERT_CLIP, Write("c.xml", "<?xml version='1.0'?><!--c-->")), 22);
  EXPECT_EQ(Request(COMMAND_INSERT_CLIP, "%s%n.xml"), 3);
  EXPECT_EQ(Take(),
            "27 [VexaManager]  Parser error : no root element\n"
            "27 [VexaManager]  Error parsing file (c.xml)\n"
            "27 [VexaManager]  Parser error 3 in file %s%n.xml\n"
            "27 [VexaManager]  Parser error cause1 : No such file or directory\n"
            "27 [VexaManager]  Parser error cause2 : XML_ERROR_FILE_NOT_FOUND\n"
            "27 [VexaManager]  Error parsing file (%s%n.xml)\n");
#ifndef __SANITIZE_ADDRESS__  // which ends the program where memory is short
  std::filesystem::resize_file("c.xml", 3ULL << 30);
  const rlimit limit = {2UL << 30, 2UL << 30};
  setrlimit(RLIMIT_AS, &limit);
  EXPECT_EQ(Request(COMMAND_INSERT_CLIP, "c.xml"), 5);
#endif
}

TEST_F(CommandLoopTest, DeletesWhatAFragmentNames) {
  Serve();
  for (const auto& [path, rest] : {std::pair{"w/a/c1.xml", "a/c10.mp4,it's.mp4|2|9|"},
                                   {"w2/c10.xml", "a/c1.mp4,a/c1.mp4,it's.mp4|1|9|"},
                                   {"w/it's.xml", "a/c1.mp4,a/c1.mp4,a/c10.mp4|1|8|"}}) {
    Query(
        "DELETE FROM Track; INSERT INTO Track VALUES (1, 2, 1, 'a/c1.mp4'), "
        "(1, 2, 1, 'a/c1.mp4'), (2, 8, 1, 'a/c10.mp4'), (3, 9, 1, 'it''s.mp4')");
    EXPECT_EQ(Request(COMMAND_DELETE_CLIP, path), 0) << path;
    EXPECT_EQ(Query("SELECT GROUP_CONCAT(Path), r.DateFrom, r.DateTo FROM Track, Recording r"),
              rest);
  }
  for (const char* path : {"w/a/c1.XML", "v/a/c1.xml", "w/.xml", "w.xml", "w"}) {
    EXPECT_EQ(Request(COMMAND_DELETE_CLIP, path), -1) << path;
  }
  const std::string x(215, 'x');
  EXPECT_EQ(Request(COMMAND_DELETE_CLIP, "w/" + x + ".xml"), 1);
  Query("DROP TABLE Track");
  EXPECT_EQ(Request(COMMAND_INSERT_CLIP, WriteClip("c.xml")), 1);
  const std::string error = "27 [VexaDAO] sqlite3 error (1) SQL logic error\n";
  EXPECT_EQ(Take(), error + "27 [VexaManager]  Failed to delete clip (" + x + ".*)\n" + error +
                        "27 [VexaManager]  Failed to insert database clip (c.xml)\n");
}

TEST_F(CommandLoopTest, EndsOnWhatItCannotServe) {
  for (bool known : {true, false}) {
    Serve();
    SendRaw(77, known ? COMMAND_INSERT_CLIP : -1, "", known ? COMMAND_TEXT_SIZE + 1 : 8);
    EXPECT_EQ(served.get(), known ? 7 : -1);
    EXPECT_EQ(Take(), known ? "27 [VexaManager]  Error receiving message 7\n"
                            : "27 [VexaManager]  Unknown message identifier received\n");
    EXPECT_EQ(Receive(77, IPC_NOWAIT)[0], 0);
    msgctl(Queue(), IPC_RMID, nullptr);
  }
}

TEST_F(CommandLoopTest, WaitsForRoomToReply) {
  Serve();
  msqid_ds queue;
  msgctl(Queue(), IPC_STAT, &queue);
  queue.msg_qbytes = COMMAND_HEADER_SIZE;
  msgctl(Queue(), IPC_SET, &queue);
  SendRaw(77, COMMAND_DELETE_CLIP, "", COMMAND_HEADER_SIZE);
  while (msgctl(Queue(), IPC_STAT, &queue) == 0 && queue.msg_qnum > 0) {
  }
  queue.msg_qbytes = COMMAND_REPLY_SIZE;
  msgctl(Queue(), IPC_SET, &queue);
  EXPECT_EQ(Receive(77)[3], -1);
}

TEST_F(CommandLoopTest, CompletesTheRequestInHandOnAStop) {
  for (const auto& [path, result] : {std::pair{WriteClip("clip.xml"), 0}, {"none"s, 3}}) {
    Serve();
    onLogLine = [this] { manager->Stop(); };
    EXPECT_EQ(Request(COMMAND_INSERT_CLIP, path), result);
    EXPECT_EQ(served.get(), result);
    onLogLine = nullptr;
  }
}
