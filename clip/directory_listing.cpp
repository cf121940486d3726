#include "clip/directory_listing.h"

#include <cstdlib>

#include "clip/clip_file.h"

namespace {

// The selector of scandir(3): 1 for an entry to list.
int scan_dir_filter(const dirent* entry) {
  if (entry->d_type == DT_DIR) {
    return entry->d_name[0] != '.';
  }
  if (entry->d_type == DT_REG) {
    const std::string_view name = entry->d_name;
    return name.size() > kClipFileSuffix.size() && HasClipFileSuffix(name);
  }
  return 0;
}

}  // namespace

DirectoryListing::DirectoryListing(const std::string& directory) {
  count = scandir(directory.c_str(), &entries, scan_dir_filter, nullptr);
}

DirectoryListing::~DirectoryListing() {
  while (count > 0) {
    RemoveLast();
  }
  free(entries);
}

void DirectoryListing::RemoveLast() { free(entries[--count]); }
