#include <algorithm>

#include "clip/track_record.h"
#include "manager/hardware_address.h"
#include "tests/service_test.h"

using CatalogueTest = ServiceTest;

TEST_F(CatalogueTest, ANewDatabaseGetsItsFixedRowsAndItsClips) {
  WriteClip("w/a.xml");
  WriteClip("w/b/b.xml");
  WriteClip("w/folder.xml/.hidden.xml");
  for (const char* noClip : {"w/.xml", "w/a.XML", "w/a.xml.tmp", "w/axml", "w/.git/a.xml"}) {
    Write(noClip, "not well-formed");
  }
  std::filesystem::create_symlink("a.xml", "w/link.xml");
  EXPECT_EQ(Populate(), 0);
  EXPECT_EQ(Query("SELECT * FROM Track ORDER BY Path"),
            "100|100|2|w/a.xml|100|100|2|w/b/b.xml|100|100|2|w/folder.xml/.hidden.xml|");
  EXPECT_EQ(Query("PRAGMA journal_mode; SELECT * FROM Schema"),
            "delete|http://norvane.example/ipnc/recordings.xsd|0|2|");
  EXPECT_EQ(Query("SELECT * FROM Camera"), "Norvane|Pellaro|Quintor||");
  EXPECT_EQ(Query("SELECT * FROM Recording"),
            "1|100|100|Recording Contents|2|Source ID|Source Name|Source Location|"
            "Source Description|urn:camera0|0|");
  const std::string documentedSchema = "sed 's/--.*//' " SCHEMA;
  const std::string withoutBlanks = " | tr -d '[:space:]' | sed 's/;/;\\n/g'";
  EXPECT_EQ(Run("sqlite3 -init /dev/null db .schema" + withoutBlanks),
            Run(documentedSchema + withoutBlanks));
}

TEST_F(CatalogueTest, AScanStopsAtTheFirstFailureOfItsReverseWalk) {
  // With so many names, hardly any file system lists the folder in alphabetical order. A service
  // that sorts the listing fails here.
  for (const char* clip : {"w/d.xml", "w/b.xml", "w/g.xml", "w/a.xml", "w/f.xml", "w/c.xml"}) {
    WriteClip(clip);
  }
  Write("w/0/sub/bad.xml", "<clip></end>");
  std::string walk;  // the listing of the folder, unsorted, from its end
  for (const auto& entry : std::filesystem::directory_iterator("w")) {
    walk = entry.path().string() + "|" + walk;
  }
  const std::string before = walk.substr(0, walk.find("w/0|"));
  const auto left = 6 - std::count(before.begin(), before.end(), '|');
  EXPECT_EQ(Populate(), 14);
  EXPECT_LOGGED(
      "27 [VexaManager]  Error parsing file (w/0/sub/bad.xml)\n"
      "27 [VexaManager]  Error scanning directory 0 files not processed in (w/0/sub)\n"
      "27 [VexaManager]  Error scanning directory " +
      std::to_string(left) + " files not processed in (w/0)\n");
  EXPECT_EQ(Query("SELECT Path FROM Track"), before);
}

TEST_F(CatalogueTest, AScanTellsWhyItCannotReadAFolder) {
  std::filesystem::remove("w");
  EXPECT_EQ(Populate(), 2);
  EXPECT_LOGGED(
      "27 [VexaManager]  Error scanning directory (2) No such file or directory\n"
      "27 [VexaManager]  Error scanning directories\n"
      "27 [VexaManager]  Failed to populate new database\n");
}

TEST_F(CatalogueTest, ALockedDatabaseIsNeitherAwaitedNorPopulated) {
  sqlite3* locker = Hold("BEGIN EXCLUSIVE");
  const std::string noSleepAndNoQueue = "/nanosleep:signal=KILL -e inject=msgrcv:error=EIDRM";
  EXPECT_EQ(Run(With(noSleepAndNoQueue) + VEXAMGR_CAPTURED "db w"), "1 ")
      << "-9 would mean that vexamgr waits for the lock";
  EXPECT_LOGGED(
      "27 [VexaDAO] Error checking whether database is empty\n"
      "27 [VexaDAO] sqlite3 error (5) database is locked\n"
      "27 [VexaManager]  Error receiving message 43\n");
  sqlite3_close(locker);
}

