#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <fstream>

// Enters namespaces, through a user namespace if need be, to meet no other process's queue.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const auto user = geteuid(), group = getegid();
  if (unshare(CLONE_NEWIPC | CLONE_NEWNET) != 0 &&
      unshare(CLONE_NEWIPC | CLONE_NEWNET | CLONE_NEWUSER) != 0) {
    return perror("unshare"), 1;
  }
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << user << " " << user << " 1";
  std::ofstream("/proc/self/gid_map") << group << " " << group << " 1";
  return RUN_ALL_TESTS();
}
