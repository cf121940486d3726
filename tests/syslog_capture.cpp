// Replaces syslog(3). Appends each line, after its priority, to the file "log" in the working
// directory, and changes errno, as the real function may.

#include <cerrno>
#include <cstdarg>
#include <cstdio>

// The formats are checked where syslog is called.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

// With _FORTIFY_SOURCE, a call of syslog becomes a call of this function (clang) or of the next
// (g++).
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

extern "C" void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  __vsyslog_chk(priority, 0, format, arguments);
  va_end(arguments);
}

// The service must not call openlog: its lines would get another tag.
extern "C" void openlog(const char* /*tag*/, int /*options*/, int /*facility*/) {
  syslog(3, "openlog was called\n");
}
