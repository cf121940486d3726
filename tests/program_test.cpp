#include "tests/service_test.h"

using ProgramTest = ServiceTest;

const std::string kStart = "30 [main] Creating manager...\n30 [main] Starting manager...\n";
const std::string kCreation =
    "30 [VexaManager] Populating new database\n"
    "30 [VexaDAO] Creating new database\n"
    "30 [VexaDAO] Created new database\n";

TEST_F(ProgramTest, TellsWhyItCannotServe) {
  const std::pair<std::string, std::string> failures[] = {
      // The arguments and the log.
      {"db",
       "27 [main] Insufficient arguments supplied\n"
       "27 [main] Usage: vexamgr <databaseFilename> <watchDirectory>\n"},
      {"none/db w",
       "30 [main] Creating manager...\n"
       "27 [VexaDAO] Failed to open database (none/db)\n"
       "27 [VexaDAO] sqlite3 error (14) unable to open database file\n"
       "27 [main] Exiting due to error\n"},
      {"db none", kStart + kCreation +
                      "27 [VexaManager]  Error scanning directory (2) No such file or directory\n"
                      "27 [VexaManager]  Error scanning directories\n"
                      "27 [VexaManager]  Failed to populate new database\n"
                      "27 [main] Exiting due to error\n"},
  };
  for (const auto& [arguments, log] : failures) {
    SCOPED_TRACE(arguments);
    EXPECT_EQ(End(Execute(VEXAMGR + arguments)), 1);
    EXPECT_EQ(TakeLog(), log);
    EXPECT_EQ(Queue(), -1);
  }
}

TEST_F(ProgramTest, ServesUntilASignal) {
  for (int signal : {SIGINT, SIGTERM}) {
    SCOPED_TRACE(strsignal(signal));
    const pid_t service = Execute(VEXAMGR "db w ignored");
    WaitUntil("the queue is there", [] { return Queue() >= 0; });
    EXPECT_EQ(QueueStatus().msg_perm.mode, 0666);
    EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/x.xml"), 0);
    EXPECT_EQ(End(service, signal), 0);
    EXPECT_EQ(Queue(), -1);
    EXPECT_EQ(TakeLog(), kStart + kCreation +
                             "30 [VexaManager] Populated new database\n"
                             "30 [main] Exiting normally\n");
    std::filesystem::remove("db");
  }
}

TEST_F(ProgramTest, KeepsEveryAnsweredClipThroughKills) {
  ASSERT_EQ(Populate(), 0);
  Queue(IPC_CREAT | 0600);
  const int clips = 8;  // requests of a round; each has a reply type and a path of its own
  for (int round = 0; round < 25; ++round) {
    const int first = 100 + round * clips;
    for (int clip = first; clip < first + clips; ++clip) {
      Send(clip, COMMAND_INSERT_CLIP, WriteClip(std::to_string(clip)));
    }
    const pid_t service = Execute(VEXAMGR "db w");
    EXPECT_EQ(Receive(first).Result, 0);
    std::vector<int> answered = {first};
    usleep(static_cast<useconds_t>(round * 50));  // another moment each time
    EXPECT_EQ(End(service, SIGKILL), -SIGKILL);
    for (int clip = 100; clip < first + clips; ++clip) {
      if (HasReply(clip)) {
        answered.push_back(clip);
      }
    }
    for (int clip : answered) {
      const std::string rows = "SELECT COUNT(*) FROM Track WHERE Path = " + std::to_string(clip);
      EXPECT_EQ(Query(rows), "1|") << "clip " << clip << ", answered before kill " << round;
    }
    EXPECT_EQ(Query("PRAGMA integrity_check"), "ok|");
  }
}
