#include <syslog.h>

#include "clip/clip_file.h"
#include "clip/track_record.h"
#include "manager/vexa_manager.h"

int VexaManager::InsertClip(const std::string& path) {
  TrackRecord track;
  if (const int error = ParseClipFile(path.c_str(), &track); error != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Error parsing file (%s)\n", path.c_str());
    return error;
  }
  if (const int error = dao.InsertTrack(track); error != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Failed to insert database clip (%s)\n",
           path.c_str());
    return error;
  }
  syslog(LOG_DAEMON | LOG_INFO, "[VexaManager] Inserted clip %s\n", path.c_str());
  return 0;
}

// The path of a clip's media contains the name that its description has below the watch directory.
// So a deletion looks for that name in the tracks' paths. The point at its end keeps clip4 from
// finding clip42.
int VexaManager::DeleteClip(const std::string& path) {
  if (path.compare(0, watchDirectory.size(), watchDirectory) != 0 || !HasClipFileSuffix(path)) {
    return -1;
  }
  // The separator may be any character: see doc/compatibility.md.
  const size_t start = watchDirectory.size() + 1;
  const size_t point = path.size() - kClipFileSuffix.size();
  // Without a name, the fragment would be empty or a lone point, which the paths of other clips
  // contain.
  if (point <= start) {
    return -1;
  }
  const std::string fragment = path.substr(start, point + 1 - start);
  const int error = dao.DeleteTrack(fragment.c_str());
  if (error != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Failed to delete clip (%s*)\n", fragment.c_str());
  }
  return error;
}
