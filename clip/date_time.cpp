#include "clip/date_time.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

// glibc's time_t has 32 bits on a 32-bit machine, unless _TIME_BITS=64 is defined.
static_assert(sizeof(time_t) == 8, "times after 2038 need a 64-bit time_t");

namespace {

// Reads the offset from UTC, in seconds, from the text that follows the time.
// Returns 0, or EINVAL and leaves *offset unchanged.
int ParseZone(const char* zone, int* offset) {
  if (*zone == '\0' || *zone == 'Z') {
    *offset = 0;
    return 0;
  }
  if (*zone != '+' && *zone != '-') {
    return EINVAL;
  }
  int hours;
  int minutes;
  if (sscanf(zone + 1, "%2d%2d", &hours, &minutes) != 2) {
    return EINVAL;
  }
  const int seconds = (hours * 60 + minutes) * 60;
  *offset = *zone == '-' ? -seconds : seconds;
  return 0;
}

}  // namespace

int ParseDateTime(const char* text, uint32_t* seconds) {
  if (text == nullptr) {
    return EINVAL;
  }
  text += strspn(text, " \t\n\v\f\r");  // glibc's %Y skips white space, but musl's does not
  tm calendar = {};
  const char* zone = strptime(text, "%Y-%m-%dT%H:%M:%S", &calendar);
  if (zone == nullptr) {
    return EINVAL;
  }
  int offset;
  if (const int error = ParseZone(zone, &offset); error != 0) {
    return error;
  }
  *seconds = static_cast<uint32_t>(timegm(&calendar) - offset);
  return 0;
}
