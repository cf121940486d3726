#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <fstream>

static bool WriteTo(const char* path, const std::string& text) {
  return static_cast<bool>(std::ofstream(path) << text << std::flush);
}

// Puts this process into an IPC namespace, so that the queue's fixed key meets no service of the
// machine, and into a network namespace, where lo may be renamed to eth0.
static bool EnterNamespaces() {
  const int namespaces = CLONE_NEWIPC | CLONE_NEWNET;
  if (unshare(namespaces) == 0) {
    return true;
  }
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  // Who is not root needs a user namespace, and in that the id he had.
  return unshare(namespaces | CLONE_NEWUSER) == 0 && WriteTo("/proc/self/setgroups", "deny") &&
         WriteTo("/proc/self/uid_map", user + " " + user + " 1") &&
         WriteTo("/proc/self/gid_map", group + " " + group + " 1");
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!EnterNamespaces()) {
    perror("The tests cannot enter namespaces of their own");
    return 1;
  }
  return RUN_ALL_TESTS();
}
