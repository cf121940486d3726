#ifndef VEXAMGR_TESTS_SERVICE_TEST_H
#define VEXAMGR_TESTS_SERVICE_TEST_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <optional>
#include <sstream>

#include "ipc/requester.h"
#include "manager/vexa_manager.h"

extern std::function<void()> onLogLine;  // see syslog_capture.cpp

// A manager in this process, on "db" and "w" in a new working directory, in namespaces of its own.
class ServiceTest : public testing::Test {
 protected:
  ServiceTest() : folder(testing::TempDir() + "vexamgr-XXXXXX") {
    std::filesystem::current_path(mkdtemp(folder.data()));
    std::filesystem::create_directory("w");
    setenv("SYSLOG_CAPTURE", (folder + "/log").c_str(), 1);
    signal(SIGALRM, [](int) { execl("/bin/sh", "sh", "-c", "cat log; exit 1", nullptr); });
    alarm(20);  // a test that takes longer, whatever it waits for, shows its log and fails
  }

  ~ServiceTest() override {
    msgctl(Queue(), IPC_RMID, nullptr);
    served = {};  // waits for it
    EXPECT_FALSE(HasFailure()) << "The log:\n" << Take();
    std::filesystem::remove_all(folder);
  }

  int Populate() {
    manager.emplace("db", -1, "w");
    manager->Stop();  // remembered
    return manager->Start();
  }

  // Serves requests in another thread, on a populated database, until the queue is removed.
  void Serve() {
    EXPECT_EQ(Populate(), 0);
    manager.emplace("db", Queue(IPC_CREAT | 0600), "w");
    served = std::async(std::launch::async, [this] { return manager->Start(); });
    EXPECT_EQ(Request(COMMAND_DELETE_CLIP, ""), -1);
    Take();
  }

  static std::string Write(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::absolute(path).parent_path());
    std::ofstream(path) << content;
    return path;
  }
  static std::string WriteClip(const std::string& path) {
    const std::string time = "1970-01-01T00:01:40Z";
    return Write(path, "<r><dateFrom>" + time + "</dateFrom><dateTo>" + time +
                           "</dateTo><trigger>MOTION</trigger><path>" + path + "</path></r>");
  }

  // What a file holds, which is removed: the log, as "priority text" each, or a program's output.
  static std::string Take(const std::string& path = "log") {
    std::ifstream file(path);
    std::filesystem::remove(path);
    return std::string(std::istreambuf_iterator(file), {});
  }

  static bool Logged(const std::string& lines) {
    std::ifstream log("log");
    return std::string(std::istreambuf_iterator(log), {}).find(lines) != std::string::npos;
  }

  // The values that a query yields, a "|" after each.
  static std::string Query(const std::string& sql) {
    const auto append = [](void* text, int columns, char** values, char** /*names*/) {
      for (int i = 0; i < columns; ++i) {
        *static_cast<std::string*>(text) += std::string(values[i]) + "|";
      }
      return 0;
    };
    std::string text;
    sqlite3* connection;
    sqlite3_open("db", &connection);
    sqlite3_exec(connection, sql.c_str(), append, &text, nullptr);
    sqlite3_close(connection);
    return text;
  }

  static int Queue(int flags = 0) { return msgget(COMMAND_QUEUE_KEY, flags); }

  // Sends a header and a path with its NUL, or so many bytes of them.
  static void SendRaw(int32_t sender, int32_t id, const std::string& path, size_t size = 0) {
    CommandMessage area[2] = {{COMMAND_REQUEST_TYPE, sender, id, -1, {}}, {}};
    path.copy(area->Data, sizeof area->Data);
    size = size > 0 ? size : COMMAND_HEADER_SIZE + path.size() + 1;
    EXPECT_EQ(msgsnd(Queue(), area, size, 0), 0);
  }

  // The numbers in the reply to `sender`, all 0 without one.
  static std::vector<int32_t> Receive(int32_t sender, int flags = 0) {
    CommandReply reply = {};
    msgrcv(Queue(), &reply, COMMAND_REPLY_SIZE, sender, flags);
    return {reply.SenderType, reply.MessageId, reply.DataLength, reply.Result};
  }

  static int Request(int32_t id, const std::string& path) {
    SendRaw(77, id, path);
    return Receive(77)[3];
  }

  static pid_t Execute(std::vector<const char*> command, const std::string& blankSeparated) {
    const pid_t process = fork();
    if (process == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);  // not to outlive a test that is killed
      dup2(dup2(creat("output", 0600), STDOUT_FILENO), STDERR_FILENO);
      std::istringstream words(blankSeparated);
      for (std::string word; words >> word;) {
        command.push_back(strdup(word.c_str()));
      }
      command.push_back(nullptr);
      _exit(execvp(command[0], const_cast<char**>(command.data())));
    }
    return process;
  }

  // Awaits a program's end, repeating a signal: between two requests, it is noticed after the next.
  static int End(pid_t process, int signal = 0) {
    int status;
    for (; waitpid(process, &status, WNOHANG) == 0; usleep(1000)) {
      kill(process, signal);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  std::optional<VexaManager> manager;
  std::future<int> served;
  std::string folder;
};

#endif
