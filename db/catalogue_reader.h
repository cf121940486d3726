#ifndef VEXAMGR_DB_CATALOGUE_READER_H
#define VEXAMGR_DB_CATALOGUE_READER_H

#include <cstdint>
#include <string>

#include "db/connection.h"

struct TrackRecord;

// Looks clips up in a catalogue, read-only, whether or not vexamgr serves it. No transaction stays
// open between two operations.
class CatalogueReader {
 public:
  CatalogueReader() = default;
  ~CatalogueReader();
  CatalogueReader(const CatalogueReader&) = delete;
  CatalogueReader& operator=(const CatalogueReader&) = delete;

  // Opens the database. Returns false, with the reason in *why, if there is no database or no
  // catalogue in it. A catalogue has the table Track and the recording 1.
  bool Open(const std::string& filename, std::string* why);

  // Stores whether a row has the values that VexaDAO::InsertTrack would store for this track.
  // Returns false, with the reason in *why, if that can't be told.
  bool HasTrack(const TrackRecord& track, bool* has, std::string* why);

 private:
  int LookUp(int64_t afterRow, bool* has);

  Connection connection;
  sqlite3_stmt* lookup = nullptr;
  int64_t lastRow = 0;  // the rowid of the row that was found last
};

#endif
