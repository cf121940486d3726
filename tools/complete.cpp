#include "tools/complete.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

#include "ipc/requester.h"
#include "tools/catalogue_walk.h"
#include "tools/database_files.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Keeps another process that locks the same folder waiting until this object is destroyed.
class FolderLock {
 public:
  explicit FolderLock(const std::string& folder)
      : descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    flock(descriptor, LOCK_EX);
  }
  ~FolderLock() { close(descriptor); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  const int descriptor;
};

// Whether a folder can't be listed or is empty, as a mount point without its card is.
bool IsAway(const std::string& folder) {
  std::error_code error;
  return std::filesystem::is_empty(folder, error) || error;
}

void AwaitCard(const std::string& watchDirectory) {
  const bool wasAway = IsAway(watchDirectory);
  while (IsAway(watchDirectory)) {
    std::this_thread::sleep_for(seconds(1));
  }
  if (wasAway) {
    // What ended the wait can be the first clip of an empty card, which its recorder is just about
    // to have inserted.
    std::this_thread::sleep_for(seconds(3));
  }
}

// Waits for vexamgr's queue, 10 s at most unless `endless`. Returns 0 or the error of
// OpenCommandQueue.
int AwaitQueue(bool endless, int* queueId) {
  for (int turn = 0;; ++turn) {
    const int error = OpenCommandQueue(queueId);
    if (error == 0 || (turn == 100 && !endless)) {
      return error;
    }
    std::this_thread::sleep_for(milliseconds(100));
  }
}

// Puts a ping into the queue, once there is room. Returns 0 or the error of PutRequest.
int PutPing(int queueId, Request* ping) {
  int error;
  do {
    error = PutRequest(queueId, &ping->message, ping->size, seconds(10));
  } while (error == ETIMEDOUT);
  return error;
}

// Waits until vexamgr answers, which it does once it has populated its catalogue. Returns 0, or
// the error by which the queue turned out to be lost.
int AwaitAnswer(int queueId) {
  // A vexamgr that fails at its start has ended by then, so that no pings of its starts pile up.
  std::this_thread::sleep_for(seconds(1));
  Request ping = Ping();
  int32_t result;
  int error = PutPing(queueId, &ping);
  while (error == 0) {
    error = TakeReply(queueId, ping.message.MessageId, seconds(10), &result);
    if (error != ETIMEDOUT) {
      return error;
    }
    error = IsAbandoned(queueId) ? PutPing(queueId, &ping) : 0;
  }
  return error;
}

int AwaitQueueAndAnswer(bool endless, int* queueId) {
  const int error = AwaitQueue(endless, queueId);
  return error == 0 ? AwaitAnswer(*queueId) : error;
}

int AwaitService(bool endless, int* queueId) {
  const int error = AwaitQueueAndAnswer(endless, queueId);
  // A population that fails ends vexamgr, which its supervisor then starts anew.
  return error == EIDRM || error == EINVAL ? AwaitQueueAndAnswer(endless, queueId) : error;
}

// One look for every clip, and the insertion of those that have no row.
class Pass {
 public:
  Pass(const CompletionOptions& completion, const std::string& path, int queue)
      : options(completion), database(path), queueId(queue) {}

  // Returns 0, or the error by which vexamgr or the watch directory turned out to be away.
  int Run();

  ExitStatus status = kCarriedOut;
  bool isWhole = true;  // nothing is left for another time

 private:
  // Return whether the walk goes on.
  bool Take(const Finding& finding);
  bool Insert(const Finding& finding);
  bool TakeRefusal(const TrackRecord& track, int32_t result);

  bool Leave(const std::string& subject, const std::string& reason, ExitStatus newStatus);

  const CompletionOptions& options;
  const std::string& database;
  const int queueId;
  CatalogueReader catalogue;
  int error = 0;
};

