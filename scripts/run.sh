#!/usr/bin/env bash
# Installs what is missing, builds vexamgr and runs it in the foreground.
set -euo pipefail
source=$(cd "$(dirname "$0")/.." && pwd)
. "$source/scripts/packages.sh"

usage="Usage: run.sh <databaseFilename> <watchDirectory>
       run.sh

Installs what is missing from Debian's packages and builds vexamgr into build/release. With two names,
prepares the database and runs vexamgr in the foreground until Ctrl-C. Ctrl-C during a population takes
effect when the population has ended. Without arguments, shows vexamgr at work on sample clips. The log
appears in the terminal and in the system log. Run this script as yourself, without sudo in front: it
calls sudo for the packages alone."
if [ $# -eq 1 ] && [[ $1 == -h || $1 == --help ]]; then
  echo "$usage"
  exit
fi
if [ $# -eq 2 ]; then
  database=$1
  # A shell's completion ends the name in a slash, with which vexamgr would misread the paths of deletions.
  watch=$2
  while [[ $watch == ?*/ ]]; do
    watch=${watch%/}
  done
elif [ $# -ne 0 ]; then
  echo "$usage" >&2
  exit 2
fi

install_packages "${build_packages[@]}" sqlite3
echo "Building into build/release"
(
  cd "$source"
  cmake --preset release >/dev/null
  cmake --build --preset release --target all log_to_stderr
)
programs=$source/build/release

if [ $# -eq 0 ] && in_ipc_namespace true 2>/dev/null; then
  in_ipc_namespace "$source/scripts/demo.sh" "$programs"
  exit
fi
# Two services would share the requests, and the end of one would take the queue from the other. One
# that is populating its database does not answer yet.
if answer=$("$programs/vexactl" --timeout 2 ping 2>&1) ||
  { [[ $answer == *"no answer"* ]] && grep -qsx vexamgr /proc/[0-9]*/comm; }; then
  echo "vexamgr is running here already. Stop it first: systemctl stop vexamgr, or Ctrl-C where run.sh runs it." >&2
  exit 1
fi
if [ $# -eq 0 ]; then
  echo "No IPC namespace can be made here: the demonstration runs without one."
  exec "$source/scripts/demo.sh" "$programs"
fi
vexactl=$programs/vexactl
"$vexactl" prepare "$database" "$watch"
# If the population is cut short, this inserts what it left out. It ends with its parent process, which is this
# shell and, after the exec below, vexamgr.
setpriv --pdeathsig TERM "$vexactl" complete --pending "$database" "$watch" &
exec env LD_LIBRARY_PATH="$programs" LD_PRELOAD=liblog_to_stderr.so \
  "$programs/vexamgr" "$database" "$watch"