TEST_F(CatalogueTest, APopulationThatFailsNamesItsStep) {
  WriteClip("w/a.xml");
  // A change that can't remove its rollback journal at its end fails. The four indices are four
  // changes, and the triggers two.
  const std::pair<int, std::string> steps[] = {
      {1, "[VexaDAO] Failed to create SCHEMA table\n"},
      {2, "[VexaDAO] Failed to create CAMERA table\n"},
      {3, "[VexaDAO] Failed to create TRACK table\n"},
      {4, "[VexaDAO] Failed to create RECORDING table\n"},
      {8, "[VexaDAO] Failed to create indices\n"},
      {10, "[VexaDAO] Failed to create triggers\n"},
      {11, "[VexaDAO] Failed to populate SCHEMA table\n"},
      {12, "[VexaDAO] Failed to populate CAMERA table\n"},
      {13, "[VexaManager]  Failed to populate RECORDING table\n"},
      {14, "[VexaManager]  Failed to insert database clip (w/a.xml)\n"},
  };
  for (const auto& [change, line] : steps) {
    const std::string fault = "/^unlink:error=EIO:when=" + std::to_string(change);
    EXPECT_EQ(Run(With(fault) + VEXAMGR_CAPTURED "db w"), "1 ") << line;
    EXPECT_LOGGED("27 [VexaDAO] sqlite3 error (10) disk I/O error\n27 " + line);
    Run("rm db*");
  }
}

TEST_F(CatalogueTest, OnlyATableWithExactlyTheNameSchemaIsACatalogue) {
  for (const std::string sql : {"CREATE TABLE SCHEMA (x)", "CREATE VIEW Schema AS SELECT 1"}) {
    Query(sql);
    EXPECT_EQ(Populate(), 1) << "a creation in vain, since the name is taken: " << sql;
    std::filesystem::remove("db");
  }
}

TEST_F(CatalogueTest, ASlashAtTheEndOfTheFolderCostsDeletionsACharacter) {
  WriteClip("w/a.xml");
  ASSERT_EQ(Populate("w/"), 0);
  EXPECT_LOGGED("30 [VexaManager] Inserted clip w//a.xml\n");
  Serve("w/");
  EXPECT_EQ(Ask(COMMAND_INSERT_CLIP, WriteClip("w/42.xml")), 0);
  EXPECT_EQ(Ask(COMMAND_DELETE_CLIP, "w/x2.xml"), 0);
  EXPECT_EQ(Query("SELECT Path FROM Track"), "w/a.xml|");
}

TEST_F(CatalogueTest, StoresEveryTextAndNumber) {
  ASSERT_EQ(Populate(), 0);
  VexaDAO dao("db");
  const TrackRecord track = {4294967295, 2147483648, kTriggerUser,
                             "'); DELETE FROM Track; --%s\xff"};
  EXPECT_EQ(dao.InsertTrack(track), 0);
  EXPECT_EQ(Query("SELECT * FROM Track"),
            "4294967295|2147483648|8|'); DELETE FROM Track; --%s\xff|");
  RecordingUpdate quotesToTheEndOfEachField;
  memset(&quotesToTheEndOfEachField, '\'', sizeof(RecordingUpdate));
  quotesToTheEndOfEachField.Id = 1;
  EXPECT_EQ(dao.UpdateRecording(quotesToTheEndOfEachField), 0) << "an update is never cut";
  EXPECT_EQ(Query("SELECT LENGTH(Content), LENGTH(SourceAddress) FROM Recording"), "132|128|");
  std::filesystem::remove("db");
  EXPECT_EQ(dao.InsertTrack(track), 8) << "not the extended code, 1032";
  EXPECT_LOGGED("27 [VexaDAO] sqlite3 error (8) attempt to write a readonly database\n");
}

TEST_F(CatalogueTest, TellsTheHardwareAddress) {
  std::string address = "eth0: ";
  EXPECT_EQ(net_get_hwaddr(&address), -1);
  EXPECT_EQ(Take("log"), "27 [VexaManager]  net_get_hwaddr: ioctl SIOCGIFHWADDR");
  ASSERT_EQ(Run("ip link set lo name eth0 address 02:34:56:78:9a:bc"), "0 ");
  EXPECT_EQ(net_get_hwaddr(&address), 0);
  EXPECT_EQ(address, "eth0: 023456789ABC");
}
