#ifndef VEXAMGR_CLIP_CLIP_FILE_H
#define VEXAMGR_CLIP_CLIP_FILE_H

#include <string>
#include <string_view>

struct TrackRecord;

// A clip description: the XML file by which a clip gets into the catalogue.

// What its file name ends in, lower-case.
constexpr std::string_view kClipFileSuffix = ".xml";
bool HasClipFileSuffix(std::string_view path);

// Why a clip description can't be used.
struct ClipFileFault {
  enum class Kind { kNotOpened, kNotRead, kMalformed, kNoRoot, kNoElement, kUnusableText };

  Kind kind = Kind::kNoRoot;
  int systemError = 0;  // of kNotOpened: the errno of open(2)
  std::string detail;   // of the first three kinds: the cause; of the last two: the element's name
};

// Reads a clip description into *track.
//
// Of the children of the root element, whatever its name, the first dateFrom, dateTo, trigger and
// path are read. A path text of more than 127 bytes is cut.
// Returns 0; tinyxml2's own error number for a file that can't be read or is no XML; EINVAL (22)
// for content that is missing or unusable. On failure stores the reason into *fault, and some
// fields of *track may already have been written. Logs nothing.
int ReadClipFile(const char* path, TrackRecord* track, ClipFileFault* fault);

// Does what ReadClipFile does and logs the reason of a failure. For an element without text or with
// an unusable text it logs nothing.
int ParseClipFile(const char* path, TrackRecord* track);

#endif
