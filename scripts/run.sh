#!/usr/bin/env bash
# Installs what is missing, builds vexamgr and runs it in the foreground:
#   run.sh <databaseFilename> <watchDirectory>   on these, until Ctrl-C
#   run.sh                                       as a demonstration on sample clips
# Its log lines are shown on standard error as well as sent to the system log.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/packages.sh"

install_packages "${build_packages[@]}" sqlite3
echo "Building into build/release"
(
  cd "$root"
  cmake --preset release >/dev/null
  cmake --build --preset release
)
programs=$root/build/release

if [ $# -eq 0 ] && in_ipc_namespace true 2>/dev/null; then
  in_ipc_namespace "$root/scripts/demo.sh" "$programs"
  exit
fi
# Two services would share the requests, and the end of one would take the queue from the other. One
# that is populating its database does not answer yet.
if answer=$("$programs/vexactl" --timeout 2 ping 2>&1) ||
  { [[ $answer == *"no answer"* ]] && grep -qsx vexamgr /proc/[0-9]*/comm; }; then
  echo "vexamgr is running here already: stop it first." >&2
  exit 1
fi
if [ $# -eq 0 ]; then
  echo "No IPC namespace can be made here: the demonstration runs without one."
  exec "$root/scripts/demo.sh" "$programs"
fi
exec env LD_LIBRARY_PATH="$programs" LD_PRELOAD=liblog_to_stderr.so "$programs/vexamgr" "$@"
