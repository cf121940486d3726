#!/usr/bin/env bash
# Builds the Debian package, checks it and tries it in a fresh Debian root: piuparts installs, removes
# and purges it, autopkgtest runs debian/tests. For root, who alone can make such a root; exits 75 where
# it can't be made. What the tools write goes to build/package/*.log, and is shown if they fail.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

if [ "$(id -u)" -ne 0 ]; then
  echo "Only root can make a fresh Debian root" >&2
  exit 75
fi
install_packages "${library_packages[@]}" build-essential debhelper lintian devscripts debootstrap \
  piuparts autopkgtest

products=$PWD/build/package
scratch=$(mktemp -d)
chmod 755 "$scratch"
trap 'rm -rf --one-file-system "$scratch"' EXIT

# Runs a command, without input; what it writes is shown if it fails.
logged() {
  local log=$products/$1.log
  shift
  "$@" </dev/null >"$log" 2>&1 || { cat "$log"; return 1; }
}

# Builds a copy of the source, since the products go to its parent folder.
build() {
  mkdir -p "$1/vexamgr"
  tar --exclude=./build --exclude=./.git --create . | tar --extract --directory "$1/vexamgr"
  logged build env --chdir "$1/vexamgr" dpkg-buildpackage -us -uc
}

# Runs a command apart: it meets no other service's queue, and its mounts and processes end with it.
apart() {
  unshare --ipc --mount --pid --fork --kill-child --mount-proc "$@"
}

rm -rf "$products"
mkdir -p "$products"
echo "Building the package twice"
build "$products"
build "$scratch/elsewhere"
for product in "$products"/*.{deb,dsc,tar.xz}; do
  cmp "$product" "$scratch/elsewhere/${product##*/}"
done

echo "Checking it"
# The suppressed tag asks for an init script: for other inits the documentation has a line of inittab.
TMPDIR=$scratch lintian --allow-root --display-info --pedantic --fail-on error,warning,info,pedantic \
  --suppress-tags package-supports-alternative-init-but-no-init.d-script "$products"/*.changes
# Without the marks of control flow protection: Debian 12's own start files lack them.
hardening-check --nocfprotection --quiet \
  "$products"/vexamgr/debian/vexamgr/usr/{sbin/vexamgr,bin/vexactl}

echo "Making a fresh Debian root"
logged debootstrap debootstrap --variant=minbase bookworm "$scratch/root" || exit 75

echo "Installing, removing and purging it"
# A removal is to keep the catalogue, a purge is not.
mkdir "$scratch/hooks"
cat >"$scratch/hooks/pre_remove_catalogue" <<'HOOK'
#!/bin/sh
install --directory --owner vexamgr /var/lib/vexamgr && touch /var/lib/vexamgr/catalogue.db
HOOK
cat >"$scratch/hooks/post_remove_catalogue" <<'HOOK'
#!/bin/sh
test -e /var/lib/vexamgr/catalogue.db
HOOK
chmod +x "$scratch"/hooks/*
left_by_systemd=(/root/.ssh/ /var/{cache,lib,log}/private/ /var/lib/systemd/{coredump,pstore}/)
logged piuparts apart piuparts --existing-chroot "$scratch/root" --distribution bookworm \
  --keep-sources-list --tmpdir "$scratch" --scriptsdir "$scratch/hooks" \
  "${left_by_systemd[@]/#/--ignore=}" "$products"/vexamgr_*.deb

echo "Running its tests"
logged autopkgtest apart autopkgtest "$products"/*.changes -- chroot "$scratch/root"
echo "The package works, and its removal left nothing behind."
