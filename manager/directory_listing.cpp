#include "manager/directory_listing.h"

#include <cerrno>
#include <cstring>

int scan_dir_filter(const dirent* entry) {
  if (entry->d_type == DT_DIR) {
    return entry->d_name[0] != '.' ? 1 : 0;
  }
  if (entry->d_type == DT_REG) {
    const size_t length = strlen(entry->d_name);
    return length > 4 && strcmp(entry->d_name + length - 4, ".xml") == 0 ? 1 : 0;
  }
  return 0;
}

DirectoryListing::DirectoryListing(const std::string& directory)
    : size_(scandir(directory.c_str(), &entries_, scan_dir_filter, nullptr)), error_(0) {
  if (size_ < 0) {
    error_ = errno;
    size_ = 0;
  }
}

DirectoryListing::~DirectoryListing() {
  while (size_ > 0) {
    TakeLast();
  }
  free(entries_);
}
