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

// The catalogue: the service's connection to its database, and every SQL statement that the service
// runs there.
//
// Operations return 0 or SQLite's result code, which they log with its generic text. Each statement
// commits by itself. A statement that fails changes nothing, and the next one can succeed. No
// statement waits for another process's lock: it fails with SQLITE_BUSY (5). Text values may hold
// anything, since single quotes are doubled. The statements of InsertCamera, InsertRecording,
// InsertTrack and DeleteTrack are cut after 254 characters. A statement that was cut fails with
// SQLITE_ERROR (1), unless only its closing ";" was lost. See doc/compatibility.md before you
// change any of this.
class VexaDAO {
 public:
  // Opens the database file, creating it if need be. Throws SQLite's result code, an int, if that
  // fails. A file that is no database is noticed only by the first statement.
  explicit VexaDAO(const char* filename);
  virtual ~VexaDAO();
  VexaDAO(const VexaDAO&) = delete;
  VexaDAO& operator=(const VexaDAO&) = delete;

  // Returns 1 for a new database, one without a table named Schema, and 0 for any other. Returns 0,
  // too, if the database can't be read: see doc/compatibility.md.
  int IsEmpty();

  // Creates the tables, indices and triggers, the Schema row and the Camera row, in a new database.
  // A creation that fails leaves what it has created until then.
  int CreateNewDatabase(const char* manufacturerName, const char* productName,
                        const char* modelName, const char* serialNumber);

  // Adds the Camera row, for CreateNewDatabase.
  int InsertCamera(const char* manufacturerName, const char* productName, const char* modelName,
                   const char* serialNumber);

  // Adds a Recording row. SQLite chooses its Id, which is 1 in a new database. The triggers
  // bring the dates of the row 1 up to date.
  int InsertRecording(uint32_t dateFrom, uint32_t dateTo, const std::string& content,
                      uint32_t status, const RecordingSource& source, uint32_t maxRetentionTime);

  // Adds a Track row, even if there is an equal row already.
  int InsertTrack(const TrackRecord& track);

  // Deletes the tracks whose Path contains the fragment; an empty fragment deletes all. Returns 0
  // even if no track matches.
  int DeleteTrack(const char* pathFragment);

  // Replaces the descriptive columns of the Recording row update.Id. Returns 0 also if there is no
  // such row.
  int UpdateRecording(const RecordingUpdate& update);

 private:
  int ExecuteStatement(const char* sql);
  int LogSqliteError();

  sqlite3* connection = nullptr;
};

#endif
