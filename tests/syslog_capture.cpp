// Replaces syslog(3), preloaded into vexamgr and linked into the tests: writes "priority text" to
// the descriptor in SYSLOG_CAPTURE, if there is one, and leaves errno changed, as syslog(3) may.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

static void Capture(int priority, const char* format, va_list arguments) {
  char line[4096];
  int length = snprintf(line, sizeof line, "%d ", priority);
  length += vsnprintf(line + length, sizeof line - static_cast<size_t>(length), format, arguments);
  length = std::min(length, static_cast<int>(sizeof line) - 1);
  const char* log = getenv("SYSLOG_CAPTURE");
  while (log && write(atoi(log), line, static_cast<size_t>(length)) < 0 && errno == EINTR) {
  }
  errno = EXDEV;
}

extern "C" void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Capture(priority, format, arguments);
  va_end(arguments);
}

// What syslog is called with _FORTIFY_SOURCE.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Capture(priority, format, arguments);
  va_end(arguments);
}
