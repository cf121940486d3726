#include "clip/date_time.h"

#include <gtest/gtest.h>

TEST(DateTimeTest, ParsesIsoTimes) {
  const std::pair<const char*, uint32_t> accepted[] = {
      {"2013-05-21T14:03:27", 1369145007},      {"2013-05-21T14:03:27Z\n", 1369145007},
      {"2013-05-21T16:03:27+0200", 1369145007}, {"2013-05-21T09:03:27-0500xyz", 1369145007},
      {"2013-05-23T19:03:27+530", 1369145007},  {"2013-05-25T18:02:27+9959", 1369145007},
      {"1969-12-31T23:59:59Z", 4294967295},     {"1901-12-13T20:45:51Z", 2147483647},
      {"2038-01-19T03:14:08Z", 2147483648},     {"2106-02-07T06:28:16Z", 0}};
  uint32_t seconds = 77;
  for (const char* text :
       {"2013-05-21T16:03:27+02:00", "2013-05-21T16:03:27+02", "2013-05-21T14:03:27.250Z",
        "2013-05-21T14:03:27\n", "2013-05-21 14:03:27Z", "2013-05-21", ""}) {
    EXPECT_EQ(ParseDateTime(text, &seconds), 22) << text;
    EXPECT_EQ(seconds, 77) << text;
  }
  for (const auto& [text, expected] : accepted) {
    EXPECT_EQ(ParseDateTime(text, &seconds), 0) << text;
    EXPECT_EQ(seconds, expected) << text;
  }
}
