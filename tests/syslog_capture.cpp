// Replaces syslog(3): appends "priority text" to the file "log" in the working directory and leaves
// errno changed, as the real one may.

#include <cerrno>
#include <cstdarg>
#include <cstdio>

static void Capture(int priority, const char* format, va_list arguments) {
  FILE* log = fopen("log", "a");
  fprintf(log, "%d ", priority);
  vfprintf(log, format, arguments);
  fclose(log);
  errno = EXDEV;
}

extern "C" void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Capture(priority, format, arguments);
  va_end(arguments);
}

// The name that _FORTIFY_SOURCE gives to a call of syslog.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Capture(priority, format, arguments);
  va_end(arguments);
}
