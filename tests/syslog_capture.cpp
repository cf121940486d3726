// Replaces syslog(3): appends "priority text" to the file that SYSLOG_CAPTURE names and leaves
// errno changed, as the real one may.

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>

std::function<void(const std::string& line)> onLogLine;

static void Capture(int priority, const char* format, va_list arguments) {
  char text[2000];  // longer than any path in a request
  vsnprintf(text, sizeof text, format, arguments);
  const std::string line = std::to_string(priority) + " " + text;
  std::ofstream(getenv("SYSLOG_CAPTURE"), std::ios::app) << line;
  if (onLogLine) {
    onLogLine(line);
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
