// Replaces nanosleep(2), so that each sleep of vexactl takes a twentieth of its time. The sleeps
// leave time for recorders and for a vexamgr that starts; the tests need less of it.

#include <unistd.h>

#include <ctime>

extern "C" int nanosleep(const timespec* time, timespec* /*left*/) {
  return usleep(static_cast<useconds_t>(time->tv_sec * 50000 + time->tv_nsec / 20000));
}
