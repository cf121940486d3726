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
      : descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
        error(descriptor == -1 || flock(descriptor, LOCK_EX) == -1 ? errno : 0) {}
  ~FolderLock() { close(descriptor); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  int Error() const { return error; }

 private:
  const int descriptor;
  const int error;
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
    // The first clip may just have been written to an empty card, and its recorder is about to
    // request the insertion. A second insertion here would add a second row.
    std::this_thread::sleep_for(seconds(2));
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

// Waits until vexamgr answers, which it does once its population has ended. Returns 0, or the errno
// of the queue operation that failed.
int AwaitAnswer(int queueId) {
  // If vexamgr crashes at each start, its queue stays. systemd ends this process, too, and starts
  // both anew. Without this pause, each start of the two would leave one more ping in the queue.
  std::this_thread::sleep_for(seconds(1));
  Request ping = Ping();
  int32_t result;
  int error = PutPing(queueId, &ping);
  while (error == 0) {
    error = TakeReply(queueId, ping.message.MessageId, seconds(10), &result);
    if (error != ETIMEDOUT) {
      return error;
    }
    // If the queue is empty, vexamgr took the ping and was killed, or is about to answer. In the
    // second case another ping does no harm.
    error = IsQueueEmpty(queueId) ? PutPing(queueId, &ping) : 0;
  }
  return error;
}

// Waits until vexamgr serves, but 10 s at most for its queue unless `endless`. Returns 0 or the
// error of the queue.
int AwaitService(bool endless, int* queueId) {
  int error = EIDRM;
  // A population that fails ends vexamgr, and its supervisor starts it anew: hence the second turn.
  for (int turn = 0; turn < 2 && (error == EIDRM || error == EINVAL); ++turn) {
    error = AwaitQueue(endless, queueId);
    if (error == 0) {
      error = AwaitAnswer(*queueId);
    }
  }
  return error;
}

// One walk over all clip descriptions, which has the clips inserted that have no row.
class Pass {
 public:
  Pass(const CompletionOptions& completion, const std::string& path, int queue)
      : options(completion), database(path), queueId(queue) {}

  // Returns 0, or the errno of the queue operation that failed, or, with --pending, ENOENT if the
  // watch directory is away.
  int Run();

  ExitStatus status = kCarriedOut;
  bool isWhole = true;  // nothing is left for another pass

 private:
  // Return whether the walk goes on.
  bool Take(const Finding& finding);
  bool Insert(const Finding& finding);
  bool NoteRefusal(const TrackRecord& track, int32_t refusal);

  // Notes that something is left out of the catalogue. If that is its own fault, another pass is
  // no use.
  void LeaveOut(bool isOwnFault);

  // Says why the pass must end, and notes that something may be left out.
  void GiveUp(const std::string& subject, const std::string& reason);

  const CompletionOptions& options;
  const std::string& database;
  const int queueId;
  CatalogueReader catalogue;
  int error = 0;  // what Run returns; set by Take
};

int Pass::Run() {
  const FolderLock lock(FolderOf(database));
  if (lock.Error() != 0) {
    GiveUp(FolderOf(database), std::string("can't be locked: ") + strerror(lock.Error()));
    return 0;
  }
  // An earlier pass that was killed may have left an insertion in the queue. Once this ping is
  // answered, that insertion has been carried out.
  Request ping = Ping();
  int32_t result;
  error = SendRequest(queueId, &ping.message, ping.size, options.limit, &result);
  if (error != 0) {
    return error;
  }
  std::string why;
  if (!catalogue.Open(database, &why)) {
    GiveUp(database, why);
    return 0;
  }
  WalkCatalogue(options.watchDirectory, &catalogue,
                [this](const Finding& finding) { return Take(finding); });
  // A walk over a card that is pulled out meets various errors, or nothing but an empty folder.
  if (IsAway(options.watchDirectory)) {
    isWhole = false;
    if (error == 0 && options.pending) {
      error = ENOENT;
    }
  }
  return error;
}

void Pass::LeaveOut(bool isOwnFault) {
  isWhole = isWhole && isOwnFault;
  status = kRefused;
}

void Pass::GiveUp(const std::string& subject, const std::string& reason) {
  PrintReason(subject, reason);
  isWhole = false;
  status = kNoAnswer;
}

bool Pass::Take(const Finding& finding) {
  if (finding.kind == Finding::Kind::kMissing) {
    return Insert(finding);
  }
  if (finding.kind == Finding::Kind::kCatalogueLost) {
    GiveUp(database, finding.reason);
    return false;
  }
  PrintReason(finding.path, finding.reason);
  LeaveOut(finding.isOwnFault);
  error = options.pending && finding.kind == Finding::Kind::kAway ? ENOENT : 0;
  return true;
}

bool Pass::Insert(const Finding& finding) {
  if (finding.path.size() > kMaxPathLength) {
    PrintReason(finding.path, "its path is too long for a request");
    LeaveOut(true);
    return true;
  }
  Request insertion = InsertionOf(finding.path);
  int32_t result;
  error = SendUntilUnlocked(queueId, options.limit, &insertion, &result);
  if (error != 0) {
    return false;
  }
  if (result == 3 && access(finding.path.c_str(), F_OK) == -1 && errno == ENOENT) {
    return true;  // the description has gone meanwhile
  }
  PrintOutcome(insertion, result);
  if (result != 0) {
    return NoteRefusal(finding.track, result);
  }
  bool hasRow;
  std::string why = "vexamgr serves another catalogue: the clip has no row here";
  if (!catalogue.HasTrack(finding.track, &hasRow, &why) || !hasRow) {
    GiveUp(database, why);
    return false;
  }
  return true;
}

// Notes a refusal, and returns whether the walk goes on. The description could be used a moment
// ago. So a 3 or a 22 means that vexamgr may not read it or that it has changed, and a 1 for a path
// with a quote means that the statement was too long. Any other number is most likely SQLite's, and
// the next clip would get it, too.
bool Pass::NoteRefusal(const TrackRecord& track, int32_t refusal) {
  const bool isTooLong = refusal == SQLITE_ERROR && strchr(track.Path, '\'') != nullptr;
  LeaveOut(isTooLong);
  return isTooLong || refusal == 3 || refusal == EINVAL;
}

// Makes one pass once vexamgr serves, and removes the mark if nothing is left. Returns 0 and stores
// the exit status, or returns the error of AwaitService or of Pass::Run.
int TryToComplete(const CompletionOptions& options, const std::string& database,
                  const IncompleteMark& mark, ExitStatus* status) {
  int queueId;
  if (const int error = AwaitService(options.pending, &queueId); error != 0) {
    return error;
  }
  if (options.pending) {
    AwaitCard(options.watchDirectory);
    if (!mark.IsThere()) {
      *status = kCarriedOut;  // another process has completed the catalogue
      return 0;
    }
  }
  Pass pass(options, database, queueId);
  if (const int error = pass.Run(); error != 0) {
    return error;
  }
  *status = pass.status;
  if (const int error = pass.isWhole ? mark.Remove() : 0; error != 0) {
    PrintReason(mark.path, std::string("can't be removed: ") + strerror(error));
    *status = kNoAnswer;
  }
  return 0;
}

}  // namespace

ExitStatus Complete(const CompletionOptions& options) {
  if (EndsInSlash(options.watchDirectory)) {
    return kWrongUse;
  }
  const std::string database = ResolveDatabase(options.database);
  const IncompleteMark mark(database);
  const int lockError = options.pending ? mark.Lock() : 0;
  if (lockError == ENOENT || lockError == EWOULDBLOCK) {
    return kCarriedOut;  // there is no mark, or another process sees to it
  }
  if (lockError != 0) {
    PrintReason(mark.path, std::string("can't be locked: ") + strerror(lockError));
    return kNoAnswer;
  }
  ExitStatus status = kNoAnswer;
  int error;
  do {
    error = TryToComplete(options, database, mark, &status);
  } while (error != 0 && options.pending);
  if (error != 0) {
    PrintReason("vexamgr", std::string("no answer: ") + ErrorText(error));
  }
  return status;
}
