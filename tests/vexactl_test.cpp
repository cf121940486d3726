#include "tests/service_test.h"

using VexactlTest = ServiceTest;

// All the options of an update, but for the argument of the last.
const std::string kUpdate =
    " --source-id b --source-name \"it's\" --source-location '' --source-description e"
    " --source-address f --max-retention-time 4294967295 --content ";

TEST_F(VexactlTest, EndsAtItsTimeLimit) {
  Queue(IPC_CREAT | 0600);
  EXPECT_EQ(Run(VEXACTL "--timeout 1 ping"),
            "3 vexactl: vexamgr: no answer: the time limit has passed\n");
}

TEST_F(VexactlTest, TellsWhatBecameOfEachRequest) {
  Serve();
  WriteClip("a.xml");
  EXPECT_EQ(
      Run(VEXACTL "insert a.xml x a.xml"),
      "1 inserted a.xml\n"
      "vexactl: x: refused with 3 (most likely vexamgr can't find the file or may not read it)\n"
      "inserted a.xml\n");
  const std::string longest(131, 'x');
  EXPECT_EQ(Run(VEXACTL "update 1" + kUpdate + longest), "0 updated recording 1\n");
  EXPECT_EQ(End(Execute(VEXACTL "update 1" + kUpdate + longest + "x")), 2);
  EXPECT_EQ(Query("SELECT * FROM Recording"),
            "1|100|100|" + longest + "|2|b|it's||e|f|4294967295|");
}

TEST_F(VexactlTest, OutlastsALockOnTheCatalogue) {
  Serve();
  WriteClip("a.xml");
  sqlite3* locker = Hold("BEGIN EXCLUSIVE");
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/a.xml"), 5);
  EXPECT_LOGGED("27 [VexaManager]  Failed to delete clip (a.*)\n");
  const pid_t vexactl = Execute(VEXACTL "insert a.xml");
  WaitUntil("it is refused", [] { return std::filesystem::exists("log"); });
  sqlite3_close(locker);
  EXPECT_EQ(End(vexactl), 0);
  EXPECT_LOGGED(
      "27 [VexaManager]  Failed to insert database clip (a.xml)\n"
      "30 [VexaManager] Inserted clip a.xml\n");
}
