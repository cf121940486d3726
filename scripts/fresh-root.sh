# Sourced by the scripts that work in fresh Debian roots, for root, who alone can make one; ends the script
# with 75 where none can be made. The script names first, as $products, the folder for what it leaves.

if [ "$(id -u)" -ne 0 ]; then
  echo "Only root can make a fresh Debian root" >&2
  exit 75
fi
rm -rf "$products"
mkdir -p "$products"
scratch=$(mktemp -d)
chmod 755 "$scratch"
trap 'rm -rf --one-file-system "$scratch"' EXIT
# Lets a signal wait for the command that runs, which would go on to write there.
trap 'exit 1' HUP INT TERM

# Runs a command, without input; what it writes goes to a log, shown if it fails: logged LOG COMMAND...
logged() {
  local log=$products/$1.log
  shift
  "$@" </dev/null >"$log" 2>&1 || { cat "$log"; return 1; }
}

# Runs a command apart: it meets no other service's queue, and its mounts and processes end with it.
apart() {
  unshare --ipc --mount --pid --fork --kill-child --mount-proc "$@"
}

# Copies the source to a new folder.
copy_source() {
  mkdir -p "$1"
  tar --exclude=./build --exclude=./.git --create . | tar --extract --directory "$1"
}

# Makes $scratch/RELEASE, a root of that release with the named packages: make_root RELEASE [PACKAGE...]
make_root() {
  local release=$1 mirror packages
  shift
  packages=$(IFS=,; echo "$*")
  echo "Making a fresh Debian root: $release"
  if ! install_packages debootstrap || ! mirror=$(debian_mirror) ||
    ! logged "debootstrap-$release" apart debootstrap --variant=minbase \
      ${packages:+"--include=$packages"} "$release" "$scratch/$release" "$mirror"; then
    exit 75
  fi
}
