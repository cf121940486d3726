#include <dirent.h>
#include <syslog.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "clip/clip_file.h"
#include "manager/vexa_manager.h"

namespace {

// The selector of scandir(3): 1 for a clip description or a subdirectory, 0 for all else, such as a
// link or an entry of unknown type. A leading dot hides a subdirectory, not a clip description.
int scan_dir_filter(const dirent* entry) {
  if (entry->d_type == DT_DIR) {
    return entry->d_name[0] != '.' ? 1 : 0;
  }
  if (entry->d_type == DT_REG) {
    const std::string_view name = entry->d_name;
    return name.size() > kClipFileSuffix.size() && HasClipFileSuffix(name) ? 1 : 0;
  }
  return 0;
}

// What scandir(3) lists of one directory, in the order of its stream.
struct DirectoryListing {
  explicit DirectoryListing(const std::string& directory) {
    count = scandir(directory.c_str(), &entries, scan_dir_filter, nullptr);
  }
  ~DirectoryListing() {
    while (count > 0) {
      RemoveLast();
    }
    free(entries);
  }
  DirectoryListing(const DirectoryListing&) = delete;
  DirectoryListing& operator=(const DirectoryListing&) = delete;

  void RemoveLast() { free(entries[--count]); }

  dirent** entries = nullptr;
  int count = 0;  // -1, with errno set, for a directory that can't be read
};

}  // namespace

int VexaManager::ScanDirectory(const std::string& directory) {
  DirectoryListing listing(directory);
  if (listing.count < 0) {
    const int error = errno;
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Error scanning directory (%d) %s\n", error,
           strerror(error));
    return error;
  }
  // From the last entry to the first: see doc/compatibility.md. Each is released after its turn, as
  // the listings of all levels above are held as well.
  for (; listing.count > 0; listing.RemoveLast()) {
    const int unprocessed = listing.count - 1;
    const dirent* entry = listing.entries[unprocessed];
    const std::string path = directory + "/" + entry->d_name;
    if (entry->d_type == DT_REG) {
      if (const int error = InsertClip(path); error != 0) {
        return error;
      }
    } else if (const int error = ScanDirectory(path); error != 0) {
      syslog(LOG_DAEMON | LOG_ERR,
             "[VexaManager]  Error scanning directory %d files not processed in (%s)\n",
             unprocessed, path.c_str());
      return error;
    }
  }
  return 0;
}
