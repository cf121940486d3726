#include <algorithm>

#include "tests/service_test.h"

using std::filesystem::exists;

using PrepareTest = ServiceTest;

TEST_F(PrepareTest, MakesADatabaseWithWriteAheadLoggingAndRemovesLeftovers) {
  Write("db", "");
  for (const char* leftover : {"db-journal", "db-wal", "db-shm", "db-new", "db-new-wal"}) {
    Write(leftover, "of a database that was removed");
  }
  EXPECT_EQ(Run(VEXACTL "prepare db w"), "0 ");
  EXPECT_EQ(Run("ls --ignore=output"), "0 db\ndb-incomplete\nw\n");
  EXPECT_EQ(Query("PRAGMA journal_mode; PRAGMA page_size"), "wal|1024|");
}

TEST_F(PrepareTest, KeepsACatalogueWithoutALookAtItsFolder) {
  WriteClip("w/a.xml");
  ASSERT_EQ(Populate(), 0);
  std::filesystem::remove_all("w");
  std::filesystem::create_symlink("db", "link");
  EXPECT_EQ(Run(VEXACTL "prepare link w"), "0 ");
  EXPECT_EQ(Query("SELECT Path FROM Track"), "w/a.xml|");
  EXPECT_FALSE(exists("db-incomplete"));
  Write("no-database", "It is a text.");
  EXPECT_EQ(Run(VEXACTL "prepare no-database w"),
            "0 vexactl: no-database: left as it is: file is not a database\n");
  EXPECT_EQ(Take("no-database"), "It is a text.");
}

TEST_F(PrepareTest, RefusesWhatItCannotPrepare) {
  std::filesystem::create_symlink("nothing", "link");
  const std::pair<std::string, std::string> refusals[] = {
      {"db w/", "w/: a watch directory must be named without a slash at its end"},
      {"db none", "none: can't be read as a folder: No such file or directory"},
      {"link w", "link: leads to no database: give the name of the file itself"},
      {"w w", "w: is no file"},
  };
  for (const auto& [arguments, reason] : refusals) {
    EXPECT_EQ(Run(VEXACTL "prepare " + arguments), "1 vexactl: " + reason + "\n");
  }
  EXPECT_EQ(Run("ls --ignore=output"), "0 link\nw\n");
}

TEST_F(PrepareTest, MarksADatabaseThatHasYetToBePopulated) {
  Query("CREATE TABLE Other (x)");
  std::filesystem::create_symlink("../db", "w/link");
  EXPECT_EQ(Run(VEXACTL "prepare w/link"), "0 ");
  EXPECT_TRUE(exists("db-incomplete")) << "beside the file, not the link";
}

TEST_F(PrepareTest, UndoesACreationThatWasCutShort) {
  const std::string tables = "SELECT name FROM sqlite_master WHERE type = 'table'";
  Query(
      "CREATE TABLE Schema (x); CREATE TABLE Camera (x); CREATE TABLE Recording (x);"
      "INSERT INTO Camera VALUES (1)");
  EXPECT_EQ(Run(VEXACTL "prepare db"), "0 ");
  EXPECT_EQ(Query(tables), "Schema|Camera|Recording|") << "without the mark";
  Write("db-incomplete", "");
  EXPECT_EQ(Run(VEXACTL "prepare db"), "0 ");
  EXPECT_EQ(Query(tables), "");
  EXPECT_EQ(Populate(), 0);
  EXPECT_EQ(Run(VEXACTL "prepare db"), "0 ");
  EXPECT_EQ(Query("SELECT Id FROM Recording"), "1|") << "of a catalogue without clips";
}

TEST_F(PrepareTest, FailsIfAFolderIsInTheWay) {
  Write("db-new/file", "in the way");
  EXPECT_EQ(Run(VEXACTL "prepare db w"), "255 vexactl: db-new: Is a directory\n");
  EXPECT_TRUE(std::filesystem::remove("db-incomplete")) << "the mark comes before the database";
  Write("db-incomplete/file", "in the way");
  EXPECT_EQ(Run(VEXACTL "prepare db w"), "255 vexactl: db-incomplete: Is a directory\n");
  EXPECT_FALSE(exists("db"));
}

