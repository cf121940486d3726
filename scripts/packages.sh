# shellcheck shell=bash
# shellcheck disable=SC2034 # the scripts that source this file use its lists
# Sourced by the other scripts.

# What every build needs.
library_packages=(cmake libsqlite3-dev libtinyxml2-dev)
build_packages=(g++ ninja-build "${library_packages[@]}")
test_packages=(libgtest-dev iproute2 sqlite3 strace)

# Installs those of the named Debian packages that are missing, through sudo when not root. Shows apt's
# output only if that fails.
install_packages() {
  local package output missing=() as_root=()
  for package in "$@"; do
    dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null |
      grep -qx installed || missing+=("$package")
  done
  if [ ${#missing[@]} -eq 0 ]; then
    return 0
  fi
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "There is no sudo here. As root, run this, then ${0##*/} again as yourself:" >&2
      echo "    apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
      return 1
    fi
    as_root=(sudo)
  fi
  echo "Installing from Debian's packages: ${missing[*]}"
  if ! output=$({
    "${as_root[@]}" apt-get update -qq && "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y -qq --no-install-recommends "${missing[@]}"
  } 2>&1 </dev/null); then
    echo "$output" >&2
    return 1
  fi
}

# Prints the mirror from which the machine takes the packages of Debian 12.
debian_mirror() {
  local mirror
  # shellcheck disable=SC2016 # apt-get replaces it
  mirror=$(apt-get indextargets --format '$(REPO_URI)' \
    'Created-By: Packages' 'Codename: bookworm' 'Component: main' | head -n 1)
  if [ -z "$mirror" ]; then
    echo "apt knows no mirror of bookworm: run this on Debian 12, after apt-get update" >&2
    return 1
  fi
  echo "$mirror"
}

# Runs a command as the same user in an IPC namespace of its own, apart from a service that runs.
in_ipc_namespace() {
  local user=()
  if [ "$(id -u)" -ne 0 ]; then
    user=(--user --map-current-user)
  fi
  unshare --ipc "${user[@]}" "$@"
}
