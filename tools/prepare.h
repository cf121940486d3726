#ifndef VEXAMGR_TOOLS_PREPARE_H
#define VEXAMGR_TOOLS_PREPARE_H

#include <string>

#include "tools/requests.h"

// Readies a database for a start of vexamgr, whose user must run this: makes one with write-ahead
// logging unless there is one with content, and marks one that is to be populated. A watch
// directory that is not given is empty. Says on standard error why it refuses or fails.
ExitStatus Prepare(const std::string& databaseName, const std::string& watchDirectory);

#endif
