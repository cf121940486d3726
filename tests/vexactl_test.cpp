#include "ipc/requester.h"
#include "tests/service_test.h"

const std::string kUpdate =
    " --content \"it's\" --source-id b --source-name c --source-location d"
    " --source-description e --source-address f --max-retention-time ";

class VexactlTest : public ServiceTest {
 protected:
  // The exit status and, after a blank, the output.
  static std::string Vexactl(const std::string& arguments) {
    const int status = End(Execute(VEXACTL + arguments));
    return std::to_string(status) + " " + Take("output");
  }
};

TEST_F(VexactlTest, TellsWhyThereIsNoAnswer) {
  EXPECT_EQ(Vexactl("ping"), "3 vexactl: there is no command queue: vexamgr is not running\n");
  Queue(IPC_CREAT | 0600);
  EXPECT_EQ(Vexactl("--timeout 1 ping"),
            "3 vexactl: vexamgr: no answer: the time limit has passed\n");
  const pid_t vexactl = Execute(VEXACTL "ping");
  WaitUntil("a second request is sent", [] { return QueueStatus().msg_qnum == 2; });
  msgctl(Queue(), IPC_RMID, nullptr);
  EXPECT_EQ(End(vexactl), 3);
  EXPECT_EQ(Take("output"),
            "vexactl: vexamgr: no answer: the command queue was removed: vexamgr has ended\n");
}

// The type 1 is that of requests, so a container's first process takes another for its replies.
TEST_F(VexactlTest, IsAnsweredAsProcess1Too) {
  Serve();
  const CommandReply stale = {INT32_MAX, COMMAND_REQUEST_TYPE, COMMAND_DELETE_CLIP, 4, 0};
  ASSERT_EQ(msgsnd(Queue(), &stale, COMMAND_REPLY_SIZE, 0), 0);
  EXPECT_EQ(End(Execute("unshare --user --pid --fork " VEXACTL "ping")), 0);
  EXPECT_EQ(Take("output"), "reached vexamgr\n");
  EXPECT_EQ(TakeLog(), "");
}

TEST_F(VexactlTest, TellsWhatBecameOfEachRequest) {
  Serve();
  WriteClip("a.xml");
  EXPECT_EQ(Vexactl("insert a.xml none a.xml"),
            "1 inserted a.xml\n"
            "vexactl: none: refused with 3 (the service's log tells why)\n"
            "inserted a.xml\n");
  EXPECT_EQ(Vexactl("delete --timeout 60 -- -x"),
            "1 vexactl: -x: refused with -1 (not a clip description below the watch directory)\n");
  EXPECT_EQ(Vexactl("update" + kUpdate + "0 -- -2147483648"), "0 updated recording -2147483648\n");
  EXPECT_EQ(Vexactl("update" + kUpdate + "4294967295 -- 1"), "0 updated recording 1\n");
  EXPECT_EQ(Query("SELECT * FROM Recording"), "1|100|100|it's|2|b|c|d|e|f|4294967295|");
}

TEST_F(VexactlTest, SendsNothingOnWrongUse) {
  Queue(IPC_CREAT | 0600);
  const std::string wrongUses[] = {
      "remove x",
      "insert",
      "insert x --content y",
      "delete y " + std::string(1500, 'x'),
      "ping x",
      "ping --timeout 0",
      "update" + kUpdate + "0",
      "update 2147483648" + kUpdate + "0",
      "update 1 --content x",
      "update 1 --source-id twice" + kUpdate + "0",
      "update 1 --source-id " + std::string(128, 'x') + " --content x --source-name c"};
  for (const std::string& arguments : wrongUses) {
    EXPECT_EQ(Vexactl(arguments).substr(0, 11), "2 vexactl: ") << arguments;
  }
  EXPECT_EQ(QueueStatus().msg_qnum, 0);
}

TEST_F(VexactlTest, TellsItsUse) {
  EXPECT_EQ(Vexactl("--help").substr(0, 17), "0 Usage: vexactl ");
}

TEST_F(VexactlTest, LeavesTheCallersSignalsAlone) {
  CommandMessage request;
  const size_t size = MakePathRequest(COMMAND_DELETE_CLIP, "path", &request);
  EXPECT_EQ(size, COMMAND_HEADER_SIZE + strlen("path") + 1);
  const auto previous = signal(SIGALRM, SIG_IGN);
  EXPECT_EQ(SendRequest(Queue(IPC_CREAT | 0600), &request, size, {}, nullptr), ETIMEDOUT);
  EXPECT_EQ(signal(SIGALRM, previous), SIG_IGN);
  EXPECT_GT(alarm(20), 10U);  // the fixture's
}
