#ifndef VEXAMGR_CLIP_CLIP_FILE_H
#define VEXAMGR_CLIP_CLIP_FILE_H

#include <string_view>

struct TrackRecord;

// A clip description: the small XML file beside each recorded clip.

// What its file name ends in, lower-case.
constexpr std::string_view kClipFileSuffix = ".xml";
bool HasClipFileSuffix(std::string_view path);

// Reads a clip description into *track.
//
// Of the children of the root element, whatever its name, the first dateFrom, dateTo, trigger and
// path are read. A path text of more than 127 bytes is cut, without a log line.
// Returns 0; tinyxml2's own XMLError identifier for a file that can't be loaded or is not
// well-formed; EINVAL (22) for content that is missing or unusable. On failure some fields of
// *track may already have been written. Logs what it could not load or find; an element that is
// there but has no text, or one that is rejected, gets no line.
int ParseClipFile(const char* path, TrackRecord* track);

#endif
