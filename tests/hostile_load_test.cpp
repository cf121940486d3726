#include <sys/resource.h>

#include <csignal>

#include "tests/service_test.h"

class HostileLoadTest : public ServiceTest {
 protected:
  HostileLoadTest() {
    signal(SIGXFSZ, SIG_IGN);  // inherited: a write beyond the limit fails, as on a full disk
    Start("Populated");
    WriteClip("w/clip.xml");
  }

  // How often to repeat what is done; once unless VEXAMGR_LOAD says more.
  static int Repetitions() { return std::max(1, atoi(Command("VEXAMGR_LOAD", "1").c_str())); }

  void ExpectServing(int tracks) {
    EXPECT_EQ(Query("PRAGMA integrity_check; SELECT COUNT(*) FROM Track"),
              "ok\n" + std::to_string(tracks) + "\n");
    EXPECT_EQ(Insert("w/clip.xml"), 0);
    EXPECT_EQ(Stop(), 0);
  }
};

TEST_F(HostileLoadTest, ServesManyRequestersAtOnce) {
  const int kRequesters = 64, inserts = 5 * Repetitions();
  for (int i = 0; i < kRequesters; ++i) {
    if (fork() == 0) {
      bool right = true;
      for (int n = 0; n < inserts; ++n) {
        right = right && Insert("w/clip.xml") == 0 && Delete("w/none.xml") == 0 && Insert("w") == 5;
      }
      _exit(right ? 0 : 1);
    }
  }
  for (int ended = 0; ended < kRequesters;) {
    int status;
    TakeLog();  // a full log would hold the service
    if (waitpid(-1, &status, WNOHANG) > 0) {
      EXPECT_EQ(status, 0);
      ++ended;
    }
  }
  ExpectServing(kRequesters * inserts);
}

// Requesters that died before they read have left the queue room for a request, not for its reply.
TEST_F(HostileLoadTest, WaitsForRoomToReply) {
  CommandMessage dead[6] = {{999, 0, 0, 0, {}}};
  msqid_ds queue;
  msgctl(Queue(), IPC_STAT, &queue);
  for (size_t room = queue.msg_qbytes - COMMAND_HEADER_SIZE - 1, size; room > 0; room -= size) {
    size = std::min(room, size_t{8000});
    EXPECT_EQ(msgsnd(Queue(), dead, size, 0), 0);
  }
  SendRaw(77, COMMAND_DELETE_CLIP, "x");
  WaitUntilAsleep(service);
  EXPECT_EQ(Receive(77, IPC_NOWAIT), "");
  while (msgrcv(Queue(), dead, 8000, 999, IPC_NOWAIT) >= 0) {
  }
  EXPECT_NE(Receive(77), "");
  ExpectServing(0);
}

TEST_F(HostileLoadTest, RefusesWhileTheDiskIsFull) {
  rlimit limit;
  prlimit(service, RLIMIT_FSIZE, nullptr, &limit);
  const rlimit full = {std::filesystem::file_size("db"), limit.rlim_max};
  prlimit(service, RLIMIT_FSIZE, &full, nullptr);
  int tracks = 0, result;
  while ((result = Insert("w/clip.xml")) == 0) {
    ++tracks;
  }
  EXPECT_EQ(result, SQLITE_IOERR);
  prlimit(service, RLIMIT_FSIZE, &limit, nullptr);
  ExpectServing(tracks);
}

TEST_F(HostileLoadTest, RefusesMonstrousDescriptionsWithoutGrowing) {
  const auto resident = [this] {
    long pages = 0;
    std::ifstream("/proc/" + std::to_string(service) + "/statm") >> pages >> pages;
    return pages * sysconf(_SC_PAGESIZE);
  };
  std::string nested;
  for (int level = 0; level < 100000; ++level) {
    nested += "<a>";
  }
  Write("w/nested.xml", nested);
  Write("w/large.xml", "<clip>" + std::string(50 << 20, 'x') + "</clip>");
  long before = 0;
  for (int i = 0; i <= 3 * Repetitions(); ++i) {
    TakeLog();
    EXPECT_EQ(Insert("w/nested.xml"), 18);
    EXPECT_EQ(Insert("w/large.xml"), 22);
    before = i == 0 ? resident() : before;
  }
  EXPECT_LT(resident() - before, 1 << 20);
  ExpectServing(0);
}
