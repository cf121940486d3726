#include "db/catalogue_reader.h"

#include <sqlite3.h>

#include "clip/track_record.h"

CatalogueReader::~CatalogueReader() { sqlite3_finalize(lookup); }

bool CatalogueReader::Open(const std::string& filename, std::string* why) {
  connection.Open(filename, SQLITE_OPEN_READONLY);
  const std::string recording = connection.Query("SELECT Id FROM Recording WHERE Id = 1");
  lookup = connection.Prepare(
      "SELECT rowid FROM Track "
      "WHERE DateFrom = ? AND DateTo = ? AND TriggerType = ? AND Path = ? AND rowid > ? LIMIT 1");
  const int error = connection.Error();
  const bool isCatalogue = error == 0 && !recording.empty();
  if (!isCatalogue) {
    const bool isUnfinished = error == 0 || error == SQLITE_ERROR;  // "no such table"
    *why = isUnfinished ? "this is no catalogue yet: start vexamgr anew, after vexactl prepare"
                        : connection.ErrorText();
  }
  return isCatalogue;
}

bool CatalogueReader::HasTrack(const TrackRecord& track, bool* has, std::string* why) {
  sqlite3_bind_int64(lookup, 1, track.DateFrom);
  sqlite3_bind_int64(lookup, 2, track.DateTo);
  sqlite3_bind_int64(lookup, 3, track.TriggerType);
  sqlite3_bind_text(lookup, 4, track.Path, -1, SQLITE_STATIC);
  // Clips are mostly looked up in the order of their rows. So the search begins after the row that
  // was found last. From the first row, it would have to pass all earlier clips of the same time.
  int error = LookUp(lastRow, has);
  if (error == 0 && !*has) {
    error = LookUp(0, has);
  }
  if (error != 0) {
    *why = connection.ErrorText();
  }
  return error == 0;
}

int CatalogueReader::LookUp(int64_t afterRow, bool* has) {
  sqlite3_bind_int64(lookup, 5, afterRow);
  *has = sqlite3_step(lookup) == SQLITE_ROW;
  if (*has) {
    lastRow = sqlite3_column_int64(lookup, 0);
  }
  return sqlite3_reset(lookup);  // ends the transaction of the query
}
