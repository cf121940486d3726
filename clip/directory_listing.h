#ifndef VEXAMGR_CLIP_DIRECTORY_LISTING_H
#define VEXAMGR_CLIP_DIRECTORY_LISTING_H

#include <dirent.h>

#include <string>

// The clip descriptions and subfolders of one folder, in the order in which scandir(3) lists them.
//
// A clip description is a regular file whose name ends in ".xml" and is longer than that. Its name
// may begin with a dot. A subfolder is listed unless its name begins with a dot. All else is left
// out, such as a link or an entry of unknown type.
struct DirectoryListing {
  explicit DirectoryListing(const std::string& directory);
  ~DirectoryListing();
  DirectoryListing(const DirectoryListing&) = delete;
  DirectoryListing& operator=(const DirectoryListing&) = delete;

  // Releases the last entry.
  void RemoveLast();

  dirent** entries = nullptr;  // of the type DT_REG or DT_DIR
  int count = 0;               // -1, with errno set, for a folder that can't be read
};

#endif
