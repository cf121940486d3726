#!/usr/bin/env bash
# Builds the Debian package, checks it and tries it in a fresh Debian tree: piuparts installs, removes
# and purges it, autopkgtest runs debian/tests. Only root can make such a tree; the script exits with 75
# where it can't be made. What the tools write goes to build/package/*.log, and is shown if they fail.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

. scripts/fresh-tree.sh
begin_work "$PWD/build/package"
install_packages "${library_packages[@]}" build-essential debhelper lintian devscripts piuparts \
  autopkgtest

# Builds a copy of the source, since the products go to its parent folder.
build() {
  copy_source "$1/vexamgr"
  logged build env --chdir "$1/vexamgr" dpkg-buildpackage -us -uc
}

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

make_tree bookworm
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
logged piuparts apart piuparts --existing-chroot "$scratch/bookworm" --distribution bookworm \
  --keep-sources-list --tmpdir "$scratch" --scriptsdir "$scratch/hooks" \
  "${left_by_systemd[@]/#/--ignore=}" "$products"/vexamgr_*.deb

echo "Running its tests"
logged autopkgtest apart autopkgtest "$products"/*.changes -- chroot "$scratch/bookworm"
echo "The package works, and after its purge nothing of it was left but its user."
