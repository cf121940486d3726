// Replaces syslog(3): appends "priority text" to the file "log" in the working directory and leaves
// errno changed, as the real one may. With a line that contains the environment's AT comes its
// SIGNAL.

#include <sqlite3.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the compiler checks the calls of syslog

// With _FORTIFY_SOURCE clang makes a call of this out of one of syslog, and g++ one of the next.
// Raises the environment's SIGNAL if its AT occurs in the text.
static void RaiseSignal(const char* text) {
  const char* at = getenv("AT");
  const char* signal = getenv("SIGNAL");
  if (at != nullptr && signal != nullptr && strstr(text, at) != nullptr) {
    raise(atoi(signal));
  }
}

extern "C" void __vsyslog_chk(int priority, int /*flag*/, const char* format, va_list arguments) {
  FILE* log = fopen("log", "a");
  fprintf(log, "%d ", priority);
  vfprintf(log, format, arguments);
  fclose(log);
  RaiseSignal(format);
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

extern "C" int sqlite3_close(sqlite3* connection) {
  RaiseSignal("sqlite3_close");
  return sqlite3_close_v2(connection);
}

// The service must not call it: its lines would show another tag.
extern "C" void openlog(const char* /*tag*/, int /*options*/, int /*facility*/) {
  syslog(3, "openlog\n");
}
