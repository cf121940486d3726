#ifndef VEXAMGR_CLIP_DATE_TIME_H
#define VEXAMGR_CLIP_DATE_TIME_H

#include <cstdint>

// Converts the start or end of a clip from the text of its clip description to seconds since 1970
// (UTC), modulo 2^32.
//
// Accepts ISO-8601 to whole seconds, as in "2013-05-21T14:03:27", followed by "Z" or by nothing for
// UTC, or by an offset from UTC, "+hhmm" or "-hhmm". White space before the date is ignored, and so
// is whatever follows the "Z" or the offset. The two numbers of an offset have up to two characters
// each and no range: "+530" is 53 hours. The other numbers have the ranges of strptime(3), which
// does not know the lengths of months: 31 February passes.
// Returns 0 and stores into *seconds, or returns EINVAL (22) and leaves *seconds unchanged. The
// text may be null, which is refused. Logs nothing.
int ParseDateTime(const char* text, uint32_t* seconds);

#endif
