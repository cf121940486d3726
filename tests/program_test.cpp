#include "tests/service_test.h"

using ProgramTest = ServiceTest;

TEST_F(ProgramTest, TellsWhyItCannotServe) {
  EXPECT_EQ(Run(VEXAMGR "db"), "1 ");
  EXPECT_EQ(Take("log"),
            "27 [main] Insufficient arguments supplied\n"
            "27 [main] Usage: vexamgr <databaseFilename> <watchDirectory>\n");
  EXPECT_EQ(Run(VEXAMGR "none/db w"), "1 ");
  EXPECT_EQ(Take("log"),
            "30 [main] Creating manager...\n"
            "27 [VexaDAO] Failed to open database (none/db)\n"
            "27 [VexaDAO] sqlite3 error (14) unable to open database file\n"
            "27 [main] Exiting due to error\n");
  EXPECT_EQ(Run(VEXAMGR "db none"), "1 ");
  EXPECT_LOGGED(
      "27 [VexaManager]  Error scanning directory (2) No such file or directory\n"
      "27 [VexaManager]  Error scanning directories\n"
      "27 [VexaManager]  Failed to populate new database\n"
      "27 [main] Exiting due to error\n");
  EXPECT_EQ(Queue(), -1);
}

TEST_F(ProgramTest, ServesUntilASignal) {
  for (int signal : {SIGINT, SIGTERM}) {
    SCOPED_TRACE(strsignal(signal));
    const pid_t service = Execute(VEXAMGR "db w ignored");
    WaitUntil("the queue is there", [] { return Queue() >= 0; });
    EXPECT_EQ(QueueStatus().msg_perm.mode, 0666);
    EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/x.xml"), 0);
    EXPECT_EQ(Query("SELECT DateFrom, DateTo FROM Recording"), "0|0|");
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
    std::filesystem::remove("db");
  }
}

TEST_F(ProgramTest, KeepsEveryAnsweredClipThroughKills) {
  ASSERT_EQ(Populate(), 0);
  Queue(IPC_CREAT | 0600);
  for (int round = 0; round < 8; ++round) {
    const int first = 100 + 8 * round;
    for (int clip = first; clip < first + 8; ++clip) {
      Send(clip, COMMAND_INSERT_CLIP, WriteClip(std::to_string(clip)));
    }
    const pid_t service = Execute(VEXAMGR "db w");
    WaitUntil("the service has replied", [&] { return QueueStatus().msg_lspid == service; });
    usleep(static_cast<useconds_t>(round * 150));  // another moment each time
    EXPECT_EQ(End(service, SIGKILL), -SIGKILL);
    CommandReply reply;  // any message but the requests that wait
    while (msgrcv(Queue(), &reply, COMMAND_REPLY_SIZE, COMMAND_REQUEST_TYPE,
                  MSG_EXCEPT | IPC_NOWAIT) >= 0) {
      const std::string clip = std::to_string(reply.mtype);
      EXPECT_EQ(Query("SELECT COUNT(*) FROM Track WHERE Path = " + clip), "1|") << clip;
    }
  }
}
