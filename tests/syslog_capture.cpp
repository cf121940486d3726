// Replaces syslog(3): appends "priority text" to the file "log" in the working directory and leaves
// errno changed, as the real one may.

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the compiler checks the calls of syslog

// With _FORTIFY_SOURCE clang makes a call of this out of one of syslog, and g++ one of the next.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" void __vsyslog_chk(int priority, int /*flag*/, const char* format, va_list arguments) {
  FILE* log = fopen("log", "a");
  fprintf(log, "%d ", priority);
  vfprintf(log, format, arguments);
  fclose(log);
  errno = EXDEV;
}

extern "C" void __syslog_chk(int priority, int flag, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  __vsyslog_chk(priority, flag, format, arguments);
  va_end(arguments);
}
// NOLINTEND(bugprone-reserved-identifier)

extern "C" void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  __vsyslog_chk(priority, 0, format, arguments);
  va_end(arguments);
}
