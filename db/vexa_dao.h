#ifndef VEXAMGR_DB_VEXA_DAO_H
#define VEXAMGR_DB_VEXA_DAO_H

#include <cstdint>
#include <string>

struct RecordingUpdate;
struct TrackRecord;
struct sqlite3;

// What InsertRecording writes about a recording's source; NUL-terminated texts.
struct RecordingSource {
  char SourceId[128];
  char SourceName[128];
  char SourceLocation[128];
  char SourceDescription[128];
  char SourceAddress[128];
};

// The recording database: the only connection to it and every SQL statement that is run on it.
//
// Operations return 0 or SQLite's result code, logged with its generic text. Each statement commits
// by itself; one that fails changes nothing and is no hindrance to the next. None waits for another
// process's lock: it fails with SQLITE_BUSY (5). Text values may hold anything: single quotes are
// doubled. The statements of InsertCamera, InsertRecording, InsertTrack and DeleteTrack are cut
// after 254 characters, which fails a longer one with SQLITE_ERROR (1) unless all that is lost is
// the closing ";". See doc/compatibility.md before you change any of this.
class VexaDAO {
 public:
  // Opens the database file, creating it if need be. Throws SQLite's result code, an int, if that
  // fails. A file that is no database is noticed only by the first statement.
  explicit VexaDAO(const char* filename);
  virtual ~VexaDAO();
  VexaDAO(const VexaDAO&) = delete;
  VexaDAO& operator=(const VexaDAO&) = delete;

  // 1 for a new database, one without a table named Schema; 0 for any other, and for one that can't
  // be looked into: see doc/compatibility.md.
  int IsEmpty();

  // Creates the schema, its Schema row and its Camera row. For an empty database only: a creation
  // that fails part-way leaves what it created, and the database is no longer empty.
  int CreateNewDatabase(const char* manufacturerName, const char* productName,
                        const char* modelName, const char* serialNumber);

  // Adds the Camera row, for CreateNewDatabase.
  int InsertCamera(const char* manufacturerName, const char* productName, const char* modelName,
                   const char* serialNumber);

  // Adds a Recording row, with an Id of SQLite's choice: 1 in a new database, for the row whose
  // dates follow the tracks.
  int InsertRecording(uint32_t dateFrom, uint32_t dateTo, const std::string& content,
                      uint32_t status, const RecordingSource& source, uint32_t maxRetentionTime);

  // Adds a Track row, though there may be an equal one already.
  int InsertTrack(const TrackRecord& track);

  // Deletes the tracks with the fragment anywhere in their Path, all of them for an empty one.
  // Finding none is success.
  int DeleteTrack(const char* pathFragment);

  // Replaces the descriptive columns of the Recording row update.Id. Finding no such row is
  // success.
  int UpdateRecording(const RecordingUpdate& update);

 private:
  int ExecuteStatement(const char* sql);
  int LogSqliteError();

  sqlite3* connection = nullptr;
};

#endif
