#include "clip/date_time.h"

#include <gtest/gtest.h>

TEST(DateTimeTest, ConvertsIsoTimesToSeconds) {
  const std::pair<const char*, uint32_t> times[] = {
      {"2013-05-21T14:03:27", 1369145007},
      {"2013-05-21T14:03:27Z trailing words", 1369145007},
      {"\n2013-05-21T14:03:27Z\n", 1369145007},
      {"2013-05-21T16:03:27+0200", 1369145007},
      {"2013-05-21T09:03:27-0500xyz", 1369145007},
      {"2013-05-25T18:02:27+9959", 1369145007},
      {"1969-12-31T23:59:59Z", 4294967295},
      {"2038-01-19T03:14:08Z", 2147483648},
  };
  for (const auto& [text, expected] : times) {
    uint32_t seconds = 77;
    EXPECT_EQ(ParseDateTime(text, &seconds), 0) << text;
    EXPECT_EQ(seconds, expected) << text;
  }
}

TEST(DateTimeTest, RefusesOtherTexts) {
  uint32_t seconds = 77;
  EXPECT_EQ(ParseDateTime(nullptr, &seconds), 22);
  for (const char* text :
       {"2013-05-21T16:03:27+02:00", "2013-05-21T16:03:27+02", "2013-05-21T14:03:27.250Z",
        "2013-05-21T14:03:27\n", "2013-05-21 14:03:27Z", "2013-05-21", ""}) {
    EXPECT_EQ(ParseDateTime(text, &seconds), 22) << text;
  }
  EXPECT_EQ(seconds, 77);
}
