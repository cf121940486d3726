#include "clip/date_time.h"

#include <gtest/gtest.h>

TEST(DateTimeTest, ReadsIsoTimesToWholeSeconds) {
  const std::tuple<const char*, int, uint32_t> texts[] = {
      // The text, the result and the seconds, which are 77 before.
      {"2013-05-21T14:03:27", 0, 1369145007},
      {"\n2013-05-21T14:03:27Z\n", 0, 1369145007},
      {"2013-05-21T19:33:27+0530", 0, 1369145007},
      {"2013-05-21T09:03:27-0500xyz", 0, 1369145007},
      {"2038-01-19T03:14:08Z", 0, 2147483648},
      {"2013-05-21T16:03:27+02:00", 22, 77},
      {"2013-05-21T14:03:27\n", 22, 77},
      {"2013-05-21", 22, 77},
      {nullptr, 22, 77},
  };
  for (const auto& [text, result, expected] : texts) {
    uint32_t seconds = 77;
    EXPECT_EQ(ParseDateTime(text, &seconds), result) << text;
    EXPECT_EQ(seconds, expected) << text;
  }
}
