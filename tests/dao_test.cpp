#include <cstring>

#include "clip/track_record.h"
#include "tests/service_test.h"

using DaoTest = ServiceTest;

// A value is stored as it is; or its statement is refused, cut after 254 characters but for a ";".
TEST_F(DaoTest, NoValueEndsItsQuotes) {
  VexaDAO dao("db");
  EXPECT_EQ(dao.CreateNewDatabase("maker", "it's", "'", "''"), 0);
  EXPECT_EQ(dao.InsertTrack({400, 600, kTriggerUser, "'); DELETE FROM Track; --%s\xff"}), 0);
  for (size_t length = 80; length < 220; ++length) {
    for (size_t quotes : {size_t{0}, length / 2, length}) {
      const std::string text = std::string(length - quotes, 'x') + std::string(quotes, '\'');
      const size_t escaped = length + quotes;
      EXPECT_EQ(dao.DeleteTrack(text.c_str()), 40 + escaped <= 255 ? 0 : 1) << text;
      EXPECT_EQ(dao.InsertRecording(0, 0, text, 2, {}, 0), 80 + escaped <= 255 ? 0 : 1) << text;
    }
  }
  RecordingUpdate update;  // no text has a NUL: each ends with its field
  memset(&update, '\'', sizeof update);
  update.Id = 1;
  EXPECT_EQ(dao.UpdateRecording(update), 0);
  EXPECT_EQ(Query("SELECT * FROM Camera; SELECT Path FROM Track;"
                  "SELECT LENGTH(Content), LENGTH(SourceAddress) FROM Recording WHERE Id = 1"),
            "maker|it's|'|''|'); DELETE FROM Track; --%s\xff|132|128|");
}
