#include <syslog.h>

#include <string_view>

#include "clip/clip_file.h"
#include "manager/vexa_manager.h"

namespace {

constexpr std::string_view kSuffix = ".xml";

bool EndsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

}  // namespace

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

// A clip's tracks are found by the description file's name below the watch directory, up to and
// including its point: 20130521/clip0042. is contained in the Path
// /mnt/sd/recordings/20130521/clip0042.mp4, and not in that of clip00420.mp4.
int VexaManager::DeleteClip(const std::string& path) {
  const size_t start = watchDirectory.size() + 1;  // behind the separator
  if (path.compare(0, watchDirectory.size(), watchDirectory) != 0 || !EndsWith(path, kSuffix)) {
    return -1;
  }
  // Without a name, the fragment would be empty or a lone point, contained in the Path of clips
  // that were not meant.
  if (path.size() < start + 1 + kSuffix.size()) {
    return -1;
  }
  const std::string fragment = path.substr(start, path.size() - start - kSuffix.size() + 1);
  const int error = dao.DeleteTrack(fragment.c_str());
  if (error != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Failed to delete clip (%s*)\n", fragment.c_str());
  }
  return error;
}
