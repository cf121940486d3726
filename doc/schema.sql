-- The tables of the catalogue, for whoever reads it.
--
-- Open the database read-only, and let SQLite wait for a lock. In C:
--
--   sqlite3_open_v2("/var/lib/vexamgr/catalogue.db", &db, SQLITE_OPEN_READONLY, NULL);
--   sqlite3_busy_timeout(db, 5000);
--
-- vexamgr(8), "Reading the catalogue", lists the errors that a reader can meet.
--
-- Times are seconds since 1970-01-01T00:00:00 UTC, modulo 2^32: numbers from 0 to 4294967295. Times
-- after 2038 do not fit into 32 signed bits, so read them with sqlite3_column_int64.

-- The format of the catalogue. One row: MajorVersion 0, MinorVersion 2. A database without this
-- table is new, and vexamgr fills it.
CREATE TABLE Schema (
  URI VARCHAR(256) NOT NULL,
  MajorVersion INTEGER NOT NULL,
  MinorVersion INTEGER NOT NULL
);

-- The camera. One row.
CREATE TABLE Camera (
  ManufacturerName VARCHAR(80) NOT NULL,
  ProductName VARCHAR(80) NOT NULL,
  ModelName VARCHAR(80) NOT NULL,
  SerialNumber VARCHAR(80) NOT NULL  -- empty
);

-- The clips. One row for each clip; two rows can be equal.
CREATE TABLE Track (
  DateFrom DATETIME NOT NULL,    -- when the clip starts
  DateTo DATETIME NOT NULL,      -- when the clip ends; not necessarily later
  TriggerType INTEGER NOT NULL,  -- 1 EXTERNAL, 2 MOTION, 4 NETWORK, 8 USER, 16 SOFTWARE
  Path VARCHAR(80) NOT NULL      -- of the clip's media, at most 127 bytes
);

-- The recording, which sums up all clips. One row, with the Id 1.
CREATE TABLE Recording (
  Id INTEGER PRIMARY KEY,
  DateFrom DATETIME NOT NULL,         -- the earliest Track.DateFrom, 0 without clips
  DateTo DATETIME NOT NULL,           -- the latest Track.DateTo, 0 without clips
  Content VARCHAR(80),                -- Content and the five Source columns: texts that an update sets
  Status VARCHAR(20) NOT NULL,        -- always '2'; it has no meaning to vexamgr
  SourceId VARCHAR(128),
  SourceName VARCHAR(20),
  SourceLocation VARCHAR(256),
  SourceDescription VARCHAR(256),
  SourceAddress VARCHAR(128) NOT NULL,
  MaxRetentionTime INTEGER NOT NULL   -- set by an update; it has no meaning to vexamgr
);

CREATE INDEX RecordingDateFromAscending ON Recording ( DateFrom ASC );
CREATE INDEX RecordingDateToAscending ON Recording ( DateTo ASC );
CREATE INDEX TrackDateFromAscending ON Track ( DateFrom ASC );
CREATE INDEX TrackDateToAscending ON Track ( DateTo ASC );

-- These triggers bring the times of the recording up to date.
CREATE TRIGGER ClipInserted AFTER INSERT ON Track
BEGIN
  UPDATE Recording SET DateFrom = (SELECT IFNULL(MIN(Track.DateFrom), 0) FROM Track) WHERE Id = 1;
  UPDATE Recording SET DateTo = (SELECT IFNULL(MAX(Track.DateTo), 0) FROM Track) WHERE Id = 1;
END;
CREATE TRIGGER ClipDeleted AFTER DELETE ON Track
BEGIN
  UPDATE Recording SET DateFrom = (SELECT IFNULL(MIN(Track.DateFrom), 0) FROM Track) WHERE Id = 1;
  UPDATE Recording SET DateTo = (SELECT IFNULL(MAX(Track.DateTo), 0) FROM Track) WHERE Id = 1;
END;
