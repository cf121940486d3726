#include <sys/stat.h>

#include "tests/service_test.h"

using ProgramTest = ServiceTest;

TEST_F(ProgramTest, TellsWhyItCannotServe) {
  EXPECT_EQ(Run(VEXAMGR_CAPTURED "--help"), "1 ");
  EXPECT_EQ(Take("log"),
            "27 [main] Insufficient arguments supplied\n"
            "27 [main] Usage: vexamgr <databaseFilename> <watchDirectory>\n");
  EXPECT_EQ(Run(VEXAMGR_CAPTURED "-none/db w"), "1 ");
  EXPECT_EQ(Take("log"),
            "30 [main] Creating manager...\n"
            "27 [VexaDAO] Failed to open database (-none/db)\n"
            "27 [VexaDAO] sqlite3 error (14) unable to open database file\n"
            "27 [main] Exiting due to error\n");
  EXPECT_EQ(Queue(), -1);
  EXPECT_EQ(Run(With("msgget:error=ENOSPC") + VEXAMGR_CAPTURED "db w"), "1 ");
  EXPECT_EQ(Take("log"), "27 [main] Failed to create message queue\n");
  EXPECT_FALSE(std::filesystem::exists("db"));
}

TEST_F(ProgramTest, ServesUntilASignal) {
  for (int signal : {SIGINT, SIGTERM}) {
    SCOPED_TRACE(strsignal(signal));
    umask(1);
    // SIGTERM at the first line, before the manager exists, has no effect.
    const pid_t service =
        Execute(With("openat:signal=TERM:when=1 -P log") + VEXAMGR_CAPTURED "--help w ignored");
    WaitUntil("the queue is there", [] { return Queue() >= 0; });
    EXPECT_EQ(QueueStatus().msg_perm.mode, 0666);
    EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/x.xml"), 0);
    EXPECT_EQ(Run("grep Umask /proc/" + std::to_string(service) + "/status"), "0 Umask:\t0001\n");
    EXPECT_EQ(End(service, signal), 0);
    EXPECT_EQ(Queue(), -1);
    EXPECT_EQ(Take("log"),
              "30 [main] Creating manager...\n"
              "30 [main] Starting manager...\n"
              "30 [VexaManager] Populating new database\n"
              "30 [VexaDAO] Creating new database\n"
              "30 [VexaDAO] Created new database\n"
              "30 [VexaManager] Populated new database\n"
              "30 [main] Exiting normally\n");
    EXPECT_TRUE(std::filesystem::remove("--help"));
  }
}

TEST_F(ProgramTest, HasNoStatementForAPragmaOrATransaction) {
  EXPECT_EQ(Run("grep --null-data --text --only-matching --extended-regexp "
                "'PRAGMA.*|^(BEGIN|SAVEPOINT).*' " VEXAMGR),
            "1 ");
}

// The tests run without and with write-ahead logging: vexamgr creates the database, or vexactl
// does. The log is opened for each of its lines. The line about the first clip is the sixth of a
// population, and the third of a later start.
class KillTest : public ServiceTest, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    if (GetParam()) {
      ASSERT_EQ(Run(VEXACTL "prepare db"), "0 ");
    }
  }
};
INSTANTIATE_TEST_SUITE_P(WithWriteAheadLog, KillTest, testing::Bool(),
                         testing::PrintToStringParamName());

TEST_P(KillTest, KeepsWhatItHasLoggedAndAnswered) {
  WriteClip("w/a.xml");
  WriteClip("w/b.xml");
  EXPECT_EQ(Run(With("openat:signal=KILL:when=6 -P log") + VEXAMGR_CAPTURED "db w"), "-9 ");
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Track"), "1|") << "each clip is committed by itself";
  Send(77, COMMAND_INSERT_CLIP, WriteClip("c.xml"));
  pid_t service = Execute(With("openat:signal=KILL:when=4 -P log") + VEXAMGR_CAPTURED "db w");
  EXPECT_EQ(Receive("the request that waited").Result, 0);
  EXPECT_EQ(End(service, SIGTERM), -SIGKILL) << "at the line about its end";
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Track"), "2|");
  service = Execute(With("close:signal=KILL -P db") + VEXAMGR_CAPTURED "db w");
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w"), -1);
  EXPECT_EQ(End(service, SIGTERM), -SIGKILL);
  EXPECT_EQ(Queue(), -1) << "the queue is removed before the database is closed";
}

TEST_P(KillTest, IsCompletedWithEachClipOnce) {
  Write("db-incomplete", "");
  for (const char* clip : {"w/a.xml", "w/b.xml", "w/c.xml", "w/d.xml"}) {
    WriteClip(clip);
  }
  EXPECT_EQ(Run(With("openat:signal=KILL:when=6 -P log") + VEXAMGR_CAPTURED "db w"), "-9 ")
      << "in the population";
  const pid_t complete = Execute(VEXACTL "--timeout 1 complete --pending db w");
  EXPECT_EQ(Run(With("openat:signal=KILL:when=3 -P log") + VEXAMGR_CAPTURED "db w"), "-9 ")
      << "in the completion";
  // This vexamgr answers each request 50 ms late, and vexactl must wait for the answer.
  const pid_t service = Execute(With("msgsnd:delay_enter=50000") + VEXAMGR_CAPTURED "db w");
  EXPECT_EQ(End(complete), 0);
  EXPECT_EQ(End(service, SIGTERM), 0);
  EXPECT_EQ(Query("SELECT Path FROM Track ORDER BY Path"), "w/a.xml|w/b.xml|w/c.xml|w/d.xml|");
}
