#include <thread>
#include <vector>

#include "manager/vexa_manager.h"
#include "tests/service_test.h"

using LifecycleTest = ServiceTest;

const std::string kStart = "30 [main] Creating manager...\n30 [main] Starting manager...\n";
const std::string kCreating = kStart +
                              "30 [VexaManager] Populating new database\n"
                              "30 [VexaDAO] Creating new database\n";
const std::string kCreated = kCreating + "30 [VexaDAO] Created new database\n";
const std::string kEnd = "30 [main] Exiting normally\n";
const std::string kFailure =
    "27 [VexaManager]  Failed to populate new database\n"
    "27 [main] Exiting due to error\n";

TEST_F(LifecycleTest, PopulatesANewDatabaseOnce) {
  WriteClip("w/.x.xml/a.xml");  // only folders are hidden by their dot, only files by their ending
  WriteClip("w/deep/er.xml/.a.xml");
  for (const char* path : {"w/.xml", "w/a.XML", "w/a.xml.tmp", "w/deep/axml"}) {
    Write(path, "not well-formed");
  }
  std::filesystem::create_symlink("deep/er.xml/.a.xml", "w/link.xml");
  std::filesystem::create_directory_symlink("deep", "w/linked");
  Start("Populated", "db w/ ignored");
  msqid_ds queue;
  EXPECT_EQ(msgctl(Queue(), IPC_STAT, &queue), 0);
  EXPECT_EQ(queue.msg_perm.mode, 0666);
  EXPECT_EQ(Stop(SIGINT), 0);
  EXPECT_EQ(TakeLog(), kCreated +
                           "30 [VexaManager] Inserted clip w//deep/er.xml/.a.xml\n"
                           "30 [VexaManager] Populated new database\n" +
                           kEnd);
  EXPECT_EQ(Queue(), -1);
  EXPECT_EQ(
      Query("SELECT * FROM Schema; SELECT * FROM Camera; SELECT *, TYPEOF(DateFrom) FROM Track;"
            "SELECT * FROM Recording"),
      "http://norvane.example/ipnc/recordings.xsd|0|2\nNorvane|Pellaro|Quintor|\n"
      "100|200|2|media|integer\n1|100|200|Recording Contents|2|Source ID|Source Name|"
      "Source Location|Source Description|urn:camera0|0\n");
  Start();
  EXPECT_EQ(Stop(SIGTERM), 0);
  EXPECT_EQ(TakeLog(), kStart + kEnd);
}

TEST_F(LifecycleTest, EndsInErrorBeforeItStarts) {
  const auto run = [this](const char* arguments) {
    Start("", arguments);
    EXPECT_EQ(End(), 1);
    EXPECT_EQ(Queue(), -1);
    return TakeLog();
  };
  EXPECT_EQ(run("db"),
            "27 [main] Insufficient arguments supplied\n"
            "27 [main] Usage: vexamgr <databaseFilename> <watchDirectory>\n");
  EXPECT_EQ(run("no/db w"),
            "30 [main] Creating manager...\n"
            "27 [VexaDAO] Failed to open database (no/db)\n"
            "27 [VexaDAO] sqlite3 error (14) unable to open database file\n"
            "27 [main] Exiting due to error\n");
  std::vector<int> queues = {0};  // as many as there can be
  while (queues.back() >= 0) {
    queues.push_back(msgget(IPC_PRIVATE, 0));
  }
  EXPECT_EQ(run("db w"), "27 [main] Failed to create message queue\n");
  for (int queue : queues) {
    msgctl(queue, IPC_RMID, nullptr);
  }
}

// The last entry of each directory stream comes first. A failure leaves out the rest of its folder
// and, counted in the log, of each folder above.
TEST_F(LifecycleTest, StopsAtTheFirstFailureOfAReverseWalk) {
  for (const char* name : {"w/a.xml", "w/b.xml", "w/c.xml", "w/d.xml"}) {
    WriteClip(name);
  }
  WriteClip("w/sub/sub/bad.xml", "media", "never");
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::directory_iterator("w")) {
    paths.push_back(entry.path());
  }
  std::string expected = kCreated;
  for (; paths.back() != "w/sub"; paths.pop_back()) {
    expected += "30 [VexaManager] Inserted clip " + paths.back() + "\n";
  }
  const std::string unvisited = std::to_string(paths.size() - 1);
  expected +=
      "27 [VexaManager]  Error parsing file (w/sub/sub/bad.xml)\n"
      "27 [VexaManager]  Error scanning directory 0 files not processed in (w/sub/sub)\n"
      "27 [VexaManager]  Error scanning directory " +
      unvisited + " files not processed in (w/sub)\n27 [VexaManager]  Error scanning directories\n";
  Start();
  EXPECT_EQ(End(), 1);
  EXPECT_EQ(TakeLog(), expected + kFailure);
  Start();  // serves what there is, and does not scan again
  EXPECT_EQ(Delete("w/x.xml"), 0);
  EXPECT_EQ(Query("SELECT " + unvisited + " + COUNT(*) FROM Track"), "4\n");
}

