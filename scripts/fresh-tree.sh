# shellcheck shell=bash
# Functions for the scripts that work in fresh Debian trees, which only root can make. A script sources
# packages.sh before this file, and calls begin_work before any other of these functions.

# Makes PRODUCTS an empty folder, for the files that the script leaves, and makes the folder $scratch, which is
# removed when the script ends. Ends the script with 75 unless root runs it: begin_work PRODUCTS
begin_work() {
  if [ "$(id -u)" -ne 0 ]; then
    echo "Only root can make a fresh Debian tree" >&2
    exit 75
  fi
  products=$1
  rm -rf "$products"
  mkdir -p "$products"
  scratch=$(mktemp -d)
  chmod 755 "$scratch"
  trap 'rm -rf --one-file-system "$scratch"' EXIT
  # With this trap, bash ends only after the command in progress. Otherwise that command would go on to write to
  # $scratch.
  trap 'exit 1' HUP INT TERM
}

# Runs a command without input. Its output goes to a log, which is shown if the command fails:
# logged LOG COMMAND...
logged() {
  local log=$products/$1.log
  shift
  "$@" </dev/null >"$log" 2>&1 || { cat "$log"; return 1; }
}

# Runs a command in namespaces of its own: it meets no other service's queue, and its mounts and processes
# end with it.
apart() {
  unshare --ipc --mount --pid --fork --kill-child --mount-proc "$@"
}

# Copies the source to a new folder.
copy_source() {
  mkdir -p "$1"
  tar --exclude=./build --exclude=./.git --create . | tar --extract --directory "$1"
}

# Makes the Debian tree $scratch/RELEASE of that release with the named packages. Ends the script with 75
# where it can't be had: make_tree RELEASE [PACKAGE...]
make_tree() {
  local release=$1 mirror packages
  shift
  packages=$(IFS=,; echo "$*")
  echo "Making a fresh Debian tree: $release"
  if ! install_packages debootstrap || ! mirror=$(debian_mirror) ||
    ! logged "debootstrap-$release" apart debootstrap --variant=minbase \
      ${packages:+"--include=$packages"} "$release" "$scratch/$release" "$mirror"; then
    exit 75
  fi
}
