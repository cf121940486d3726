#include <cstring>

#include "clip/track_record.h"
#include "db/vexa_dao.h"
#include "tests/service_test.h"

class DaoTest : public ServiceTest {
 protected:
  DaoTest() : dao("db") {
    EXPECT_EQ(dao.CreateNewDatabase("maker", "it's", "'", "''"), 0);
    EXPECT_EQ(dao.InsertRecording(0, 0, "one", 2, {}, 0), 0);
    EXPECT_EQ(dao.InsertTrack({400, 600, kTriggerUser, "bystander"}), 0);
  }

  VexaDAO dao;
};

// A value of any bytes is stored as it is; or its statement, cut after 254 characters with quotes
// counted twice, is refused whole, wherever the cut falls. One of 255 loses its ";" only.
TEST_F(DaoTest, NoValueEndsItsQuotes) {
  EXPECT_EQ(Query("SELECT * FROM Camera"), "maker|it's|'|''\n");
  for (const std::string text :
       {"'", "''", "'); DELETE FROM Track; --", "\\'", "%s", "\xff'\xc3"}) {
    TrackRecord track = {1, 2, kTriggerUser, ""};
    text.copy(track.Path, sizeof track.Path);
    EXPECT_EQ(dao.InsertTrack(track), 0) << text;
    EXPECT_EQ(Query("SELECT Path FROM Track"), "bystander\n" + text + "\n");
    EXPECT_EQ(dao.DeleteTrack(text.c_str()), 0) << text;
  }
  for (size_t length = 1; length < 220; ++length) {
    for (size_t quotes : {size_t{0}, length / 2, length}) {
      const std::string text = std::string(length - quotes, 'x') + std::string(quotes, '\'');
      const size_t escaped = length + quotes;
      EXPECT_EQ(dao.DeleteTrack(text.c_str()), 40 + escaped <= 255 ? 0 : 1) << text;
      EXPECT_EQ(dao.InsertRecording(0, 0, text, 2, {}, 0), 80 + escaped <= 255 ? 0 : 1) << text;
    }
  }
  EXPECT_EQ(Query("SELECT Path FROM Track"), "bystander\n");
}

TEST_F(DaoTest, UpdateEndsTextsWithTheirFields) {
  RecordingUpdate update;
  memset(&update, 'x', sizeof update);
  update.Id = 1;
  update.MaxRetentionTime = UINT32_MAX;
  strcpy(update.SourceName, "'; DROP TABLE Track; --");
  update.SourceAddress[0] = '\0';
  EXPECT_EQ(dao.UpdateRecording(update), 0);
  for (int32_t id : {0, 2, INT32_MIN}) {
    update = {};
    update.Id = id;
    EXPECT_EQ(dao.UpdateRecording(update), 0) << id;
  }
  const std::string x(128, 'x');
  EXPECT_EQ(Query("SELECT * FROM Recording"), "1|400|600|" + x + "xxxx|2|" + x +
                                                  "|'; DROP TABLE Track; --|" + x + "|" + x +
                                                  "||4294967295\n");
}