TEST_F(LifecycleTest, FailsToPopulate) {
  for (const auto& [sql, what] : {std::pair{"CREATE TABLE schema (x)", "SCHEMA table"},
                                  {"CREATE VIEW Schema AS SELECT 1", "SCHEMA table"},
                                  {"CREATE TABLE TrackDateToAscending (x)", "indices"}}) {
    std::filesystem::remove("db");
    Query(sql);
    Start();
    EXPECT_EQ(End(), 1);
    EXPECT_EQ(TakeLog(), kCreating +
                             "27 [VexaDAO] sqlite3 error (1) SQL logic error\n"
                             "27 [VexaDAO] Failed to create " +
                             what + "\n27 [VexaManager]  Failed to create new database\n" +
                             kFailure);
  }
  Start("", "new none");
  EXPECT_EQ(End(), 1);
  EXPECT_EQ(TakeLog(),
            kCreated +
                "27 [VexaManager]  Error scanning directory (2) No such file or directory\n"
                "27 [VexaManager]  Error scanning directories\n" +
                kFailure);
}

TEST_F(LifecycleTest, ServesOnAFileThatIsNoDatabase) {
  Write("./db", "no database");
  Start();
  EXPECT_EQ(Insert(WriteClip("w/clip.xml")), 26);
  EXPECT_EQ(TakeLog(), kStart +
                           "27 [VexaDAO] Error checking whether database is empty\n"
                           "27 [VexaDAO] sqlite3 error (26) file is not a database\n"
                           "27 [VexaDAO] sqlite3 error (26) file is not a database\n"
                           "27 [VexaManager]  Failed to insert database clip (w/clip.xml)\n");
}

TEST_F(LifecycleTest, RemembersAStopThatComesBeforeTheLoop) {
  for (int i = 0; i < 200; ++i) {
    WriteClip("w/a-name-that-soon-fills-the-log-" + std::to_string(i) + ".xml");
  }
  fcntl(logPipe[1], F_SETPIPE_SZ, 4096);  // population stands still until the signal has come
  Start();
  EXPECT_EQ(Stop(), 0);
  EXPECT_NE(TakeLog().find("Populated new database\n" + kEnd), std::string::npos);
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Track"), "200\n");

  VexaManager manager("db", msgget(COMMAND_QUEUE_KEY, IPC_CREAT | 0600), "w");
  SendRaw(77, COMMAND_DELETE_CLIP, "x");
  manager.Stop();
  EXPECT_EQ(manager.Start(), 0);
  EXPECT_EQ(Receive(77, IPC_NOWAIT), "");
  Start();  // serves the request that waited
  EXPECT_NE(Receive(77), "");
}

// Killed at any moment while requests wait, the service loses nothing that it has acknowledged.
TEST_F(LifecycleTest, KeepsAcknowledgedClipsThroughKills) {
  Start("Populated");
  Stop();
  const auto name = [](int round, int i) { return std::to_string(round * 20 + i); };
  for (int round = 0; round < 25; ++round) {
    Start();
    for (int i = 0; i < 20; ++i) {  // some widen the recording's span, on both sides
      const int step = i % 2 * round;
      SendRaw(77, COMMAND_INSERT_CLIP,
              WriteClip("w/" + name(round, i), name(round, i),
                        std::to_string(2000 - step) + "-01-01T00:00:00",
                        std::to_string(2001 + step) + "-01-01T00:00:00"));
    }
    int answers = 0;
    for (; answers < round % 20; ++answers) {
      EXPECT_NE(Receive(77), "");
    }
    std::this_thread::sleep_for(std::chrono::microseconds(37 * round));  // another moment each time
    EXPECT_EQ(Stop(SIGKILL), 1000 + SIGKILL);
    for (; Receive(77, IPC_NOWAIT) != ""; ++answers) {
    }
    msgctl(Queue(), IPC_RMID, nullptr);
    for (int i = 0; i < answers; ++i) {
      EXPECT_EQ(Query("SELECT COUNT(*) FROM Track WHERE Path = '" + name(round, i) + "'"), "1\n");
    }
    EXPECT_EQ(
        Query("PRAGMA integrity_check; SELECT DateFrom = (SELECT IFNULL(MIN(DateFrom), 0) FROM "
              "Track), DateTo = (SELECT IFNULL(MAX(DateTo), 0) FROM Track) FROM Recording"),
        "ok\n1|1\n");
  }
}
