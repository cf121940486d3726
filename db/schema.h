#ifndef VEXAMGR_DB_SCHEMA_H
#define VEXAMGR_DB_SCHEMA_H

// Counts the tables named Schema. A database without one is new.
constexpr char kCountSchemaTables[] =
    "SELECT COUNT(*) FROM sqlite_master WHERE TYPE='table' AND NAME='Schema';";

#endif
