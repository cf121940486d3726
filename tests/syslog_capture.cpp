// Replaces syslog(3). Appends each line, after its priority, to the file "log" in the working
// directory, and changes errno, as the real function may.
//
// If the environment has AT and SIGNAL, the process sends itself SIGNAL at each line whose format
// contains AT. With AT=sqlite3_close, it does so when the service closes its database.

#include <sqlite3.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// The formats are checked where syslog is called.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

// Sends the process SIGNAL if the text contains AT.
static void RaiseSignal(const char* text) {
  const char* at = getenv("AT");
  const char* signal = getenv("SIGNAL");
  if (at != nullptr && signal != nullptr && strstr(text, at) != nullptr) {
    raise(atoi(signal));
  }
}

// With _FORTIFY_SOURCE, a call of syslog becomes a call of this function (clang) or of the next
// (g++).
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

// The service must not call openlog: its lines would get another tag.
extern "C" void openlog(const char* /*tag*/, int /*options*/, int /*facility*/) {
  syslog(3, "openlog was called\n");
}
