#ifndef VEXAMGR_CLIP_TRACK_RECORD_H
#define VEXAMGR_CLIP_TRACK_RECORD_H

#include <cstdint>

// What started the recording of a clip.
enum TriggerType : uint32_t {
  kTriggerExternal = 1,
  kTriggerMotion = 2,
  kTriggerNetwork = 4,
  kTriggerUser = 8,
  kTriggerSoftware = 16,
};

// One clip: a row of the Track table.
struct TrackRecord {
  uint32_t DateFrom;     // seconds since 1970-01-01T00:00:00 UTC, modulo 2^32
  uint32_t DateTo;       // the same; not necessarily later than DateFrom
  uint32_t TriggerType;  // one value of the enumeration above
  char Path[128];        // where the clip's media lies; NUL-terminated, at most 127 bytes
};

#endif
