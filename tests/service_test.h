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
#include <optional>

#include "ipc/command_messages.h"
#include "manager/vexa_manager.h"

// Expects the lines, one after the other, somewhere in the log since it was last taken. A line of
// it is "priority text": 27 is LOG_DAEMON | LOG_ERR and 30 LOG_DAEMON | LOG_INFO.
#define EXPECT_LOGGED(lines) EXPECT_PRED_FORMAT2(testing::IsSubstring, lines, Take("log"))

// A service on the database "db" and the watch directory "w" in a new working directory. A test
// that fails, or has not ended after 20 s, shows the log and what the last program printed.
class ServiceTest : public testing::Test {
 protected:
  // Puts the process into an IPC namespace, where the queue's fixed key meets no service of the
  // machine, and into a network namespace, where lo may become eth0.
  static void SetUpTestSuite() {
    const int namespaces = CLONE_NEWIPC | CLONE_NEWNET;
    if (unshare(namespaces) != 0) {  // who is not root must first be the root of a user namespace
      const std::string user = std::to_string(geteuid());
      const std::string group = std::to_string(getegid());
      ASSERT_EQ(unshare(namespaces | CLONE_NEWUSER), 0) << "no namespaces: " << strerror(errno);
      Write("/proc/self/setgroups", "deny");
      Write("/proc/self/uid_map", "0 " + user + " 1");
      Write("/proc/self/gid_map", "0 " + group + " 1");
    }
  }

  void SetUp() override {
    ASSERT_NE(mkdtemp(folder.data()), nullptr) << folder;
    std::filesystem::current_path(folder);
    std::filesystem::create_directory("w");
    signal(SIGALRM, [](int) {
      execl("/bin/sh", "sh", "-c",
            "touch log output; echo 'Ended after 20 s. The log since it was last taken:'; cat log;"
            "echo 'What the last program printed:'; cat output; exit 1",
            nullptr);
    });
    alarm(20);
  }

  void TearDown() override {
    if (HasFailure()) {
      ADD_FAILURE() << "The log since it was last taken:\n"
                    << Take("log") << "What the last program printed:\n"
                    << Take("output");
    }
    msgctl(Queue(), IPC_RMID, nullptr);
    served = {};  // waits for the thread
    std::filesystem::remove_all(folder);
  }

  // Populates an empty database: a manager that is stopped before its start serves nothing.
  int Populate() {
    manager.emplace("db", -1, "w");
    manager->Stop();
    return manager->Start();
  }

  // Serves requests in a thread of this process, until the queue is removed.
  void Serve() {
    ASSERT_EQ(Populate(), 0);
    manager.emplace("db", Queue(IPC_CREAT | 0600), "w");
    served = std::async(std::launch::async, [this] {
      servingThread = gettid();
      return manager->Start();
    });
    ASSERT_EQ(Ask(COMMAND_DELETE_CLIP, ""), -1);
    Take("log");
  }

  static std::string Write(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::absolute(path).parent_path());
    std::ofstream file(path);
    file << content;
    EXPECT_TRUE(file.flush()) << path << ": " << strerror(errno);
    return path;
  }

  // Describes a clip from 100 to 100 s by motion, whose media has the description's own path.
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

  // The values that SQL statements yield, a "|" after each.
  static std::string Query(const std::string& sql) {
    const auto append = [](void* values, int columns, char** row, char** /*names*/) {
      for (int i = 0; i < columns; ++i) {
        static_cast<std::string*>(values)->append(row[i] != nullptr ? row[i] : "NULL").append("|");
      }
      return 0;
    };
    std::string values;
    sqlite3* connection;
    sqlite3_open("db", &connection);
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), append, &values, nullptr), SQLITE_OK)
        << sql << ": " << sqlite3_errmsg(connection);
    sqlite3_close(connection);
    return values;
  }

  // The id of the queue with the key that other programs know, or -1.
  static int Queue(int flags = 0) { return msgget(static_cast<key_t>(0xECDB0123), flags); }

  static msqid_ds QueueStatus() {
    msqid_ds status = {};
    EXPECT_EQ(msgctl(Queue(), IPC_STAT, &status), 0) << strerror(errno);
    return status;
  }

  // Sends a request with a path and its NUL, or just `size` bytes of its text.
  static void Send(int32_t sender, int32_t id, const std::string& path, size_t size = 0) {
    CommandMessage area[2] = {};  // room for a request that is too long
    area->mtype = COMMAND_REQUEST_TYPE;
    area->SenderType = sender;
    area->MessageId = id;
    path.copy(area->Data, sizeof area->Data);
    if (size == 0) {
      size = COMMAND_HEADER_SIZE + path.size() + 1;
    }
    ASSERT_EQ(msgsnd(Queue(), area, size, 0), 0) << strerror(errno);
  }

  static CommandReply Receive(int32_t sender) {
    CommandReply reply = {};
    WaitUntil("a reply comes",
              [&] { return msgrcv(Queue(), &reply, COMMAND_REPLY_SIZE, sender, IPC_NOWAIT) >= 0; });
    return reply;
  }

  // Sends a request and returns the result in its reply.
  static int Ask(int32_t id, const std::string& path, size_t size = 0) {
    Send(77, id, path, size);
    const CommandReply reply = Receive(77);
    EXPECT_EQ(reply.SenderType, 1) << path;
    EXPECT_EQ(reply.MessageId, id) << path;
    EXPECT_EQ(reply.DataLength, 4) << path;
    return reply.Result;
  }

  // Starts a command of the shell, which says in its output if it can't.
  static pid_t Execute(const std::string& command) {
    const pid_t process = fork();
    if (process == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);  // not to outlive a test that is killed
      const std::string script = "exec >output 2>&1; exec " + command;
      execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
      _exit(127);
    }
    return process;
  }

  // Awaits a program's end and returns its exit status, or minus the signal that ended it. Repeats
  // the signal: vexamgr notices one that comes between two requests only after the next.
  static int End(pid_t process, int signal = 0) {
    int status;
    while (waitpid(process, &status, WNOHANG) == 0) {
      kill(process, signal);
      usleep(1000);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  // Runs a command to its end. Returns its exit status, a blank and its output.
  static std::string Run(const std::string& command) {
    const int status = End(Execute(command));
    return std::to_string(status) + " " + Take("output");
  }

  static void WaitUntil(const std::string& fact, const std::function<bool()>& holds) {
    for (int milliseconds = 0; !holds(); ++milliseconds) {
      if (milliseconds == 10000) {
        throw std::runtime_error("waited in vain until " + fact);
      }
      usleep(1000);
    }
  }

  std::optional<VexaManager> manager;
  std::future<int> served;  // what the serving thread's Start returned
  std::atomic<pid_t> servingThread;
  std::string folder = testing::TempDir() + "vexamgr-XXXXXX";
};

#endif
