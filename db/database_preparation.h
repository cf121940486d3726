#ifndef VEXAMGR_DB_DATABASE_PREPARATION_H
#define VEXAMGR_DB_DATABASE_PREPARATION_H

#include <string>

// What is done to a database before vexamgr opens it.

enum class DatabaseCreation {
  kDone,
  kNoRoom,
  kNoSharedMappings,  // so there can be no write-ahead logging on this file system
  kFailed,
};

// Makes an empty database with write-ahead logging, which stays with the file, and pages of 1024
// bytes. If that fails, *why has the reason, and part of the file may be left.
DatabaseCreation CreateEmptyDatabase(const std::string& filename, std::string* why);

// Stores whether a database that exists is new: it has no table Schema, and vexamgr populates it.
//
// If it is not new, and with dropUnfinished, drops the tables whose creation was cut short before
// there was any row in Recording or Track. vexamgr would serve such tables for ever. *isNew stays
// false even then.
//
// Returns false, with the reason in *why and the database as it was, if that can't be told or done.
bool LookIntoDatabase(const std::string& filename, bool dropUnfinished, bool* isNew,
                      std::string* why);

#endif