TEST_F(PrepareTest, KeepsRowsThatAreNotVexamgrs) {
  Query("CREATE TABLE Schema (x); CREATE TABLE Camera (x); INSERT INTO Camera VALUES (7)");
  Write("db-incomplete", "");
  EXPECT_EQ(Run(VEXACTL "prepare db"), "0 ");
  EXPECT_EQ(Query("SELECT x FROM Camera"), "7|");
}

// A chroot is no mount point, so unshare must leave the propagation of mounts alone there.
TEST_F(PrepareTest, FailsWithoutRoomForTheJournalsIndex) {
  EXPECT_EQ(Run("unshare --mount --propagation unchanged sh -c \""
                "mount -t tmpfs -o size=256k none w; " VEXACTL "prepare w/db; "
                "head -c 190k /dev/zero >w/rest; " VEXACTL "prepare w/db; "
                "status=\\$?; umount w; exit \\$status\""),
            "255 vexactl: w/db: less than 64 kB of room is left beside it\n");
}

using CheckTest = ServiceTest;

TEST_F(CheckTest, NamesTheDescriptionsWhoseClipHasNoRow) {
  WriteClip("w/a.xml");
  WriteClip("w/b/it's.xml");
  ASSERT_EQ(Populate(), 0);
  WriteClip("w/.hidden/c.xml");
  WriteClip("w/c.XML");
  std::filesystem::create_directory("w/empty");
  EXPECT_EQ(Run(VEXACTL "check db w"), "0 ");
  for (const std::string column : {"DateFrom", "DateTo", "TriggerType", "Path"}) {
    Query("UPDATE Track SET " + column + " = " + column + " || 1 WHERE Path = 'w/a.xml'");
    EXPECT_EQ(Run(VEXACTL "check db w"), "1 w/a.xml\n") << column;
    Query(
        "DELETE FROM Track WHERE Path LIKE 'w/a%'; INSERT INTO Track VALUES (100, 100, 2, "
        "'w/a.xml')");
  }
  Write("w/a.xml", "<clip/>");
  EXPECT_EQ(Run(VEXACTL "check db w"), "1 vexactl: w/a.xml: it has no element dateFrom\nw/a.xml\n");
}

TEST_F(CheckTest, SaysWhatItCannotTell) {
  WriteClip("w/a.xml");
  EXPECT_EQ(Run(VEXACTL "check db w"), "3 vexactl: db: No such file or directory\n");
  EXPECT_FALSE(exists("db"));
  Query("CREATE TABLE Schema (x)");
  EXPECT_EQ(Run(VEXACTL "check db w"),
            "3 vexactl: db: this is no catalogue yet: start vexamgr anew, after vexactl prepare\n");
  std::filesystem::remove("db");
  ASSERT_EQ(Populate(), 0);
  EXPECT_EQ(Run(VEXACTL "check db none"), "3 vexactl: none: No such file or directory\n");
  std::filesystem::create_directory("w/locked");
  std::filesystem::permissions("w/locked", std::filesystem::perms::none);
  WriteClip("w/b.xml");
  EXPECT_EQ(Run("setpriv --bounding-set -all " VEXACTL "check db w"),
            "3 vexactl: w/locked: Permission denied\nw/b.xml\n");
}

TEST_F(CheckTest, AwaitsTheEndOfALock) {
  WriteClip("w/a.xml");
  ASSERT_EQ(Populate(), 0);
  sqlite3* locker = Hold("BEGIN EXCLUSIVE");
  const pid_t check = Execute(VEXACTL "check db w");
  WaitUntil("vexactl awaits the end of the lock", [=] { return Sleeps(check); });
  sqlite3_close(locker);
  EXPECT_EQ(End(check), 0);
}

class CompleteTest : public ServiceTest {
 protected:
  // Serves a prepared catalogue of some clips and then takes out the rows of all but the first.
  // Each path has a quote: complete must not take a lock's refusal (5) for that of a statement
  // which quotes have made too long (1).
  void ServeIncomplete(int clips) {
    for (int clip = 0; clip < clips; ++clip) {
      WriteClip("w/it's " + std::to_string(clip) + ".xml");
    }
    ASSERT_EQ(Run(VEXACTL "prepare db w"), "0 ");
    Serve();
    Query("DELETE FROM Track WHERE Path NOT LIKE '% 0.xml'");
  }

