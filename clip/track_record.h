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
  uint32_t DateFrom;     // as ParseDateTime gives it
  uint32_t DateTo;       // the same; not necessarily later than DateFrom
  uint32_t TriggerType;  // one value of the enumeration above
  char Path[128];        // of the clip's media; cut to fit, with its NUL
};

#endif
