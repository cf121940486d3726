#include "clip/date_time.h"

#include <gtest/gtest.h>

#include <cstdlib>

TEST(DateTimeTest, ReadsIsoTimesToWholeSeconds) {
  setenv("TZ", "IST-5:30", 1);  // the time zone of the camera must not matter
  const std::tuple<const char*, int, uint32_t> texts[] = {
      // The text, the result, and the seconds, which are set to 77 before the call.
      {"2013-05-21T14:03:27", 0, 1369145007},
      {"\n2013-05-21T14:03:27Z\n", 0, 1369145007},
      {"2013-05-21T19:33:27+0530", 0, 1369145007},
      {"2013-05-21T09:03:27-0500xyz", 0, 1369145007},
      {"2013-05-21T14:03:27+530", 0, 1369145007 - 53 * 3600},
      {"2013-05-21T14:03:27+9959", 0, 1369145007 - 99 * 3600 - 59 * 60},
      {"2013-02-31T00:00:00Z", 0, 1362268800},  // 3 March
      {"2106-02-07T06:28:17Z", 0, 1},
      {"2013-05-21T16:03:27+02:00", 22, 77},
      {"2013-05-21T14:03:27\n", 22, 77},
      {"1969-12-31T23:59:59Z", 0, 4294967295},
      {nullptr, 22, 77},
  };
  for (const auto& [text, result, expected] : texts) {
    uint32_t seconds = 77;
    EXPECT_EQ(ParseDateTime(text, &seconds), result) << text;
    EXPECT_EQ(seconds, expected) << text;
  }
}
