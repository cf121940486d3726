# shellcheck shell=sh
# shellcheck disable=SC2086 # as_service is several words
# Functions for the package's tests, which run the service as its user, on the files and with the lines of its
# unit.

unit_line() {
  sed -n "s/^$1=//p" /lib/systemd/system/vexamgr.service | sed 's,%S,/var/lib,; s/\$\$/$/g'
}

as_service='setpriv --reuid vexamgr --regid vexamgr --clear-groups'

# Both tests run in one tree.
make_folders() {
  rm -rf /srv/recordings /var/lib/vexamgr
  mkdir --parents /srv/recordings
  install --directory --owner vexamgr --group vexamgr /var/lib/vexamgr
  WATCH_DIRECTORY=/srv/recordings
  export WATCH_DIRECTORY
}

# write_clips FIRST LAST
write_clips() {
  for clip in $(seq "$1" "$2"); do
    printf '<clip><dateFrom>2013-05-21T14:03:27Z</dateFrom><dateTo>2013-05-21T14:05:00Z</dateTo>
<trigger>MOTION</trigger><path>/srv/recordings/clip%d.mp4</path></clip>' "$clip" >"/srv/recordings/clip$clip.xml"
  done
}

prepare() {
  $as_service sh -c "$(unit_line ExecCondition)"
}

start() {
  $as_service sh -c "exec $(unit_line ExecStart)" &
  service=$!
  $as_service sh -c "$(unit_line ExecStartPost)"
}

wait_until_served() {
  until vexactl ping; do
    kill -0 "$service"
    sleep 0.1
  done
}

wait_until_complete() {
  while [ -e /var/lib/vexamgr/catalogue.db-incomplete ]; do
    kill -0 "$service"
    sleep 0.1
  done
}

# Repeats the signal: see vexamgr(8), Signals.
stop() {
  while kill "$service"; do
    sleep 0.1
  done
  wait "$service"
}

catalogue() {
  sqlite3 -readonly -cmd '.timeout 5000' /var/lib/vexamgr/catalogue.db "$1"
}

# Prints an example of vexamgr(8).
example() {
  zcat /usr/share/man/man8/vexamgr.8.gz | sed -n "/example $1\$/,/^\.Ed/p" | sed '1,2d;$d;s/\\e/\\/g'
}
