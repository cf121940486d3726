// Replaces syslog(3): appends "priority text" to the file SYSLOG_CAPTURE and leaves errno changed.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <functional>

std::function<void()> onLogLine;

extern "C" void vsyslog(int priority, const char* format, va_list arguments) {
  if (FILE* log = fopen(getenv("SYSLOG_CAPTURE"), "a")) {
    fprintf(log, "%d ", priority);
    vfprintf(log, format, arguments);
    fclose(log);
  }
  if (onLogLine) {
    onLogLine();
  }
  errno = EXDEV;
}

#define CAPTURE(priority, format)       \
  va_list arguments;                    \
  va_start(arguments, format);          \
  vsyslog(priority, format, arguments); \
  va_end(arguments)

extern "C" void syslog(int priority, const char* format, ...) { CAPTURE(priority, format); }

// What syslog is called with _FORTIFY_SOURCE.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
  CAPTURE(priority, format);
}
