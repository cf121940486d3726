#ifndef VEXAMGR_MANAGER_DIRECTORY_LISTING_H
#define VEXAMGR_MANAGER_DIRECTORY_LISTING_H

#include <dirent.h>

#include <cstdlib>
#include <memory>
#include <string>

// The selector of scandir(3): 1 to keep subdirectories that are not hidden and regular files named
// *.xml, 0 to drop the rest, going by the type in the entry: links and unknown types are dropped.
int scan_dir_filter(const dirent* entry);

// The kept entries of one directory, in the order of its stream, taken from the last to the first.
// Owns what scandir(3) allocated; an entry that is taken is its taker's.
class DirectoryListing {
 public:
  struct Free {
    void operator()(void* memory) const { free(memory); }
  };
  using Entry = std::unique_ptr<dirent, Free>;

  explicit DirectoryListing(const std::string& directory);
  ~DirectoryListing();
  DirectoryListing(const DirectoryListing&) = delete;
  DirectoryListing& operator=(const DirectoryListing&) = delete;

  // 0, or the errno with which the directory could not be read; then there are no entries.
  int error() const { return error_; }

  // The number of entries not taken yet.
  int size() const { return size_; }

  // The last entry not taken yet; there must be one.
  Entry TakeLast() { return Entry(entries_[--size_]); }

 private:
  dirent** entries_ = nullptr;
  int size_;
  int error_;
};

#endif