  static std::string Paths() { return Query("SELECT Path FROM Track ORDER BY Path"); }
};

TEST_F(CompleteTest, InsertsWhatAFailedPopulationLeftOutAndTriesTheRestOnlyOnce) {
  WriteClip("w/a.xml");
  WriteClip("w/b.xml");
  Write("w/torn.xml", "");
  const std::string quotes(120, '\'');
  std::string deepFolder = "w";
  while (deepFolder.size() < 1499) {
    deepFolder += "/" + std::string(200, 'x');
  }
  ASSERT_EQ(Run(VEXACTL "prepare db w"), "0 ");
  EXPECT_EQ(Populate(), 13);
  WriteClip(deepFolder + "/clip.xml");
  std::filesystem::permissions(WriteClip("w/forbidden.xml"), std::filesystem::perms::none);
  WriteClip("w/" + quotes + ".xml");
  Serve();
  const std::string outcome = Run("setpriv --bounding-set -all " VEXACTL "complete --pending db w");
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "vexactl: w/forbidden.xml: Permission denied", outcome);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "vexactl: w/torn.xml: it is malformed", outcome);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "its path is too long for a request", outcome);
  EXPECT_PRED_FORMAT2(testing::IsSubstring,
                      quotes + ".xml: refused with 1 (the service's log tells why)", outcome);
  EXPECT_EQ(Paths(), "w/a.xml|w/b.xml|");
  EXPECT_FALSE(exists("db-incomplete"));
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/b.xml"), 0);
  EXPECT_EQ(Run(VEXACTL "prepare db w"), "0 ");
  EXPECT_EQ(Run(VEXACTL "complete --pending db w"), "0 ");
  EXPECT_EQ(Paths(), "w/a.xml|") << "what was deleted by a request stays deleted";
}

TEST_F(CompleteTest, LeavesWhatALockRefusesForAnotherTime) {
  ServeIncomplete(3);
  sqlite3* locker = Hold("BEGIN IMMEDIATE");
  EXPECT_EQ(Run(VEXACTL "prepare db w"), "0 ") << "without a lock of its own";
  EXPECT_EQ(Run(VEXACTL "--timeout 1 complete --pending db w >inserted 2>refused"), "1 ");
  EXPECT_EQ(Take("inserted"), "");
  const std::string refused = Take("refused");
  EXPECT_EQ(refused.substr(refused.find(": refused")),
            ": refused with 5 (the catalogue is locked, or the clip description can't be read)\n");
  EXPECT_TRUE(exists("db-incomplete"));
  sqlite3_close(locker);
  EXPECT_EQ(End(Execute(VEXACTL "complete --pending db w")), 0);
  EXPECT_EQ(Paths(), "w/it's 0.xml|w/it's 1.xml|w/it's 2.xml|");
  EXPECT_FALSE(exists("db-incomplete"));
}

TEST_F(CompleteTest, OutlastsALockAndTheAbsenceOfTheCard) {
  ServeIncomplete(2);
  sqlite3* locker = Hold("BEGIN IMMEDIATE");
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/a.xml"), 5);
  EXPECT_LOGGED("27 [VexaManager]  Failed to delete clip (a.*)\n");
  const pid_t pending = Execute(VEXACTL "complete --pending db w");
  const std::string refusal = "27 [VexaManager]  Failed to insert database clip (w/it's 1.xml)\n";
  std::string log;
  WaitUntil("vexactl is refused twice", [&] {
    log += Take("log");
    return log.find(refusal) != log.rfind(refusal);
  });
  std::filesystem::rename("w", "pulled-out");
  sqlite3_close(locker);
  WaitUntil("vexactl prints something", [] { return std::filesystem::file_size("output") > 0; });
  EXPECT_EQ(Take("output"), "vexactl: w: it was taken away meanwhile\n");
  std::filesystem::rename("pulled-out", "w");
  EXPECT_EQ(End(pending), 0);
  EXPECT_EQ(Paths(), "w/it's 0.xml|w/it's 1.xml|");
  EXPECT_FALSE(exists("db-incomplete"));
}