int Pass::Run() {
  const FolderLock lock(FolderOf(database));
  // Answered after an insertion that an earlier pass, which was killed, has left in the queue.
  Request ping = Ping();
  int32_t result;
  error = SendRequest(queueId, &ping.message, ping.size, options.limit, &result);
  if (error != 0) {
    return error;
  }
  isWhole = !IsAway(options.watchDirectory);
  std::string why;
  if (!catalogue.Open(database, &why)) {
    Leave(database, why, kNoAnswer);
    return 0;
  }
  WalkCatalogue(options.watchDirectory, &catalogue,
                [this](const Finding& finding) { return Take(finding); });
  if (error == 0 && !isWhole && options.pending && IsAway(options.watchDirectory)) {
    error = ENOENT;  // a card that was pulled out while it was read gives other errors
  }
  return error;
}

bool Pass::Leave(const std::string& subject, const std::string& reason, ExitStatus newStatus) {
  PrintReason(subject, reason);
  isWhole = false;
  status = newStatus;
  return false;
}

bool Pass::Take(const Finding& finding) {
  switch (finding.kind) {
    case Finding::Kind::kMissing:
      return Insert(finding);
    case Finding::Kind::kUnusable:
    case Finding::Kind::kFolder:
      PrintReason(finding.path, finding.reason);
      isWhole = isWhole && finding.isOwnFault;
      status = kRefused;
      return true;
    case Finding::Kind::kAway:
      error = options.pending ? ENOENT : 0;
      return Leave(finding.path, finding.reason, kRefused);
    case Finding::Kind::kCatalogueLost:
      return Leave(database, finding.reason, kNoAnswer);
  }
  return false;
}

bool Pass::Insert(const Finding& finding) {
  if (finding.path.size() > kMaxPathLength) {
    PrintReason(finding.path, "its path is too long for a request");
    status = kRefused;
    return true;
  }
  Request insertion = InsertionOf(finding.path);
  int32_t result;
  error = SendUntilUnlocked(queueId, options.limit, &insertion, &result);
  if (error != 0) {
    return false;
  }
  if (result == 3 && access(finding.path.c_str(), F_OK) < 0) {
    return true;  // it has gone meanwhile
  }
  PrintOutcome(insertion, result);
  if (result != 0) {
    return TakeRefusal(finding.track, result);
  }
  bool hasRow = false;
  std::string why = "vexamgr serves another catalogue: the clip has no row here";
  if (!catalogue.HasTrack(finding.track, &hasRow, &why) || !hasRow) {
    return Leave(database, why, kNoAnswer);
  }
  return true;
}

// The description could be used a moment ago. So a 3 or a 22 says that vexamgr may not read it or
// that it has changed, and all else is SQLite's and would meet the next clip, too: but for the 1 of
// a statement that quotes in the path, which count twice, have made too long.
bool Pass::TakeRefusal(const TrackRecord& track, int32_t result) {
  status = kRefused;
  const bool isTooLong = result == SQLITE_ERROR && strchr(track.Path, '\'') != nullptr;
  isWhole = isWhole && isTooLong;
  return isTooLong || result == 3 || result == EINVAL;
}

// Removes the mark if nothing is left. Returns the exit status.
ExitStatus Finish(const Pass& pass, const IncompleteMark& mark) {
  if (const int error = pass.isWhole ? mark.Remove() : 0; error != 0) {
    PrintReason(mark.path, strerror(error));
  }
  return pass.status;
}

}  // namespace

ExitStatus Complete(const CompletionOptions& options) {
  if (EndsInSlash(options.watchDirectory)) {
    return kWrongUse;
  }
  const std::string database = ResolveDatabase(options.database);
  const IncompleteMark mark(database);
  if (options.pending && !mark.Lock()) {
    return kCarriedOut;  // there is no mark, or another process sees to it
  }
  int error;
  do {
    int queueId;
    error = AwaitService(options.pending, &queueId);
    if (error == 0 && options.pending) {
      AwaitCard(options.watchDirectory);
    }
    if (options.pending && !mark.IsThere()) {
      return kCarriedOut;  // another process has seen to it
    }
    if (error == 0) {
      Pass pass(options, database, queueId);
      error = pass.Run();
      if (error == 0) {
        return Finish(pass, mark);
      }
    }
  } while (options.pending);
  PrintReason("vexamgr", std::string("no answer: ") + ErrorText(error));
  return kNoAnswer;
}
