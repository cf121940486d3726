// Replaces syslog(3), preloaded into vexamgr and linked into the tests: writes "priority text" to
// the descriptor in SYSLOG_CAPTURE, if there is one, and leaves errno changed, as syslog(3) may.
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

extern "C" [[gnu::format(printf, 2, 3)]] void syslog(int priority, const char* format, ...) {
  char line[4096];
  int length = snprintf(line, sizeof line, "%d ", priority);
  va_list arguments;
  va_start(arguments, format);
  length += vsnprintf(line + length, sizeof line - static_cast<size_t>(length), format, arguments);
  va_end(arguments);
  const char* log = getenv("SYSLOG_CAPTURE");
  while (log && write(atoi(log), line, static_cast<size_t>(length)) < 0 && errno == EINTR) {
  }
  errno = EXDEV;
}
