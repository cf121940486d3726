#include "tools/catalogue_walk.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "clip/clip_file.h"
#include "clip/directory_listing.h"

namespace {

using Kind = Finding::Kind;
using Report = std::function<bool(const Finding&)>;

// Whether a file or a folder itself is to blame for this errno, so that another try is no use.
bool IsOwnFault(int error) { return error == EACCES || error == EPERM || error == ENAMETOOLONG; }

// What is wrong with a clip description, in words.
std::string ReasonOf(const ClipFileFault& fault) {
  switch (fault.kind) {
    case ClipFileFault::Kind::kNotOpened:
      return strerror(fault.systemError);
    case ClipFileFault::Kind::kMalformed:
      return "it is malformed: " + fault.detail;
    case ClipFileFault::Kind::kNoRoot:
      return "it has no root element";
    case ClipFileFault::Kind::kNoElement:
      return "it has no element " + fault.detail;
    case ClipFileFault::Kind::kUnusableText:
      return "the text of its element " + fault.detail + " is unusable";
    default:
      return fault.detail;
  }
}

Finding UnusableFinding(const std::string& path, const ClipFileFault& fault) {
  const bool isReadError = fault.kind == ClipFileFault::Kind::kNotRead;
  const bool isOwnFault = !isReadError && (fault.systemError == 0 || IsOwnFault(fault.systemError));
  return {Kind::kUnusable, path, ReasonOf(fault), isOwnFault};
}

// What identifies a folder. Another identity later means that the folder was taken away or
// replaced, by an unmount, say.
using Identity = std::pair<dev_t, ino_t>;

class Walk {
 public:
  Walk(const std::string& directory, const Identity& found, CatalogueReader* reader,
       const Report& reporter)
      : watchDirectory(directory), identity(found), catalogue(reader), report(reporter) {}

  // Return whether the walk goes on.
  bool VisitFolder(const std::string& folder);
  bool VisitDescription(const std::string& path);

  // Called when a file or a folder has gone, and at the end of the walk. Returns whether the watch
  // directory is still the same folder. If it is not, because its card was taken out, say, reports
  // kAway.
  bool CheckStillThere();

 private:
  const std::string& watchDirectory;
  const Identity identity;
  CatalogueReader* const catalogue;
  const Report& report;
};

bool Walk::VisitFolder(const std::string& folder) {
  DirectoryListing listing(folder);
  if (listing.count == -1) {
    const int error = errno;
    if (error == ENOENT) {
      return CheckStillThere();
    }
    return report({Kind::kFolder, folder, strerror(error), IsOwnFault(error)});
  }
  bool goesOn = true;
  for (; goesOn && listing.count > 0; listing.RemoveLast()) {
    const dirent* entry = listing.entries[listing.count - 1];
    const std::string path = folder + "/" + entry->d_name;
    goesOn = entry->d_type == DT_REG ? VisitDescription(path) : VisitFolder(path);
  }
  return goesOn;
}

bool Walk::VisitDescription(const std::string& path) {
  Finding missing = {Kind::kMissing, path, {}};
  ClipFileFault fault;
  if (ReadClipFile(path.c_str(), &missing.track, &fault) != 0) {
    if (fault.systemError == ENOENT) {
      return CheckStillThere();
    }
    return report(UnusableFinding(path, fault));
  }
  bool hasRow;
  std::string why;
  if (!catalogue->HasTrack(missing.track, &hasRow, &why)) {
    report({Kind::kCatalogueLost, path, why});
    return false;
  }
  return hasRow || report(missing);
}

bool Walk::CheckStillThere() {
  struct stat status;
  if (stat(watchDirectory.c_str(), &status) == 0 &&
      Identity(status.st_dev, status.st_ino) == identity) {
    return true;
  }
  report({Kind::kAway, watchDirectory, "it was taken away meanwhile"});
  return false;
}

}  // namespace

void WalkCatalogue(const std::string& watchDirectory, CatalogueReader* catalogue,
                   const Report& report) {
  struct stat status;
  if (stat(watchDirectory.c_str(), &status) == -1) {
    report({Kind::kAway, watchDirectory, strerror(errno)});
    return;
  }
  Walk walk(watchDirectory, {status.st_dev, status.st_ino}, catalogue, report);
  if (walk.VisitFolder(watchDirectory)) {
    walk.CheckStillThere();
  }
}
