#ifndef VEXAMGR_TESTS_SERVICE_TEST_H
#define VEXAMGR_TESTS_SERVICE_TEST_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sqlite3.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "ipc/requester.h"

// Runs vexamgr itself, on the database "db" and the watch directory "w" in a folder of the test's
// own, which is the working directory, and in this process's private IPC namespace.
class ServiceTest : public testing::Test {
 protected:
  static constexpr std::chrono::milliseconds kPatience{60000};  // only a failure takes so long

  ServiceTest() : folder(testing::TempDir() + "vexamgr-XXXXXX") {
    EXPECT_TRUE(mkdtemp(folder.data()) && pipe2(logPipe, O_CLOEXEC) == 0);
    std::filesystem::current_path(folder);
    std::filesystem::create_directory("w");
  }

  ~ServiceTest() override {
    if (service > 0) {
      Stop(SIGKILL);
    }
    msgctl(Queue(), IPC_RMID, nullptr);
    std::filesystem::remove_all(folder);
  }

  // How to start a program: as built with the tests, or as the environment says, which may name one
  // built for another processor.
  static std::string Command(const char* variable, const char* built) {
    const char* other = getenv(variable);
    return other != nullptr ? other : built;
  }

  // The rows that a query yields, as "a|b\n" each.
  static std::string Query(const std::string& sql) {
    std::string rows;
    const auto append = [](void* text, int columns, char** values, char** /*names*/) {
      for (int i = 0; i < columns; ++i) {
        *static_cast<std::string*>(text) += std::string(i > 0 ? "|" : "") + values[i];
      }
      *static_cast<std::string*>(text) += "\n";
      return 0;
    };
    sqlite3* connection;
    sqlite3_open("db", &connection);
    sqlite3_exec(connection, sql.c_str(), append, &rows, nullptr);
    sqlite3_close(connection);
    return rows;
  }

  // Both write a file, with its folder, and return its path.
  static std::string Write(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << content;
    return path;
  }
  static std::string WriteClip(const std::string& path, const std::string& media = "media",
                               const std::string& from = "1970-01-01T00:01:40Z",
                               const std::string& to = "1970-01-01T00:03:20Z") {
    return Write(path, "<clip><dateFrom>" + from + "</dateFrom><dateTo>" + to +
                           "</dateTo><trigger>MOTION</trigger><path>" + media + "</path></clip>");
  }

  // Starts the service and waits for a log line: after "Starting", signals reach the manager.
  void Start(const std::string& line = "Starting", const std::string& arguments = "db w") {
    TakeLog();
    const std::string command = "exec " + Command("VEXAMGR", VEXAMGR) + " " + arguments;
    service = fork();
    if (service == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);  // not to outlive a test that is killed
      setenv("SYSLOG_CAPTURE", std::to_string(dup(logPipe[1])).c_str(), 1);
      setenv("ASAN_OPTIONS", "verify_asan_link_order=0:quarantine_size_mb=1", 1);
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      _exit(127);
    }
    while (log.find(line) == std::string::npos) {
      ASSERT_TRUE(ReadLog(kPatience.count())) << line << " is not in the log:\n" << log;
    }
  }

  // Waits for the service. Returns its exit status, or 1000 and the signal that killed it.
  int End() {
    int status;
    while (waitpid(service, &status, WNOHANG) == 0) {
      ReadLog(1);  // a full log would keep it from ending
    }
    service = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }
  int Stop(int signal = SIGTERM) {
    kill(service, signal);
    return End();
  }

  // What has been logged since the last call, as "priority text" each.
  std::string TakeLog() {
    while (ReadLog(0)) {
    }
    return std::exchange(log, "");
  }

  // Sends a request and returns its result; fails the test if there is no answer.
  static int Send(CommandMessage request, size_t textSize) {
    int32_t result = INT32_MIN;
    EXPECT_EQ(SendRequest(Queue(), &request, textSize, kPatience, &result), 0);
    return result;
  }
  static int Send(int32_t messageId, const std::string& path) {
    CommandMessage request;
    const size_t textSize = MakePathRequest(messageId, path, &request);
    return Send(request, textSize);
  }
  static int Insert(const std::string& path) { return Send(COMMAND_INSERT_CLIP, path); }
  static int Delete(const std::string& path) { return Send(COMMAND_DELETE_CLIP, path); }

  // Sends the first `size` bytes of a header and data, without waiting for an answer.
  static void SendRaw(int32_t sender, int32_t messageId, const std::string& data, size_t size = 0) {
    CommandMessage area[2] = {{COMMAND_REQUEST_TYPE, sender, messageId, -1, {}}, {}};
    data.copy(area->Data, sizeof area->Data);
    EXPECT_EQ(msgsnd(Queue(), area, data.empty() ? size : COMMAND_HEADER_SIZE + data.size(), 0), 0);
  }

  // The bytes of the reply to `sender`; none without a queue or, with IPC_NOWAIT, without a reply.
  static std::string Receive(int32_t sender, int flags = 0) {
    CommandReply reply;
    const ssize_t size = msgrcv(Queue(), &reply, COMMAND_REPLY_SIZE, sender, flags);
    const char* text = reinterpret_cast<char*>(&reply.SenderType);
    return std::string(text, static_cast<size_t>(std::max(size, ssize_t{0})));
  }

  // Waits until a process sleeps, as it does in a blocking call, see proc(5).
  static void WaitUntilAsleep(pid_t process) {
    for (std::string state; state.find(") S") == std::string::npos;) {
      std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
      std::getline(stat, state);
    }
  }

  static int Queue() {
    int id = -1;
    OpenCommandQueue(&id);
    return id;
  }

  pid_t service = -1;
  int logPipe[2];

 private:
  bool ReadLog(int timeout) {
    pollfd ready = {logPipe[0], POLLIN, 0};
    char bytes[4096];
    const bool any = poll(&ready, 1, timeout) == 1;
    log.append(bytes, any ? static_cast<size_t>(read(logPipe[0], bytes, sizeof bytes)) : 0);
    return any;
  }

  std::string folder, log;
};

#endif
