#include "manager/hardware_address.h"
#include "tests/service_test.h"

using PopulationTest = ServiceTest;

TEST_F(PopulationTest, FillsANewDatabaseOnce) {
  WriteClip("w/.x.xml/a.xml");  // only folders are hidden by their dot, only files by their ending
  WriteClip("w/deep/er.xml/.a.xml");
  for (const char* path : {"w/.xml", "w/a.XML", "w/a.xml.tmp", "w/deep/axml"}) {
    Write(path, "not well-formed");
  }
  std::filesystem::create_symlink("deep/er.xml/.a.xml", "w/link.xml");
  std::filesystem::create_directory_symlink("deep", "w/linked");
  EXPECT_EQ(Populate("w/"), 0);
  EXPECT_EQ(
      Query("SELECT URI, MajorVersion, MinorVersion FROM Schema;"
            "SELECT ManufacturerName, ProductName, ModelName, SerialNumber FROM Camera;"
            "SELECT DateFrom, DateTo, TriggerType, Path, TYPEOF(DateTo) FROM Track;"
            "SELECT * FROM Recording; SELECT COUNT(*) FROM sqlite_master WHERE TYPE = 'index'"),
      "http://norvane.example/ipnc/recordings.xsd|0|2|Norvane|Pellaro|Quintor||"
      "100|100|2|w/deep/er.xml/.a.xml|integer|1|100|100|Recording Contents|2|Source ID|"
      "Source Name|Source Location|Source Description|urn:camera0|0|4|");
  EXPECT_TRUE(Logged("30 [VexaManager] Inserted clip w//deep/er"));
}

// The last entry of each directory stream comes first. A failure leaves out the rest of its folder
// and, counted in the log, of each folder above.
TEST_F(PopulationTest, StopsAtTheFirstFailureOfAReverseWalk) {
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

TEST_F(PopulationTest, TellsWhichStepFailed) {
  for (const std::string table :
       {"SCHEMA", "CAMERA", "TRACK", "RECORDING", "TrackDateToAscending"}) {
    const std::string step = table.size() < 10 ? table + " table" : "indices";
    std::filesystem::remove("db");
    Query("CREATE TABLE " + table + " (x)");
    EXPECT_EQ(Populate(), 1);
    EXPECT_TRUE(Logged("27 [VexaDAO] Failed to create " + step +
                       "\n27 [VexaManager]  Failed to create new database\n"));
  }
}

TEST_F(PopulationTest, CanTellTheHardwareAddress) {
  std::string address = "x", expected = "x", byte;
  for (std::ifstream file("/sys/class/net/eth0/address"); std::getline(file, byte, ':');) {
    expected += {static_cast<char>(toupper(byte[0])), static_cast<char>(toupper(byte[1]))};
  }
  EXPECT_EQ(net_get_hwaddr(&address), expected == "x" ? -1 : 0);
  EXPECT_EQ(address, expected);
}
