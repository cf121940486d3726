#ifndef VEXAMGR_DB_SCHEMA_H
#define VEXAMGR_DB_SCHEMA_H

// Counts the tables by which a database is known to be no longer new.
constexpr char kCountSchemaTables[] =
    "SELECT COUNT(*) FROM sqlite_master WHERE TYPE='table' AND NAME='Schema';";

#endif
