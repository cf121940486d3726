#include "tests/service_test.h"

const std::string kTexts =
    " --source-id b --source-name c --source-location d "
    "--source-description e --source-address f ";
const std::string kUpdate = kTexts + "--content \"it's\" --max-retention-time 4294967295";

class VexactlTest : public ServiceTest {
 protected:
  // Runs vexactl with arguments in the shell's syntax. Returns its exit status, a blank, its
  // output.
  static std::string Vexactl(const std::string& arguments, const std::string& launcher = "") {
    const std::string command = launcher + Command("VEXACTL", VEXACTL) + " " + arguments + " 2>&1";
    FILE* output = popen(command.c_str(), "r");
    std::string text;
    for (int c; (c = fgetc(output)) != EOF;) {
      text += static_cast<char>(c);
    }
    return std::to_string(WEXITSTATUS(pclose(output))) + " " + text;
  }
};

TEST_F(VexactlTest, SendsRequestsAndTellsTheirOutcome) {
  EXPECT_EQ(Vexactl("insert x"), "3 vexactl: there is no command queue: vexamgr is not running\n");
  Start("Populated");
  WriteClip("w/a.xml");
  Write("w/b.xml", "<a/>");
  EXPECT_EQ(Vexactl("insert w/a.xml none w/b.xml w/a.xml"),
            "1 inserted w/a.xml\nvexactl: none: refused with 3 (the service's log tells why)\n"
            "vexactl: w/b.xml: refused with 22 (the content of the clip description is unusable)\n"
            "inserted w/a.xml\n");
  EXPECT_EQ(Vexactl("--timeout 60 delete -- w/a.xml -x"),
            "1 deleted w/a.xml\n"
            "vexactl: -x: refused with -1 (not a clip description below the watch directory)\n");
  EXPECT_EQ(Vexactl("update 1" + kUpdate), "0 updated recording 1\n");
  EXPECT_EQ(Query("SELECT * FROM Recording"), "1|100|200|it's|2|b|c|d|e|f|4294967295\n");
  Query("DROP TABLE Recording");
  EXPECT_EQ(Vexactl("update" + kUpdate + " -- -2147483648"),
            "1 vexactl: recording -2147483648: refused with 1 (SQL logic error)\n");
  kill(service, SIGSTOP);
  EXPECT_EQ(Vexactl("--timeout 1 delete x y"), "3 vexactl: x: no answer: the time limit has passed\n");
}

TEST_F(VexactlTest, SendsNothingOnWrongUse) {
  const int queue = msgget(COMMAND_QUEUE_KEY, IPC_CREAT | 0600);
  const std::string x(1500, 'x');
  using S = std::string;
  for (const S& arguments :
       {S(), S("remove x"), S("insert"), S("insert x --frobnicate"), S("insert x ''"),
        S("insert x --content y"), S("insert x --timeout"), S("--timeout 1 insert x --timeout 1"),
        S("insert x --timeout 0"), S("insert x --timeout 5s"), "update" + kUpdate,
        "update 1 2" + kUpdate, "update 1" + kTexts, "update 2147483648" + kUpdate,
        "update 1x" + kUpdate, "update 1" + kUpdate + "0", "update 1" + kUpdate + kTexts}) {
    EXPECT_EQ(Vexactl(arguments).substr(0, 2), "2 ") << arguments;
  }
  EXPECT_EQ(Vexactl("delete y " + x),
            "2 vexactl: a path must have 1 to 1499 bytes, not 1500\nTry 'vexactl --help'.\n");
  EXPECT_EQ(Vexactl("update 1 --max-retention-time 0" + kTexts + "--content " + x.substr(0, 132)),
            "2 vexactl: --content must have 1 to 131 bytes, not 132\nTry 'vexactl --help'.\n");
  CommandMessage request;
  EXPECT_LT(msgrcv(queue, &request, COMMAND_TEXT_SIZE, 0, IPC_NOWAIT), 0);
  EXPECT_EQ(Vexactl("--version"), "0 vexactl 1.0.0\n");
}

// A reply left over from an earlier thread of the same id is not taken for the answer; a process
// whose id is 1, the first in a container, is answered too.
TEST_F(VexactlTest, TakesOnlyItsOwnReply) {
  Start();
  const CommandReply stale = {gettid(), COMMAND_REQUEST_TYPE, COMMAND_DELETE_CLIP, 4, 0};
  EXPECT_EQ(msgsnd(Queue(), &stale, COMMAND_REPLY_SIZE, 0), 0);
  EXPECT_EQ(Delete("x"), -1);
  const std::string launcher =
      geteuid() == 0 ? "unshare --pid --fork " : "unshare -U --pid --fork ";
  EXPECT_EQ(Vexactl("delete x", launcher).substr(0, 11), "1 vexactl: ");
}
