#include "tools/prepare.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "db/database_preparation.h"
#include "tools/database_files.h"

namespace {

ExitStatus Refuse(const std::string& subject, const std::string& reason) {
  PrintReason(subject, reason);
  return kRefused;
}

ExitStatus Fail(const std::string& subject, const std::string& reason) {
  PrintReason(subject, reason);
  return kFailed;
}

// Fails if a step has returned an errno rather than 0.
ExitStatus FailUnlessDone(const std::string& subject, int error) {
  return error == 0 ? kCarriedOut : Fail(subject, strerror(error));
}

// See https://sqlite.org/fileformat.html, "The Database Header", offset 18.
bool HasWriteAheadLog(const std::string& database) {
  std::ifstream file(database, std::ios::binary);
  file.seekg(18);
  return file.get() == 2;
}

// Whether no file of 64 kB can be made for this user beside the database. If so, says why.
// SQLite maps the index of a write-ahead log before there is room for all of it. A process that
// then writes there, vexamgr or a reader, is killed by SIGBUS. Only a trial shows what is left: the
// numbers of statvfs(3) ignore quotas, and count blocks that ext4 keeps for itself.
bool LacksRoom(const std::string& database) {
  std::string trial = database + "-room-XXXXXX";
  const int descriptor = mkostemp(trial.data(), O_CLOEXEC);
  if (descriptor == -1) {
    PrintReason(database, std::string("no file can be made beside it: ") + strerror(errno));
    return true;
  }
  unlink(trial.c_str());
  const std::string zeros(65536, '\0');
  const ssize_t written = write(descriptor, zeros.data(), zeros.size());
  close(descriptor);
  const bool lacks = written != static_cast<ssize_t>(zeros.size());
  if (lacks) {
    PrintReason(database, "less than 64 kB of room is left beside it");
  }
  return lacks;
}

ExitStatus LeaveMark(const std::string& database) {
  const std::string mark = IncompleteMark(database).path;
  int error = SyncFile(mark, O_RDONLY | O_CREAT);
  if (error == 0) {
    error = SyncFolder(FolderOf(mark));
  }
  return FailUnlessDone(mark, error);
}

// Removes what is left of an earlier preparation, and the journals of a database that was removed,
// which SQLite would apply to the new one.
ExitStatus RemoveLeftovers(const std::string& database) {
  for (const char* suffix :
       {"-new", "-new-journal", "-new-wal", "-new-shm", "-journal", "-wal", "-shm"}) {
    const std::string leftover = database + suffix;
    if (unlink(leftover.c_str()) == -1 && errno != ENOENT) {
      return Fail(leftover, strerror(errno));
    }
  }
  return FailUnlessDone(database, SyncFolder(FolderOf(database)));
}

int MoveInPlace(const std::string& made, const std::string& database) {
  if (const int error = SyncFile(made, O_RDONLY); error != 0) {
    return error;
  }
  if (rename(made.c_str(), database.c_str()) == -1) {
    return errno;
  }
  return SyncFolder(FolderOf(database));
}

// Makes an empty database under another name and moves it in place.
ExitStatus MakeDatabase(const std::string& database) {
  if (const ExitStatus status = RemoveLeftovers(database); status != kCarriedOut) {
    return status;
  }
  const std::string made = database + "-new";
  std::string why;
  const DatabaseCreation creation = CreateEmptyDatabase(made, &why);
  if (creation == DatabaseCreation::kDone) {
    return FailUnlessDone(database, MoveInPlace(made, database));
  }
  RemoveLeftovers(database);
  if (creation == DatabaseCreation::kNoSharedMappings) {
    PrintReason(database, "no write-ahead logging on this file system: see CAVEATS in vexamgr(8)");
    return kCarriedOut;  // vexamgr makes a database that works there
  }
  return Fail(database, creation == DatabaseCreation::kNoRoom ? "no room is left: " + why : why);
}

ExitStatus PrepareNew(const std::string& database, const std::string& watchDirectory) {
  // vexamgr could not populate a database from such a folder.
  if (!watchDirectory.empty() && access((watchDirectory + "/.").c_str(), R_OK | X_OK) == -1) {
    return Refuse(watchDirectory, std::string("can't be read as a folder: ") + strerror(errno));
  }
  if (LacksRoom(database)) {
    return kFailed;
  }
  // The mark is on the disk before the database is: else a power cut could leave the database
  // without it.
  const ExitStatus status = LeaveMark(database);
  return status == kCarriedOut ? MakeDatabase(database) : status;
}

ExitStatus PrepareExisting(const std::string& database) {
  if (HasWriteAheadLog(database) && LacksRoom(database)) {
    return kFailed;
  }
  const bool isMarked = IncompleteMark(database).IsThere();
  bool isNew;
  std::string why;
  if (!LookIntoDatabase(database, isMarked, &isNew, &why)) {
    PrintReason(database, "left as it is: " + why);
    return kCarriedOut;
  }
  return isNew ? LeaveMark(database) : kCarriedOut;
}

}  // namespace

ExitStatus Prepare(const std::string& name, const std::string& watchDirectory) {
  if (EndsInSlash(watchDirectory)) {
    return kRefused;
  }
  const std::string database = ResolveDatabase(name);
  struct stat status;
  const bool exists = stat(database.c_str(), &status) == 0;
  if (!exists && errno != ENOENT) {
    return Fail(database, strerror(errno));
  }
  if (exists && !S_ISREG(status.st_mode)) {
    return Refuse(database, "is no file");
  }
  if (exists && status.st_size > 0) {
    return PrepareExisting(database);
  }
  if (IsLink(name)) {
    return Refuse(name, "leads to no database: give the name of the file itself");
  }
  return PrepareNew(database, watchDirectory);
}
