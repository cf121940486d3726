#include <syslog.h>

#include <cstring>

#include "manager/directory_listing.h"
#include "manager/vexa_manager.h"

int VexaManager::ScanDirectory(const std::string& directory) {
  DirectoryListing listing(directory);
  int result = listing.error();
  if (result != 0) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Error scanning directory (%d) %s\n", result,
           strerror(result));
  }
  while (result == 0 && listing.size() > 0) {
    const DirectoryListing::Entry entry = listing.TakeLast();
    const std::string path = directory + "/" + entry->d_name;
    if (entry->d_type == DT_REG) {
      result = InsertClip(path);
      continue;
    }
    result = ScanDirectory(path);
    if (result != 0) {
      syslog(LOG_DAEMON | LOG_ERR,
             "[VexaManager]  Error scanning directory %d files not processed in (%s)\n",
             listing.size(), path.c_str());
    }
  }
  return result;
}