TEST_F(CompleteTest, StopsIfAnotherCatalogueIsServed) {
  ServeIncomplete(3);
  Run("sqlite3 -readonly db '.backup other'");
  Write("other-incomplete", "");
  const std::string outcome = Run(VEXACTL "complete other w");
  EXPECT_PRED_FORMAT2(testing::IsSubstring,
                      "vexactl: other: vexamgr serves another catalogue: the clip has no row here",
                      outcome);
  EXPECT_EQ(outcome.substr(0, 11), "3 inserted ");
  EXPECT_EQ(std::count(outcome.begin(), outcome.end(), '\n'), 2) << "after one clip";
  EXPECT_TRUE(exists("other-incomplete"));
  EXPECT_EQ(Run(VEXACTL "complete none w"), "3 vexactl: none: No such file or directory\n");
}

TEST_F(CompleteTest, PingsBeforeItLooksAndPassesOverADescriptionThatHasGone) {
  ASSERT_EQ(Populate(), 0);
  WriteClip("w/a.xml");
  WriteClip("w/b.xml");
  const pid_t complete = Execute(VEXACTL "complete db w");
  WaitUntil("vexactl awaits a queue", [=] { return Sleeps(complete); });
  Queue(IPC_CREAT | 0600);  // the test is the service
  std::vector<std::string> paths;
  for (const int expected :
       {COMMAND_DELETE_CLIP, COMMAND_DELETE_CLIP, COMMAND_INSERT_CLIP, COMMAND_INSERT_CLIP}) {
    CommandMessage request;
    WaitUntil("a request comes",
              [&] { return msgrcv(Queue(), &request, COMMAND_REQUEST_SIZE, 1, IPC_NOWAIT) >= 0; });
    EXPECT_EQ(request.MessageId, expected)
        << "a ping to await the service, a ping under the lock of the folder, then the clips";
    paths.push_back(request.Data);
    const CommandReply notFound = {request.SenderType, 1, request.MessageId, 4, 3};
    if (paths.size() == 4) {  // the recorder deletes the last clip meanwhile
      std::filesystem::remove(paths[3]);
    }
    msgsnd(Queue(), &notFound, COMMAND_REPLY_SIZE, 0);
  }
  EXPECT_EQ(End(complete), 1);
  EXPECT_EQ(Take("output"), "vexactl: " + paths[2] +
                                ": refused with 3 (most likely vexamgr can't find the file or may "
                                "not read it)\n");
}

TEST_F(CompleteTest, KeepsTheMarkWhateverItCannotOpen) {
  ServeIncomplete(2);
  for (int limit = 4; limit < 12; ++limit) {  // from too few open files to enough
    const std::string files = std::to_string(limit);
    const std::string outcome = Run("prlimit --nofile=" + files + " " VEXACTL "complete db w");
    EXPECT_EQ(exists("db-incomplete"), outcome.substr(0, 2) != "0 ") << files << ": " << outcome;
  }
  EXPECT_EQ(End(Execute(VEXACTL "complete db w")), 0);
  EXPECT_EQ(Paths(), "w/it's 0.xml|w/it's 1.xml|");
}

TEST_F(CompleteTest, TakesTurnsWithAnother) {
  ServeIncomplete(100);
  Run(VEXACTL "complete db w & " VEXACTL "complete db w; wait");
  EXPECT_EQ(Query("SELECT COUNT(*), COUNT(DISTINCT Path) FROM Track"), "100|100|");
}

TEST_F(CompleteTest, AwaitsVexamgrAndThenTheCard) {
  ASSERT_EQ(Run(VEXACTL "prepare db"), "0 ");
  const pid_t pending = Execute(VEXACTL "complete --pending db w");
  WaitUntil("vexactl awaits a queue", [=] { return Sleeps(pending); });
  EXPECT_EQ(Run(VEXACTL "complete --pending db w"), "0 ") << "a second completion ends at once";
  Serve();
  WaitUntil("vexactl has taken its answer", [=] { return QueueStatus().msg_lrpid == pending; });
  EXPECT_EQ(Run(VEXACTL "complete db w"), "0 ") << "without a card";
  EXPECT_TRUE(exists("db-incomplete"));
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, WriteClip("w/a.xml")), 0) << "the recorder's own request";
  EXPECT_EQ(End(pending), 0);
  EXPECT_FALSE(exists("db-incomplete"));
  EXPECT_EQ(Paths(), "w/a.xml|");
}
