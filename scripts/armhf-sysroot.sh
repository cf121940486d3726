#!/usr/bin/env bash
# Makes build/armhf-sysroot, the 32-bit target's libraries and headers: Debian's armhf packages,
# downloaded with package lists of their own and unpacked. The machine's dpkg learns of no foreign
# architecture. Does nothing if the folder is there already.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
sysroot=$PWD/build/armhf-sysroot
if [ -d "$sysroot" ]; then
  exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
mkdir -p "$work"/{lists/partial,cache/archives/partial,empty,packages}
touch "$work/status"
mirror=$(debian_mirror)
# Only bookworm itself, without its updates.
echo "deb $mirror bookworm main" >"$work/sources.list"
options=(
  -o APT::Architecture=armhf -o APT::Architectures=armhf -o APT::Sandbox::User=root
  -o Dir::Etc::sourcelist="$work/sources.list" -o Dir::Etc::sourceparts="$work/empty"
  -o Dir::State::lists="$work/lists" -o Dir::State::status="$work/status" -o Dir::Cache="$work/cache"
)
echo "Downloading Debian's armhf packages"
apt-get "${options[@]}" update -qq
cd "$work/packages"
apt-get "${options[@]}" download -qq libc6 libgcc-s1 libstdc++6 libsqlite3-0 libsqlite3-dev \
  libtinyxml2-9 libtinyxml2-dev libgtest-dev
for package in *.deb; do
  dpkg-deb --extract "$package" "$work/sysroot"
done
mkdir -p "$(dirname "$sysroot")"
mv "$work/sysroot" "$sysroot"
