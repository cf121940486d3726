#ifndef VEXAMGR_CLIP_DATE_TIME_H
#define VEXAMGR_CLIP_DATE_TIME_H

#include <cstdint>

// The start or end of a clip, as written in its clip description, in seconds since 1970 (UTC),
// modulo 2^32.
//
// Accepts ISO-8601 to whole seconds, as in "2013-05-21T14:03:27", followed by "Z" (UTC), by nothing
// (UTC) or by an offset from UTC, "+hhmm" or "-hhmm". An offset is two numbers of up to two
// characters each, held to no range: "+530" is 53 hours. White space before the date and whatever
// follows the "Z" or the offset are ignored. Each number of the date and time is held to its own
// range only, as strptime(3) does it: 31 February passes. Returns 0 and stores into *seconds, or
// returns EINVAL (22), for a null text too, and leaves *seconds unchanged. Logs nothing.
int ParseDateTime(const char* text, uint32_t* seconds);

#endif
