#ifndef VEXAMGR_TOOLS_PREPARE_H
#define VEXAMGR_TOOLS_PREPARE_H

#include <string>

#include "tools/requests.h"

// Prepares a database for a start of vexamgr, whose user must run this: makes a database with
// write-ahead logging unless there is one with content, and leaves the mark beside a database that
// vexamgr will populate. If no watch directory is given, the argument is an empty text. Says on
// standard error why it refuses or fails.
ExitStatus Prepare(const std::string& databaseName, const std::string& watchDirectory);

#endif
