#include <algorithm>

#include "tests/service_test.h"

using std::filesystem::exists;
using testing::IsSubstring;

using PrepareTest = ServiceTest;

TEST_F(PrepareTest, MakesADatabaseWithWriteAheadLoggingAndRemovesLeftovers) {
  Write("db", "");
  for (const char* leftover :
       {"db-journal", "db-wal", "db-shm", "db-new", "db-new-journal", "db-new-wal", "db-new-shm"}) {
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
  const std::string noRoom = "env --ignore-signal=XFSZ prlimit --fsize=65535 ";
  EXPECT_EQ(Run(noRoom + VEXACTL "prepare w/link"), "0 ") << "a rollback journal has no index";
  EXPECT_TRUE(exists("db-incomplete")) << "beside the file, not the link";
  Query("PRAGMA journal_mode = WAL");
  EXPECT_EQ(Run(noRoom + VEXACTL "prepare db"),
            "255 vexactl: db: less than 64 kB of room is left beside it\n");
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

TEST_F(PrepareTest, NamesTheStepThatFailsAndLeavesNoDatabaseWithoutItsMark) {
  const std::pair<std::string, std::string> steps[] = {
      {"write:error=ENOSPC:when=1", "db: less than 64 kB of room is left beside it"},
      {"fsync:error=EIO:when=1", "db-incomplete: Input/output error"},
      {"fsync:error=EIO:when=2", "db-incomplete: Input/output error"},  // of its folder
      {"/^unlink:error=EIO:when=8", "db-shm: Input/output error"},
      {"fsync:error=EIO:when=3", "db: Input/output error"},  // of the folder without leftovers
      {"pwrite64:error=ENOSPC:when=1", "db: no room is left: database or disk is full"},
      {"fdatasync:error=EIO:when=1", "db: disk I/O error"},
      {"fsync:error=EIO:when=4", "db: Input/output error"},  // under its first name
      {"/^rename:error=EIO", "db: Input/output error"},
      {"fsync:error=EIO:when=5", "db: Input/output error"},  // of the folder with the database
  };
  for (const auto& [fault, reason] : steps) {
    EXPECT_EQ(Run(With(fault) + VEXACTL "prepare db w"), "255 vexactl: " + reason + "\n") << fault;
    EXPECT_TRUE(exists("db-incomplete") || !exists("db")) << fault;
    Run("rm -f db*");
  }
}

TEST_F(PrepareTest, LeavesTheCreationToVexamgrWithoutSharedMappings) {
  // strace knows a file that is made later only by its whole path.
  EXPECT_EQ(Run(With("/^mmap:error=ENODEV -P " + folder + "/db-new-shm") + VEXACTL "prepare db w"),
            "0 vexactl: db: no write-ahead logging on this file system: see CAVEATS in "
            "vexamgr(8)\n");
  EXPECT_EQ(Run("ls --ignore=output"), "0 db-incomplete\nw\n");
}

TEST_F(PrepareTest, KeepsRowsThatAreNotVexamgrs) {
  Query("CREATE TABLE Schema (x); CREATE TABLE Camera (x); INSERT INTO Camera VALUES (7)");
  Write("db-incomplete", "");
  EXPECT_EQ(Run(VEXACTL "prepare db"), "0 ");
  EXPECT_EQ(Query("SELECT x FROM Camera"), "7|");
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
  Write("w/a.xml", "<!-- -->");
  EXPECT_EQ(Run(VEXACTL "check db w"), "1 vexactl: w/a.xml: it has no root element\nw/a.xml\n");
  Write("w/a.xml", "<clip><dateFrom>now</dateFrom></clip>");
  EXPECT_EQ(Run(VEXACTL "check db w"),
            "1 vexactl: w/a.xml: the text of its element dateFrom is unusable\nw/a.xml\n");
}

TEST_F(CheckTest, SaysWhatItCannotTell) {
  WriteClip("w/a.xml");
  EXPECT_EQ(Run(VEXACTL "check db w"), "3 vexactl: db: No such file or directory\n");
  Query("CREATE TABLE Schema (x)");
  EXPECT_EQ(Run(VEXACTL "check db w"),
            "3 vexactl: db: this is no catalogue yet: start vexamgr anew, after vexactl prepare\n");
  std::filesystem::remove("db");
  ASSERT_EQ(Populate(), 0);
  EXPECT_EQ(Run(VEXACTL "check db none"), "3 vexactl: none: No such file or directory\n");
  std::filesystem::create_directory("w/locked");
  WriteClip("w/b.xml");
  const std::string outcome = Run(With("openat:error=EACCES -P w/locked") + VEXACTL "check db w");
  EXPECT_EQ(outcome.substr(0, 2), "3 ");
  EXPECT_PRED_FORMAT2(IsSubstring, "vexactl: w/locked: Permission denied\n", outcome);
  EXPECT_PRED_FORMAT2(IsSubstring, "w/b.xml\n", outcome);
}

TEST_F(CheckTest, AwaitsTheEndOfALock) {
  ASSERT_EQ(Populate(), 0);
  sqlite3* locker = Hold("BEGIN EXCLUSIVE");
  EXPECT_EQ(Run(With("/nanosleep:signal=KILL") + VEXACTL "check db w"), "-9 ")
      << "vexactl must sleep, which kills it here, to look at the catalogue again later";
  sqlite3_close(locker);
}

class CompleteTest : public ServiceTest {
 protected:
  // Serves a prepared catalogue of some clips and then takes out the rows of all but the first.
  // Each path has a quote, so that only the number tells a lock (5) from a statement that quotes
  // made too long (1).
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

TEST_F(CompleteTest, InsertsWhatAFailedPopulationLeftOutAndGivesUpTheRest) {
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
  WriteClip("w/forbidden.xml");
  WriteClip("w/" + quotes + ".xml");
  Serve();
  const std::string forbidden = With("openat:error=EACCES -P w/forbidden.xml");
  const std::string outcome = Run(forbidden + VEXACTL "complete --pending db w");
  EXPECT_PRED_FORMAT2(IsSubstring, "vexactl: w/forbidden.xml: Permission denied", outcome);
  EXPECT_PRED_FORMAT2(IsSubstring, "vexactl: w/torn.xml: it is malformed", outcome);
  EXPECT_PRED_FORMAT2(IsSubstring, "its path is too long for a request", outcome);
  EXPECT_PRED_FORMAT2(IsSubstring, quotes + ".xml: refused with 1 (the service's log", outcome);
  EXPECT_EQ(Paths(), "w/a.xml|w/b.xml|");
  EXPECT_FALSE(exists("db-incomplete"));
}

TEST_F(CompleteTest, LeavesWhatALockRefusesForAnotherTime) {
  ServeIncomplete(3);
  sqlite3* locker = Hold("BEGIN IMMEDIATE");
  EXPECT_EQ(Run(VEXACTL "prepare db w"), "0 ") << "without a lock of its own";
  const std::string outcome = Run(VEXACTL "--timeout 1 complete --pending db w");
  EXPECT_PRED_FORMAT2(IsSubstring, "refused with 5 (the catalogue is locked, or the", outcome);
  EXPECT_EQ(std::count(outcome.begin(), outcome.end(), '\n'), 1) << "after one clip: " << outcome;
  EXPECT_TRUE(exists("db-incomplete"));
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/a.xml"), 5);
  EXPECT_LOGGED("27 [VexaManager]  Failed to delete clip (a.*)\n");
  const pid_t pending = Execute(VEXACTL "complete --pending db w");
  WaitUntil("vexactl is refused again", [] { return exists("log"); });
  sqlite3_close(locker);
  EXPECT_EQ(End(pending), 0);
  EXPECT_EQ(Paths(), "w/it's 0.xml|w/it's 1.xml|w/it's 2.xml|");
}

TEST_F(CompleteTest, RemovesTheMarkOnlyIfNothingIsLeftOut) {
  ServeIncomplete(2);
  // In turn n, of each system call that names the watch directory or its descriptor, the nth fails.
  for (int turn = 1; turn <= 8; ++turn) {
    Query("DELETE FROM Track WHERE Path NOT LIKE '% 0.xml'");
    Write("db-incomplete", "");
    const std::string fault = "all:error=EIO:when=" + std::to_string(turn) + " -P w";
    const std::string status = Run(With(fault) + VEXACTL "complete --pending db w").substr(0, 2);
    const std::string result = status + Paths() + (exists("db-incomplete") ? " marked" : "");
    EXPECT_TRUE(result == "0 w/it's 0.xml|w/it's 1.xml|" || result == "1 w/it's 0.xml| marked")
        << fault << ": " << result;
  }
}

TEST_F(CompleteTest, StopsIfAnotherCatalogueIsServed) {
  ServeIncomplete(3);
  Run("sqlite3 -readonly db '.backup other'");
  const std::string outcome = Run(VEXACTL "complete other w");
  EXPECT_PRED_FORMAT2(IsSubstring, "other: vexamgr serves another catalogue: the clip has no row",
                      outcome);
  EXPECT_EQ(outcome.substr(0, 11), "3 inserted ");
  EXPECT_EQ(std::count(outcome.begin(), outcome.end(), '\n'), 2) << "after one clip";
}

TEST_F(CompleteTest, PingsUnderTheLockOfTheFolder) {
  ServeIncomplete(2);
  const std::string trace = "strace -e quiet=all -o calls -e trace=flock,msgsnd ";
  const std::string outcome = Run(trace + VEXACTL "complete db w");
  EXPECT_EQ(Run("sed 's/(.*//' calls"), "0 msgsnd\nflock\nmsgsnd\nmsgsnd\n")
      << "not a ping to await the service, a ping under the lock, and an insertion: " << outcome;
}

TEST_F(CompleteTest, PingsAnewIfItsPingIsLost) {
  ServeIncomplete(2);
  const std::string lost = With("msgsnd:retval=0:when=1 -e inject=msgrcv:error=ETIMEDOUT:when=2");
  EXPECT_EQ(Run(lost + VEXACTL "complete db w"), "0 inserted w/it's 1.xml\n");
}

TEST_F(CompleteTest, TriesEachClipThatVexamgrDoesNotFindAndIgnoresOneThatHasGone) {
  ServeIncomplete(1);
  for (const char* clip : {"elsewhere/w/a.xml", "elsewhere/w/b.xml", "elsewhere/w/gone.xml"}) {
    WriteClip(clip);
  }
  const std::string gone = With("/access:error=ENOENT -P w/gone.xml");
  const std::string outcome = Run(gone + "env --chdir=elsewhere " VEXACTL "complete ../db w");
  EXPECT_EQ(std::count(outcome.begin(), outcome.end(), '\n'), 2)
      << "not one line for each clip but gone.xml: " << outcome;
}

TEST_F(CompleteTest, KeepsTheMarkAfterAFailure) {
  ServeIncomplete(2);
  const std::string clip = "w/it's 1.xml";
  const std::pair<std::string, std::string> failures[] = {
      {"openat:error=EIO -P db-incomplete", "db-incomplete: can't be locked: Input/output error"},
      {"flock:error=ENOLCK:when=1", "db-incomplete: can't be locked: No locks available"},
      {"flock:error=ENOLCK:when=2", ".: can't be locked: No locks available"},
      {"openat:error=EIO -P db", "db: Input/output error"},
      {"pread64:error=EACCES -P db-wal", "db: disk I/O error"},  // in the walk
      {"openat:error=EIO -P \"" + clip + "\"", clip + ": Input/output error"},
      {"read:error=EIO -P \"" + clip + "\"", clip + ": Error=XML_ERROR_FILE_READ_ERROR"},
      {"openat:error=EIO:when=3 -P w", "w: Input/output error"},  // after two looks for the card
      {"fsync:error=EIO:when=1", "db-incomplete: can't be removed: Input/output error"},
      {"/^unlink:error=EIO", "db-incomplete: can't be removed: Input/output error"},
  };
  for (const auto& [fault, reason] : failures) {
    const std::string outcome = Run(With(fault) + VEXACTL "complete --pending db w");
    EXPECT_PRED_FORMAT2(IsSubstring, "vexactl: " + reason, outcome);
    EXPECT_NE(outcome.substr(0, 2), "0 ") << fault << outcome;
    EXPECT_TRUE(exists("db-incomplete")) << fault << outcome;
  }
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
  EXPECT_EQ(Paths(), "w/a.xml|");
}
