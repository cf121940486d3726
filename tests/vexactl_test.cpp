#include "tests/service_test.h"

const std::string kUpdate =
    " --content it's --source-id b --source-name c --source-location d"
    " --source-description e --source-address f --max-retention-time ";

class VexactlTest : public ServiceTest {
 protected:
  static std::string Vexactl(const std::string& arguments,
                             const std::vector<const char*>& command = {VEXACTL}) {
    const int status = End(Execute(command, arguments));
    return std::to_string(status) + " " + Take("output");
  }
};

TEST_F(VexactlTest, SendsRequestsAndTellsTheirOutcome) {
  EXPECT_EQ(Vexactl("ping"), "3 vexactl: there is no command queue: vexamgr is not running\n");
  Queue(IPC_CREAT | 0600);
  EXPECT_EQ(Vexactl("--timeout 1 ping"),
            "3 vexactl: vexamgr: no answer: the time limit has passed\n");
  Serve();
  // The id 1, that of a container's first process, gives way to a type on which a reply was left.
  const CommandReply stale = {INT32_MAX, COMMAND_REQUEST_TYPE, COMMAND_DELETE_CLIP, 4, 0};
  EXPECT_EQ(msgsnd(Queue(), &stale, COMMAND_REPLY_SIZE, 0), 0);
  EXPECT_EQ(Vexactl("ping", {"unshare", geteuid() == 0 ? "-p" : "-pU", "--fork", VEXACTL}),
            "0 reached vexamgr\n");
  EXPECT_EQ(Take(), "");
  WriteClip("a.xml");
  EXPECT_EQ(Vexactl("insert a.xml none a.xml"),
            "1 inserted a.xml\nvexactl: none: refused with 3 (the service's log tells why)\n"
            "inserted a.xml\n");
  EXPECT_EQ(Vexactl("delete --timeout 60 -- -x"),
            "1 vexactl: -x: refused with -1 (not a clip description below the watch directory)\n");
  EXPECT_EQ(Vexactl("update" + kUpdate + "4294967295 -- 1"), "0 updated recording 1\n");
  EXPECT_EQ(Vexactl("update" + kUpdate + "0 -- -2147483648").substr(0, 2), "0 ");
  EXPECT_EQ(Query("SELECT * FROM Recording"), "1|100|100|it's|2|b|c|d|e|f|4294967295|");
}

TEST_F(VexactlTest, LeavesTheCallersSignalsAlone) {
  CommandMessage request;
  const size_t size = MakePathRequest(COMMAND_DELETE_CLIP, "path", &request);
  EXPECT_EQ(size, COMMAND_HEADER_SIZE + static_cast<size_t>(request.DataLength));
  signal(SIGRTMIN, SIG_IGN);
  EXPECT_EQ(SendRequest(Queue(IPC_CREAT | 0600), &request, size, {}, nullptr), ETIMEDOUT);
  EXPECT_EQ(signal(SIGRTMIN, SIG_DFL), SIG_IGN);
  EXPECT_EQ(usleep(20000), 0);  // no timer goes on
}

TEST_F(VexactlTest, SendsNothingOnWrongUse) {
  Queue(IPC_CREAT | 0600);
  for (const std::string& arguments :
       {std::string("remove x"), std::string("ping x"), std::string("insert x --content y"),
        "delete y " + std::string(1500, 'x'), "update" + kUpdate + "0",
        "update 2147483648" + kUpdate + "0"}) {
    EXPECT_EQ(Vexactl(arguments).substr(0, 2), "2 ") << arguments;
  }
  EXPECT_EQ(Receive(COMMAND_REQUEST_TYPE, IPC_NOWAIT)[0], 0);
}
