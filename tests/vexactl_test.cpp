#include <sys/time.h>

#include "ipc/requester.h"
#include "tests/service_test.h"

using VexactlTest = ServiceTest;

// All the options of an update, but for the argument of the last.
const std::string kUpdate =
    " --source-id b --source-name \"it's\" --source-location '' --source-description e"
    " --source-address f --max-retention-time 4294967295 --content ";

TEST_F(VexactlTest, RefusesWrongUse) {
  Serve();
  const std::pair<std::string, std::string> uses[] = {
      {"", "no command is given"},
      {"remove x", "unknown command remove"},
      {"--unknown ping", "unrecognized option"},
      {"insert", "no file is given"},
      {"insert ''", "a path must have 1 to 1499 bytes, not 0"},
      {"insert x --content y", "--content does not go with insert"},
      {"prepare --timeout 1 x", "--timeout does not go with prepare"},
      {"ping --timeout 0", "--timeout must be a whole number from 1 to 86400"},
      {"ping --timeout 1s", "--timeout must be a whole number from 1 to 86400"},
      {"ping --timeout 1 --timeout 2", "--timeout is given twice"},
      {"ping x", "ping takes no operand"},
      {"update", "update takes one recording ID"},
      {"update 1 --content x", "update replaces all descriptive columns and needs --source-id"},
      {"update x" + kUpdate + "x", "the recording ID must be a whole number from -2147483648"},
      {"prepare db w w", "prepare takes a database and at most a watch directory"},
      {"check db", "a watch directory must be given"},
      {"check db ''", "a name is empty"},
  };
  for (const auto& [arguments, reason] : uses) {
    const std::string outcome = Run(VEXACTL + arguments);
    EXPECT_EQ(outcome.substr(0, 11), "2 vexactl: ") << arguments;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, reason, outcome);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "\nTry 'vexactl --help'.\n", outcome);
  }
  EXPECT_EQ(QueueStatus().msg_stime, 0) << "nothing was sent";
}

TEST_F(VexactlTest, TellsItsUseAndItsVersion) {
  EXPECT_EQ(Run(VEXACTL "--help").substr(0, 16), "0 Usage: vexactl");
  EXPECT_EQ(Run(VEXACTL "-h"), Run(VEXACTL "--help"));
  EXPECT_EQ(Run(VEXACTL "--version").substr(0, 11), "0 vexactl 1");
}

TEST_F(VexactlTest, TellsWhyItHasNoAnswer) {
  EXPECT_EQ(Run(VEXACTL "ping"), "3 vexactl: there is no command queue: vexamgr is not running\n");
  EXPECT_EQ(Run(VEXACTL "complete db w"),
            "3 vexactl: vexamgr: no answer: there is no command queue: vexamgr is not running\n");
  Queue(IPC_CREAT | 0600);
  EXPECT_EQ(Run("env --block-signal=ALRM " VEXACTL "--timeout 1 ping"),
            "3 vexactl: vexamgr: no answer: the time limit has passed\n");
  EXPECT_EQ(Run(With("msgrcv:error=EIDRM") + VEXACTL "ping"),
            "3 vexactl: vexamgr: no answer: the command queue was removed: vexamgr has ended\n");
}

TEST_F(VexactlTest, TakesTheAnswerToItsOwnRequest) {
  Serve();
  const CommandReply stale = {getpid(), COMMAND_REQUEST_TYPE, COMMAND_DELETE_CLIP, 4, 0};
  msgsnd(Queue(), &stale, COMMAND_REPLY_SIZE, 0);
  CommandMessage ping = {};
  ping.MessageId = COMMAND_DELETE_CLIP;
  int32_t result = 0;
  EXPECT_EQ(SendRequest(Queue(), &ping, COMMAND_HEADER_SIZE, std::chrono::seconds(9), &result), 0);
  EXPECT_EQ(result, -1) << "0 was the answer to a process that had the same id";
  const CommandReply late = {getpid(), COMMAND_REQUEST_TYPE, COMMAND_INSERT_CLIP, 4, 0};
  const CommandReply awaited = {getpid(), COMMAND_REQUEST_TYPE, COMMAND_DELETE_CLIP, 4, 7};
  msgsnd(Queue(), &late, COMMAND_REPLY_SIZE, 0);
  msgsnd(Queue(), &awaited, COMMAND_REPLY_SIZE, 0);
  EXPECT_EQ(TakeReply(Queue(), COMMAND_DELETE_CLIP, std::chrono::seconds(9), &result), 0);
  EXPECT_EQ(result, 7) << "0 was the late answer to an insertion";
  itimerval timer;
  getitimer(ITIMER_REAL, &timer);
  EXPECT_EQ(timer.it_value.tv_sec, 0) << "the timer is off";
}

TEST_F(VexactlTest, TellsWhatBecameOfEachRequest) {
  Serve();
  WriteClip("a.xml");
  Write("bad.xml", "<clip/>");
  EXPECT_EQ(
      Run(VEXACTL "insert bad.xml x a.xml"),
      "1 vexactl: bad.xml: refused with 22 (the content of the clip description is unusable)\n"
      "vexactl: x: refused with 3 (most likely vexamgr can't find the file or may not read it)\n"
      "inserted a.xml\n");
  EXPECT_EQ(
      Run(VEXACTL "delete w.xml"),
      "1 vexactl: w.xml: refused with -1 (not a clip description below the watch directory)\n");
  EXPECT_EQ(Run("unshare --pid --fork " VEXACTL "ping"), "0 reached vexamgr\n")
      << "as the process 1 of a container";
  const std::string longest(131, 'x');
  EXPECT_EQ(Run(VEXACTL "update 1" + kUpdate + longest), "0 updated recording 1\n");
  EXPECT_EQ(End(Execute(VEXACTL "update 1" + kUpdate + longest + "x")), 2);
  EXPECT_EQ(Run("env POSIXLY_CORRECT=1 " VEXACTL "delete w/none.xml --timeout 9"),
            "0 deleted w/none.xml\n");
  EXPECT_EQ(Query("SELECT * FROM Recording"),
            "1|100|100|" + longest + "|2|b|it's||e|f|4294967295|");
}
