// Preloaded into vexamgr with LD_PRELOAD, shows its log lines on standard error too, for a machine
// without a system log and for a person at a terminal: see LOG_PERROR in openlog(3).

#include <syslog.h>

[[gnu::constructor]] static void OpenLog() { openlog(nullptr, LOG_PERROR, LOG_DAEMON); }
