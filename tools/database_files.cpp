#include "tools/database_files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tools/requests.h"

bool IsLink(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_symlink(path, error);
}

std::string ResolveDatabase(const std::string& name) {
  if (!IsLink(name)) {
    return name;
  }
  std::error_code error;
  const std::filesystem::path target = std::filesystem::canonical(name, error);
  return error ? name : target.string();
}

std::string FolderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder;
}

int SyncFile(const std::string& path, int flags) {
  const int descriptor = open(path.c_str(), flags | O_CLOEXEC, 0644);
  if (descriptor == -1) {
    return errno;
  }
  const int error = fsync(descriptor) == -1 ? errno : 0;
  close(descriptor);
  return error;
}

int SyncFolder(const std::string& folder) { return SyncFile(folder, O_RDONLY | O_DIRECTORY); }

bool EndsInSlash(const std::string& watchDirectory) {
  const bool ends = !watchDirectory.empty() && watchDirectory.back() == '/';
  if (ends) {
    PrintReason(watchDirectory, "a watch directory must be named without a slash at its end");
  }
  return ends;
}

IncompleteMark::IncompleteMark(const std::string& database)
    : path(database + "-incomplete"),
      descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      openError(descriptor == -1 ? errno : 0) {}

IncompleteMark::~IncompleteMark() { close(descriptor); }

bool IncompleteMark::IsThere() const {
  struct stat opened;
  struct stat present;
  return fstat(descriptor, &opened) == 0 && stat(path.c_str(), &present) == 0 &&
         opened.st_dev == present.st_dev && opened.st_ino == present.st_ino;
}

int IncompleteMark::Lock() const {
  if (openError != 0) {
    return openError;
  }
  return flock(descriptor, LOCK_EX | LOCK_NB) == -1 ? errno : 0;
}

int IncompleteMark::Remove() const {
  if (openError != 0 && openError != ENOENT) {
    return openError;
  }
  if (!IsThere()) {
    return 0;
  }
  const std::string folder = FolderOf(path);
  if (const int error = SyncFolder(folder); error != 0) {
    return error;
  }
  if (unlink(path.c_str()) == -1) {
    return errno;
  }
  return SyncFolder(folder);
}
