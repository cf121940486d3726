#include <syslog.h>

#include <cerrno>
#include <cstring>

#include "clip/directory_listing.h"
#include "manager/vexa_manager.h"

int VexaManager::ScanDirectory(const std::string& directory) {
  DirectoryListing listing(directory);
  if (listing.count == -1) {
    const int error = errno;
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Error scanning directory (%d) %s\n", error,
           strerror(error));
    return error;
  }
  // The entries are taken from the last to the first: see doc/compatibility.md. Each is released
  // after its turn, since the listings of all folders above stay in memory, too.
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
