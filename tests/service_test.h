#ifndef VEXAMGR_TESTS_SERVICE_TEST_H
#define VEXAMGR_TESTS_SERVICE_TEST_H

#include <gtest/gtest.h>
#include <sched.h>
#include <sqlite3.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <optional>

#include "ipc/command_messages.h"
#include "manager/vexa_manager.h"

// Expects these lines in the log, one right after the other, and empties the log. Each line begins
// with its priority: 27 is LOG_DAEMON | LOG_ERR, and 30 is LOG_DAEMON | LOG_INFO.
#define EXPECT_LOGGED(lines) EXPECT_PRED_FORMAT2(testing::IsSubstring, lines, Take("log"))

// A service with the database "db" and the watch directory "w", in a new working directory. A test
// that fails shows what is left of the log and of the last program's output.
class ServiceTest : public testing::Test {
 protected:
  // Gives the process an IPC namespace, where no service of the machine has the queue, and a
  // network namespace, where lo can be renamed to eth0. A user namespace allows both to any user,
  // but a process in a chroot can't have one and must be root.
  static void SetUpTestSuite() {
    const int namespaces = CLONE_NEWIPC | CLONE_NEWNET;
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (unshare(namespaces | CLONE_NEWUSER) == 0) {
      Write("/proc/self/setgroups", "deny");
      Write("/proc/self/uid_map", "0 " + user + " 1");
      Write("/proc/self/gid_map", "0 " + group + " 1");
    } else {
      ASSERT_EQ(unshare(namespaces), 0) << "no namespaces: " << strerror(errno);
    }
  }

  void SetUp() override {
    ASSERT_NE(mkdtemp(folder.data()), nullptr) << folder;
    std::filesystem::current_path(folder);
    std::filesystem::create_directory("w");
  }

  void TearDown() override {
    if (HasFailure()) {
      ADD_FAILURE() << "The log:\n" << Take("log") << "The output:\n" << Take("output");
    }
    msgctl(Queue(), IPC_RMID, nullptr);
    served = {};  // waits for the thread
    std::filesystem::remove_all(folder);
  }

  // Populates the database if it is new. A manager that is stopped before its start serves nothing.
  int Populate(const char* watchDirectory = "w") {
    manager.emplace("db", -1, watchDirectory);
    manager->Stop();
    return manager->Start();
  }

  // Serves requests in a thread of this process, until the queue is removed.
  void Serve(const char* watchDirectory = "w") {
    ASSERT_EQ(Populate(watchDirectory), 0);
    manager.emplace("db", Queue(IPC_CREAT | 0600), watchDirectory);
    served = std::async(std::launch::async, [this] {
      servingThread = gettid();
      return manager->Start();
    });
    WaitUntil("the service waits for requests", [this] { return Sleeps(servingThread); });
    Take("log");
  }

  // Waits for the end of the service that Serve started, and returns its result.
  int Ended() {
    WaitUntil("the service ends", [this] {
      return served.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    });
    return served.get();
  }

