#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <fstream>

// Enters an IPC namespace in which the queue's fixed key meets no other process. Who is not root
// needs a user namespace for that and stays the same user in it, see user_namespaces(7).
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWIPC) != 0 && unshare(CLONE_NEWIPC | CLONE_NEWUSER) != 0) {
    return perror("unshare"), 1;
  }
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << user << " " << user << " 1";
  std::ofstream("/proc/self/gid_map") << group << " " << group << " 1";
  return RUN_ALL_TESTS();
}
