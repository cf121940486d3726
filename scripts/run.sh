#!/usr/bin/env bash
# Installs what is missing, builds vexamgr and runs it in the foreground:
#   run.sh <databaseFilename> <watchDirectory>   on these, until Ctrl-C
#   run.sh                                       as a demonstration on sample clips
# Its log lines are shown on standard error as well as sent to the system log.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/packages.sh"

install_packages g++ cmake ninja-build libsqlite3-dev libtinyxml2-dev sqlite3
echo "Building into build/release"
(
  cd "$root"
  cmake --preset release >/dev/null
  cmake --build --preset release
)
programs=$root/build/release

if [ $# -gt 0 ]; then
  exec env LD_LIBRARY_PATH="$programs" LD_PRELOAD=liblog_to_stderr.so "$programs/vexamgr" "$@"
fi
# An IPC namespace of its own keeps the demonstration apart from a service that is running already.
namespace=(--ipc)
if [ "$(id -u)" -ne 0 ]; then
  namespace+=(--user --map-current-user)
fi
exec unshare "${namespace[@]}" "$root/scripts/demo.sh" "$programs"
