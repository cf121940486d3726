#!/usr/bin/env bash
# Shows vexamgr at work on sample clips in a temporary folder. Started by run.sh, where no other service
# answers, with the folder of the programs as its argument.
set -euo pipefail
programs=$1
folder=$(mktemp -d)
service=
# Repeats the signal: one that comes just before the service begins to wait is noticed only after the next
# request.
stop_service() {
  while kill -TERM "$service" 2>/dev/null; do
    sleep 0.1
  done
}
# shellcheck disable=SC2317 # the trap calls it
end() {
  if [ -n "$service" ]; then
    stop_service
  fi
  rm -rf "$folder"
}
trap end EXIT

# write_clip NAME FROM TO TRIGGER
write_clip() {
  mkdir -p "$(dirname "watch/$1")"
  cat >"watch/$1.xml" <<CLIP
<?xml version="1.0" encoding="UTF-8"?>
<clip>
  <dateFrom>$2</dateFrom>
  <dateTo>$3</dateTo>
  <trigger>$4</trigger>
  <path>/mnt/sd/recordings/$1.mp4</path>
</clip>
CLIP
}

show_rows() {
  echo
  echo "The tracks:"
  sqlite3 -readonly -table catalogue.db 'SELECT * FROM Track'
  echo "The recording:"
  sqlite3 -readonly -table catalogue.db \
    'SELECT Id, DateFrom, DateTo, Content, Status, SourceName, SourceAddress, MaxRetentionTime FROM Recording'
  echo
}

cd "$folder"
write_clip 20130521/clip0042 2013-05-21T14:03:27Z 2013-05-21T16:05:00+0200 MOTION
write_clip 20130521/clip0043 2013-05-21T11:30:00-0500 2013-05-21T11:31:10-0500 EXTERNAL
write_clip 20380119/clip0001 2038-01-19T08:44:00+0530 2038-01-19T08:45:00+0530 SOFTWARE

# Runs vexactl, shown as it would be typed.
run() {
  local argument words=
  for argument in "$@"; do
    [[ $argument == *[!A-Za-z0-9_./:-]* ]] && argument="\"$argument\""
    words+=" $argument"
  done
  echo "\$ vexactl$words"
  "$programs/vexactl" "$@"
}

echo
run prepare catalogue.db watch
echo "\$ vexamgr catalogue.db watch"
LD_LIBRARY_PATH=$programs LD_PRELOAD=liblog_to_stderr.so "$programs/vexamgr" catalogue.db watch 2>&1 &
service=$!
run complete catalogue.db watch
show_rows

write_clip 20130522/clip0044 2013-05-22T08:00:00Z 2013-05-22T08:01:00Z USER
run insert watch/20130522/clip0044.xml
run delete watch/20130521/clip0042.xml
run update 1 --content "Loading bay" --source-id cam-7 --source-name "Bay camera" \
  --source-location "Gate 3" --source-description "Driver's side" --source-address urn:camera7 \
  --max-retention-time 2592000
show_rows

echo "\$ kill -TERM $service"
status=0
stop_service
wait "$service" || status=$?
service=
echo "vexamgr ended with exit status $status"
exit "$status"
