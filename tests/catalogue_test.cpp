#include <net/if.h>
#include <sys/ioctl.h>

#include "clip/track_record.h"
#include "manager/hardware_address.h"
#include "tests/service_test.h"

using CatalogueTest = ServiceTest;

TEST_F(CatalogueTest, ANewDatabaseGetsItsFixedRowsAndItsClips) {
  WriteClip("w/a.xml");
  WriteClip("w/folder.xml/.hidden.xml");
  for (const char* noClip : {"w/.xml", "w/a.XML", "w/a.xml.tmp", "w/axml", "w/.git/a.xml"}) {
    Write(noClip, "not well-formed");
  }
  std::filesystem::create_symlink("a.xml", "w/link.xml");
  EXPECT_EQ(Populate(), 0);
  EXPECT_EQ(Query("SELECT * FROM Track ORDER BY Path"),
            "100|100|2|w/a.xml|100|100|2|w/folder.xml/.hidden.xml|");
  EXPECT_EQ(Query("SELECT * FROM Schema"), "http://norvane.example/ipnc/recordings.xsd|0|2|");
  EXPECT_EQ(Query("SELECT * FROM Camera"), "Norvane|Pellaro|Quintor||");
  EXPECT_EQ(Query("SELECT *, TYPEOF(DateTo), TYPEOF(Status) FROM Recording"),
            "1|100|100|Recording Contents|2|Source ID|Source Name|Source Location|"
            "Source Description|urn:camera0|0|integer|text|");
  EXPECT_EQ(Query("SELECT COUNT(*) FROM sqlite_master WHERE NAME LIKE '%Date%Ascending'"), "4|");
}

TEST_F(CatalogueTest, AScanStopsAtTheFirstFailureOfItsReverseWalk) {
  for (const char* clip : {"w/a.xml", "w/b.xml", "w/c.xml", "w/d.xml"}) {
    WriteClip(clip);
  }
  Write("w/sub/sub/bad.xml", "<clip><dateFrom/></clip>");
  int left = 0;  // as many as the directory lists before the folder that fails
  for (std::filesystem::directory_iterator entry("w"); entry->path() != "w/sub"; ++entry) {
    ++left;
  }
  EXPECT_EQ(Populate(), 22);
  EXPECT_LOGGED(
      "27 [VexaManager]  Error parsing file (w/sub/sub/bad.xml)\n"
      "27 [VexaManager]  Error scanning directory 0 files not processed in (w/sub/sub)\n"
      "27 [VexaManager]  Error scanning directory " +
      std::to_string(left) + " files not processed in (w/sub)\n");
  EXPECT_EQ(Query("SELECT COUNT(*) FROM Track"), std::to_string(4 - left) + "|");
}

TEST_F(CatalogueTest, ACreationThatFailsNamesItsStep) {
  const std::pair<std::string, std::string> steps[] = {
      // What is there already, and the step that it is in the way of.
      {"SCHEMA", "create SCHEMA table"},
      {"Camera", "create CAMERA table"},
      {"Track", "create TRACK table"},
      {"Recording", "create RECORDING table"},
      {"TrackDateToAscending", "create indices"},
  };
  for (const auto& [table, step] : steps) {
    Query("CREATE TABLE " + table + " (x)");
    EXPECT_EQ(Populate(), 1);
    EXPECT_LOGGED("27 [VexaDAO] Failed to " + step +
                  "\n27 [VexaManager]  Failed to create new database\n");
    std::filesystem::remove("db");
  }
}

TEST_F(CatalogueTest, APopulationEndsWithoutItsRecording) {
  onLogLine = [](const std::string& line) {
    if (line == "30 [VexaDAO] Created new database\n") {
      Query("DROP TABLE Recording");
    }
  };
  EXPECT_EQ(Populate(), 1);
  EXPECT_LOGGED("27 [VexaManager]  Failed to populate RECORDING table\n");
}

TEST_F(CatalogueTest, AFileThatIsNoDatabaseIsServedAsItIs) {
  Write("db", "no database");
  EXPECT_EQ(Populate(), 0);
  EXPECT_LOGGED(
      "27 [VexaDAO] Error checking whether database is empty\n"
      "27 [VexaDAO] sqlite3 error (26) file is not a database\n");
}

TEST_F(CatalogueTest, QuotesAreStoredAsTheyAre) {
  VexaDAO dao("db");
  EXPECT_EQ(dao.CreateNewDatabase("maker", "it's", "'", "''"), 0);
  EXPECT_EQ(dao.InsertTrack({400, 600, kTriggerUser, "'); DELETE FROM Track; --%s\xff"}), 0);
  EXPECT_EQ(dao.InsertRecording(0, 0, "it's", 2, {}, 0), 0);
  RecordingUpdate quotesToTheEndOfEachField;
  memset(&quotesToTheEndOfEachField, '\'', sizeof(RecordingUpdate));
  quotesToTheEndOfEachField.Id = 1;
  EXPECT_EQ(dao.UpdateRecording(quotesToTheEndOfEachField), 0);
  EXPECT_EQ(Query("SELECT * FROM Camera"), "maker|it's|'|''|");
  EXPECT_EQ(Query("SELECT Path FROM Track"), "'); DELETE FROM Track; --%s\xff|");
  EXPECT_EQ(Query("SELECT LENGTH(Content), LENGTH(SourceAddress) FROM Recording"), "132|128|");
}

// SQLite gets 254 characters of a statement: the 255th may be lost, if it is the ";".
TEST_F(CatalogueTest, AStatementMayHave255Characters) {
  const auto fill = [](size_t size, size_t fixed) { return std::string(size - fixed, 'x'); };
  VexaDAO dao("db");
  EXPECT_EQ(dao.CreateNewDatabase(fill(255, 43).c_str(), "", "", ""), 0);
  EXPECT_EQ(dao.DeleteTrack(fill(255, 40).c_str()), 0);
  EXPECT_EQ(dao.DeleteTrack(fill(256, 40).c_str()), 1);
  EXPECT_EQ(dao.InsertRecording(0, 0, fill(255, 80), 2, {}, 0), 0);
  EXPECT_EQ(dao.InsertRecording(0, 0, fill(256, 80), 2, {}, 0), 1);
  EXPECT_EQ(VexaDAO("other").CreateNewDatabase(fill(256, 43).c_str(), "", "", ""), 1);
  EXPECT_LOGGED("27 [VexaDAO] Failed to populate CAMERA table\n");
}

TEST_F(CatalogueTest, TellsTheHardwareAddress) {
  std::string address = "eth0: ";
  EXPECT_EQ(net_get_hwaddr(&address), -1);
  EXPECT_EQ(TakeLog(), "27 [VexaManager]  net_get_hwaddr: ioctl SIOCGIFHWADDR");
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  ifreq request = {{"lo"}, {}};
  ioctl(descriptor, SIOCGIFHWADDR, &request);
  memcpy(request.ifr_hwaddr.sa_data, "\x02\x34\x56\x78\x9a\xbc", 6);
  ioctl(descriptor, SIOCSIFHWADDR, &request);
  strcpy(request.ifr_newname, "eth0");
  if (ioctl(descriptor, SIOCSIFNAME, &request) != 0) {
    GTEST_SKIP() << "lo can't become eth0 here, as under an emulator";
  }
  EXPECT_EQ(net_get_hwaddr(&address), 0);
  EXPECT_EQ(address, "eth0: 023456789ABC");
}
