#!/usr/bin/env bash
# Builds the Debian package, tries it in a fresh Debian root and checks that its removal leaves no file
# behind. For root, who alone can make such a folder; exits 75 where it can't be made.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

if [ "$(id -u)" -ne 0 ]; then
  echo "Only root can make a fresh Debian root" >&2
  exit 75
fi
install_packages "${library_packages[@]}" build-essential debhelper lintian devscripts debootstrap

echo "Building the package"
# In a copy: the products go to its parent folder.
rm -rf build/package
mkdir -p build/package/source
tar --exclude=./build --exclude=./.git --create . | tar --extract --directory build/package/source
(cd build/package/source && dpkg-buildpackage -b -us -uc >../log 2>&1) ||
  { cat build/package/log; exit 1; }
lintian --allow-root --fail-on error,warning build/package/vexamgr_*.changes
package=$(echo build/package/vexamgr_*.deb)

root=$(mktemp -d)
chmod 755 "$root"
trap 'rm -rf --one-file-system "$root" "$root.log"' EXIT
inside() {
  unshare --ipc --pid --fork --kill-child --mount --mount-proc="$root/proc" \
    chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive "$@" </dev/null
}
install() { inside apt-get install -y -qq --no-install-recommends -o Dpkg::Use-Pty=0 "$@" >/dev/null; }
files() {
  find "$root" \( -path "$root/proc" -o -path "$root/run" -o -path "$root/var/cache" \
    -o -path "$root/var/log" -o -path "$root/var/lib/apt" -o -path "$root/var/lib/dpkg" \) -prune \
    -o -print | sort
}

echo "Making a fresh Debian root"
debootstrap --variant=minbase bookworm "$root" >"$root.log" || { cat "$root.log"; exit 75; }
# What the package depends on, what the manual pages refer to, and what checks them.
install systemd mandoc manpages manpages-dev sqlite3
files >"$root/tmp/before"

echo "Installing $package"
cp "$package" "$root/tmp/vexamgr.deb"
install /tmp/vexamgr.deb
# Without the marks of control flow protection: Debian 12's own start files lack them.
hardening-check --nocfprotection --quiet "$root/usr/sbin/vexamgr" "$root/usr/bin/vexactl"
complaints=$(inside systemd-analyze verify --man=no vexamgr.service 2>&1) || true
[ -z "$complaints" ] || { echo "$complaints"; exit 1; }
inside makewhatis
for page in man8/vexamgr.8.gz man1/vexactl.1.gz; do  # mandoc inflates only the first of several
  inside mandoc -Tlint /usr/share/man/$page
done

echo "Compiling the examples of vexamgr(8) against the installed header"
example() {
  zcat "$root/usr/share/man/man8/vexamgr.8.gz" |
    sed -n "/example $1\$/,/^\.Ed/p" | sed '1,2d;$d;s/\\e/\\/g'
}
warnings=(-Wall -Wextra -Wpedantic -Werror -I "$root/usr/include")
example insert_clip.c | gcc -std=gnu11 "${warnings[@]}" -x c - -o "$root/tmp/insert_clip"
example update_recording.cpp | g++ -std=c++17 "${warnings[@]}" -x c++ - -o "$root/tmp/update_recording"

cat >"$root/tmp/try" <<'TRY'
set -eux
cd /tmp
mkdir watch
cat >watch/clip.xml <<CLIP
<clip><dateFrom>2013-05-21T14:03:27Z</dateFrom><dateTo>2013-05-21T14:05:00Z</dateTo>
<trigger>MOTION</trigger><path>/tmp/watch/clip.mp4</path></clip>
CLIP
install --directory --owner vexamgr /var/lib/vexamgr
vexamgr /var/lib/vexamgr/catalogue.db watch &
service=$!
until vexactl ping; do kill -0 $service; done 2>/dev/null
vexactl insert watch/clip.xml
test "$(./insert_clip watch/clip.xml)" = 0
test "$(./update_recording)" = 0
vexactl update 1 --content "Loading bay" --source-id cam-7 --source-name "Bay camera" \
  --source-location "Gate 3" --source-description "Driver's side" --source-address urn:camera7 \
  --max-retention-time 2592000
vexactl delete watch/clip.xml
test "$(sqlite3 /var/lib/vexamgr/catalogue.db \
  'SELECT Content, (SELECT COUNT(*) FROM Track) FROM Recording')" = 'Loading bay|0'
kill $service
wait $service
TRY
inside sh /tmp/try

echo "Removing it"
inside apt-get purge -y -qq -o Dpkg::Use-Pty=0 --autoremove vexamgr >/dev/null
rm -r "$root"/tmp/{try,watch,insert_clip,update_recording,vexamgr.deb}
inside sh -c 'rm -f /usr/share/man/mandoc.db'
files | diff "$root/tmp/before" - && echo "The package works, and its removal left nothing behind."
