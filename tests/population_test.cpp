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
      Query("SELECT * FROM Schema; SELECT * FROM Camera; SELECT *, TYPEOF(DateTo) FROM Track;"
            "SELECT * FROM Recording; SELECT COUNT(*) FROM sqlite_master WHERE TYPE = 'index'"),
      "http://norvane.example/ipnc/recordings.xsd|0|2|Norvane|Pellaro|Quintor||"
      "100|100|2|w/deep/er.xml/.a.xml|integer|1|100|100|Recording Contents|2|Source ID|"
      "Source Name|Source Location|Source Description|urn:camera0|0|4|");
  EXPECT_NE(Take().find("30 [VexaManager] Inserted clip w//deep/er"), std::string::npos);
}

// The last entry of each directory stream comes first. A failure leaves out the rest of its folder
// and, counted in the log, of each folder above.
TEST_F(PopulationTest, StopsAtTheFirstFailureOfAReverseWalk) {
  for (const char* name : {"w/a.xml", "w/b.xml", "w/c.xml", "w/d.xml"}) {
    WriteClip(name);
  }
  Write("w/sub/sub/bad.xml", "<clip/>");
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::directory_iterator("w")) {
    paths.push_back(entry.path());
  }
  std::string expected;
  for (; paths.back() != "w/sub"; paths.pop_back()) {
    expected += "30 [VexaManager] Inserted clip " + paths.back() + "\n";
  }
  expected +=
      "27 [VexaManager]  XML parser cannot find element : dateFrom\n"
      "27 [VexaManager]  Error parsing file (w/sub/sub/bad.xml)\n"
      "27 [VexaManager]  Error scanning directory 0 files not processed in (w/sub/sub)\n"
      "27 [VexaManager]  Error scanning directory " +
      std::to_string(paths.size() - 1) + " files not processed in (w/sub)\n";
  EXPECT_EQ(Populate(), 22);
  EXPECT_NE(Take().find("Created new database\n" + expected), std::string::npos) << expected;
}
