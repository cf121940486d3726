// A library that run.sh loads into vexamgr by LD_PRELOAD. It shows the log on standard error, too,
// for a person at a terminal and for a machine without a system log: see LOG_PERROR in openlog(3).

#include <syslog.h>

[[gnu::constructor]] static void OpenLog() { openlog(nullptr, LOG_PERROR, LOG_DAEMON); }
