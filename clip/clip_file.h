#ifndef VEXAMGR_CLIP_CLIP_FILE_H
#define VEXAMGR_CLIP_CLIP_FILE_H

#include <string_view>

struct TrackRecord;

// A clip description: the XML file by which a clip gets into the catalogue.

// What its file name ends in, lower-case.
constexpr std::string_view kClipFileSuffix = ".xml";
bool HasClipFileSuffix(std::string_view path);

// Reads a clip description into *track.
//
// Of the children of the root element, whatever its name, the first dateFrom, dateTo, trigger and
// path are read. A path text of more than 127 bytes is cut, without a log line.
// Returns 0; tinyxml2's own error number for a file that can't be read or is no XML; EINVAL (22)
// for content that is missing or unusable. On failure some fields of *track may already have been
// written. Logs what it could not load or find; an element that is there but has no text, or one
// that is rejected, gets no line.
int ParseClipFile(const char* path, TrackRecord* track);

#endif
