#include "tests/service_test.h"

using ProgramTest = ServiceTest;

TEST_F(ProgramTest, TellsHowItEnds) {
  for (const char* arguments : {"db", "no/db w", "db none"}) {
    EXPECT_EQ(End(Execute({VEXAMGR}, arguments)), 1) << arguments;
  }
  for (int signal : {SIGINT, SIGTERM}) {
    const pid_t service = Execute({VEXAMGR}, "new w ignored");
    while (Queue() < 0) {
    }
    EXPECT_EQ(Request(COMMAND_DELETE_CLIP, "w/x.xml"), 0);
    EXPECT_EQ(End(service, signal), 0);
  }
  EXPECT_EQ(Queue(), -1);
  while (msgget(IPC_PRIVATE, 0) >= 0) {
  }
  EXPECT_EQ(End(Execute({VEXAMGR}, "db w")), 1);
  unshare(CLONE_NEWIPC);  // away from so many queues
  const std::string start = "30 [main] Creating manager...\n30 [main] Starting manager...\n";
  const std::string created = start + "30 [VexaManager] Populating new database\n" +
                              "30 [VexaDAO] Creating new database\n" +
                              "30 [VexaDAO] Created new database\n";
  EXPECT_EQ(
      Take(),
      "27 [main] Insufficient arguments supplied\n"
      "27 [main] Usage: vexamgr <databaseFilename> <watchDirectory>\n"
      "30 [main] Creating manager...\n27 [VexaDAO] Failed to open database (no/db)\n"
      "27 [VexaDAO] sqlite3 error (14) unable to open database file\n"
      "27 [main] Exiting due to error\n" +
          created + "27 [VexaManager]  Error scanning directory (2) No such file or directory\n" +
          "27 [VexaManager]  Error scanning directories\n" +
          "27 [VexaManager]  Failed to populate new database\n27 [main] Exiting due to error\n" +
          created + "30 [VexaManager] Populated new database\n30 [main] Exiting normally\n" +
          start + "30 [main] Exiting normally\n27 [main] Failed to create message queue\n");
}

TEST_F(ProgramTest, KeepsAcknowledgedClipsThroughKills) {
  EXPECT_EQ(Populate(), 0);
  Queue(IPC_CREAT | 0600);
  for (int first = 100; first < 300; first += 8) {
    for (int i = first; i < first + 8; ++i) {
      SendRaw(i, COMMAND_INSERT_CLIP, WriteClip(std::to_string(i)));
    }
    const pid_t service = Execute({VEXAMGR}, "db w");
    EXPECT_EQ(Receive(first + first / 8 % 8)[3], 0);
    usleep(static_cast<useconds_t>(4 * first));  // another moment each time
    EXPECT_EQ(End(service, SIGKILL), -SIGKILL);
    for (int i = 100; i < first + 8; ++i) {
      if (Receive(i, IPC_NOWAIT)[0] != 0) {
        EXPECT_EQ(Query("SELECT COUNT(*) FROM Track WHERE Path = " + std::to_string(i)), "1|");
      }
    }
    EXPECT_EQ(Query("PRAGMA integrity_check"), "ok|");
  }
}
