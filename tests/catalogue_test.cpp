#include <net/if.h>
#include <sys/ioctl.h>

#include <cstring>

#include "clip/track_record.h"
#include "manager/hardware_address.h"
#include "tests/service_test.h"

using CatalogueTest = ServiceTest;

TEST_F(CatalogueTest, FillsANewDatabase) {
  WriteClip("w/.x.xml/a.xml");  // only folders are hidden by their dot, only files by their ending
  WriteClip("w/deep/er.xml/.a.xml");
  WriteClip("w/b.xml");
  for (const char* path : {"w/.xml", "w/a.XML", "w/a.xml.tmp", "w/deep/axml"}) {
    Write(path, "not well-formed");
  }
  std::filesystem::create_symlink("deep/er.xml/.a.xml", "w/link.xml");
  EXPECT_EQ(Populate(), 0);
  EXPECT_EQ(Query("SELECT * FROM Schema; SELECT * FROM Camera; SELECT * FROM Track ORDER BY Path;"
                  "SELECT *, TYPEOF(DateTo) FROM Recording;"
                  "SELECT COUNT(*) FROM sqlite_master WHERE NAME LIKE '%Date%Ascending'"),
            "http://norvane.example/ipnc/recordings.xsd|0|2|Norvane|Pellaro|Quintor||"
            "100|100|2|w/b.xml|100|100|2|w/deep/er.xml/.a.xml|1|100|100|Recording Contents|2|"
            "Source ID|Source Name|Source Location|Source Description|urn:camera0|0|integer|4|");
}

TEST_F(CatalogueTest, StopsAtTheFirstFailureOfAReverseWalk) {
  for (const char* name : {"w/a.xml", "w/b.xml", "w/c.xml", "w/d.xml"}) {
    WriteClip(name);
  }
  Write("w/sub/sub/bad.xml", "<clip><dateFrom/></clip>");
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::directory_iterator("w")) {
    paths.push_back(entry.path());
  }
  std::string expected;
  for (; paths.back() != "w/sub"; paths.pop_back()) {
    expected += "30 [VexaManager] Inserted clip " + paths.back() + "\n";
  }
  expected +=
      "27 [VexaManager]  Error parsing file (w/sub/sub/bad.xml)\n"
      "27 [VexaManager]  Error scanning directory 0 files not processed in (w/sub/sub)\n"
      "27 [VexaManager]  Error scanning directory " +
      std::to_string(paths.size() - 1) + " files not processed in (w/sub)\n";
  EXPECT_EQ(Populate(), 22);
  EXPECT_TRUE(Logged("Created new database\n" + expected));
}

TEST_F(CatalogueTest, TellsWhichStepFailed) {
  const std::string failed = "\n27 [VexaManager]  Failed to create new database\n";
  for (const std::string table :
       {"SCHEMA", "CAMERA", "TRACK", "RECORDING", "TrackDateToAscending"}) {
    Query("CREATE TABLE " + table + " (x)");
    EXPECT_EQ(Populate(), 1);
    const std::string step = table.size() < 10 ? table + " table" : "indices";
    EXPECT_TRUE(Logged("27 [VexaDAO] Failed to create " + step + failed));
    std::filesystem::remove("db");
  }
  EXPECT_EQ(VexaDAO("other").CreateNewDatabase(std::string(213, 'x').c_str(), "", "", ""), 1);
  EXPECT_TRUE(Logged("27 [VexaDAO] Failed to populate CAMERA table\n"));
  sqlite3* other;
  sqlite3_open("db", &other);
  onLogLine = [&, lines = 0]() mutable {  // locked at the third line, when it has been created
    return ++lines == 3 && sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
  };
  EXPECT_EQ(Populate(), 5);
  EXPECT_TRUE(Logged("27 [VexaManager]  Failed to populate RECORDING table\n"));
  onLogLine = nullptr;
  sqlite3_close(other);
  Write("db", "no database");
  EXPECT_EQ(Populate(), 0);
  EXPECT_TRUE(Logged(
      "27 [VexaDAO] Error checking whether database is empty\n27 [VexaDAO] sqlite3 error (26)"));
}

// A value is stored as it is; or its statement is refused, cut after 254 characters but for a ";".
TEST_F(CatalogueTest, NoValueEndsItsQuotes) {
  VexaDAO dao("db");
  EXPECT_EQ(dao.CreateNewDatabase("maker", "it's", "'", "''"), 0);
  EXPECT_EQ(dao.InsertTrack({400, 600, kTriggerUser, "'); DELETE FROM Track; --%s\xff"}), 0);
  for (size_t length = 80; length < 220; ++length) {
    const std::string plain(length, 'x'), quotes(length, '\'');
    EXPECT_EQ(dao.DeleteTrack(plain.c_str()), 40 + length <= 255 ? 0 : 1) << length;
    EXPECT_EQ(dao.InsertRecording(0, 0, quotes, 2, {}, 0), 80 + 2 * length <= 255 ? 0 : 1);
  }
  RecordingUpdate update;  // no text has a NUL: each ends with its field
  memset(&update, '\'', sizeof update);
  update.Id = 1;
  EXPECT_EQ(dao.UpdateRecording(update), 0);
  EXPECT_EQ(Query("SELECT * FROM Camera; SELECT Path FROM Track;"
                  "SELECT LENGTH(Content), LENGTH(SourceAddress) FROM Recording WHERE Id = 1"),
            "maker|it's|'|''|'); DELETE FROM Track; --%s\xff|132|128|");
}

TEST_F(CatalogueTest, CanTellTheHardwareAddress) {
  std::string address = "x";
  EXPECT_EQ(net_get_hwaddr(&address), -1);  // in a new namespace, lo is all there is
  ifreq loopback = {{"lo"}, {}};
  strcpy(loopback.ifr_newname, "eth0");
  EXPECT_EQ(address + Take(), "x27 [VexaManager]  net_get_hwaddr: ioctl SIOCGIFHWADDR");
  const int renamed = ioctl(socket(AF_INET, SOCK_DGRAM, 0), SIOCSIFNAME, &loopback);
  EXPECT_EQ(net_get_hwaddr(&address), renamed);  // -1 where an emulator can't rename
  EXPECT_EQ(address, renamed == 0 ? "x000000000000" : "x");
}
