#ifndef VEXAMGR_TOOLS_CHECK_H
#define VEXAMGR_TOOLS_CHECK_H

#include <string>

#include "tools/requests.h"

// Prints the clip descriptions below the watch directory whose clips have no row in the database,
// and those that can't be used; the reasons go to standard error.
ExitStatus Check(const std::string& databaseName, const std::string& watchDirectory);

#endif