  static std::string Write(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::absolute(path).parent_path());
    std::ofstream(path) << content;
    return path;
  }

  // Writes the description of a clip by motion, from second 100 to second 100. The path of its
  // media is that of the description.
  static std::string WriteClip(const std::string& path) {
    const std::string time = "1970-01-01T00:01:40Z";
    return Write(path, "<clip><dateFrom>" + time + "</dateFrom><dateTo>" + time + "</dateTo>" +
                           "<trigger>MOTION</trigger><path>" + path + "</path></clip>");
  }

  // Removes a file and returns what it held.
  static std::string Take(const std::string& path) {
    std::ifstream file(path);
    std::filesystem::remove(path);
    return std::string(std::istreambuf_iterator(file), {});
  }

  // The values that SQL statements yield, with a "|" after each, or SQLite's error message.
  static std::string Query(const std::string& sql) {
    return Run("sqlite3 -init /dev/null -nullvalue NULL -newline '|' db \"" + sql + "\"")
        .substr(strlen("0 "));
  }

  // Opens a second connection, in place of another program. The locks of these statements last
  // until the connection is closed.
  static sqlite3* Hold(const std::string& sql) {
    sqlite3* connection;
    sqlite3_open("db", &connection);
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    return connection;
  }

  // The id of the queue that other programs know by this key, or -1.
  static int Queue(int flags = 0) { return msgget(static_cast<key_t>(0xECDB0123), flags); }

  static msqid_ds QueueStatus() {
    msqid_ds status = {};
    EXPECT_EQ(msgctl(Queue(), IPC_STAT, &status), 0) << strerror(errno);
    return status;
  }

  // Sends a request with a path and its NUL, or the first `size` bytes of it.
  static void Send(int32_t sender, int32_t id, const std::string& path, size_t size = 0) {
    CommandMessage area[2] = {};  // room for a request that is too long
    area->mtype = COMMAND_REQUEST_TYPE;
    area->SenderType = sender;
    area->MessageId = id;
    area->DataLength = static_cast<int32_t>(path.size() / 2) - 1;  // wrong, but nobody looks at it
    path.copy(area->Data, sizeof area->Data);
    if (size == 0) {
      size = COMMAND_HEADER_SIZE + path.size() + 1;
    }
    ASSERT_EQ(msgsnd(Queue(), area, size, 0), 0) << strerror(errno);
  }

  static CommandReply Receive(const std::string& request) {
    CommandReply reply = {};
    WaitUntil("a reply comes to " + request,
              [&] { return msgrcv(Queue(), &reply, COMMAND_REPLY_SIZE, 77, IPC_NOWAIT) >= 0; });
    return reply;
  }

  // Sends a request and returns the result in its reply.
  static int Ask(int32_t id, const std::string& path, size_t size = 0) {
    Send(77, id, path, size);
    const CommandReply reply = Receive("request " + std::to_string(id) + " with " + path);
    EXPECT_EQ(reply.SenderType, 1) << path;
    EXPECT_EQ(reply.MessageId, id) << path;
    EXPECT_EQ(reply.DataLength, 4) << path;
    return reply.Result;
  }

  // Starts a command of the shell. Its output goes to the file "output".
  static pid_t Execute(const std::string& command) {
    const pid_t process = fork();
    if (process == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);  // no command outlives the test program
      const std::string script = "exec >output 2>&1; exec " + command;
      execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
      _exit(127);
    }
    commands[process] = command;
    return process;
  }

  // Waits for a program's end and returns its exit status, or minus the signal that ended it. The
  // signal that is given is repeated: if it came just before vexamgr begins to wait for a request,
  // vexamgr would notice it only after that request.
  static int End(pid_t process, int signal = 0) {
    int status;
    WaitUntil("this ends: " + commands[process], [&] {
      kill(process, signal);
      return waitpid(process, &status, WNOHANG) != 0;
    });
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  // Runs a command to its end, and returns its exit status, a blank and its output.
  static std::string Run(const std::string& command) {
    const int status = End(Execute(command));
    return std::to_string(status) + " " + Take("output");
  }

  // What to put before a command so that strace(1) tampers with its system calls:
  // "fsync:error=EIO:when=3" makes the third fsync(2) fail, "openat:signal=KILL:when=1 -P log"
  // kills the command at its first openat(2) of "log". The command keeps its process id, thanks
  // to -D, and does not look for leaks, which it can't under strace.
  static std::string With(const std::string& fault) {
    return "strace -D -e quiet=all -o /dev/null -E ASAN_OPTIONS=detect_leaks=0 -e inject=" + fault +
           " ";
  }

  // Waits until a fact holds, for 10 s at most. Else fails where it was called, and ends the test.
  static void WaitUntil(const std::string& fact, const std::function<bool()>& holds,
                        const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    for (int milliseconds = 0; !holds(); ++milliseconds) {
      if (milliseconds == 10000) {
        ADD_FAILURE_AT(file, line) << "waited in vain until " << fact;
        throw std::runtime_error("a wait in vain");
      }
      usleep(1000);
    }
  }

  // Whether a process or a thread sleeps, as it does while it waits for a message or a lock.
  static bool Sleeps(pid_t id) {
    // Not /proc/ID/stat: qemu-arm invents this file for the process that it runs, without a state.
    const std::string name = std::to_string(id);
    std::ifstream status("/proc/" + name + "/task/" + name + "/stat");
    std::string number, program, state;
    status >> number >> program >> state;
    return state == "S";
  }

  static inline std::map<pid_t, std::string> commands;  // that Execute has started
  std::optional<VexaManager> manager;
  std::future<int> served;
  std::atomic<pid_t> servingThread;
  std::string folder = testing::TempDir() + "vexamgr-XXXXXX";
};

#endif
