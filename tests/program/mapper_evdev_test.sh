#!/usr/bin/env bash
# The Mapper reading a remote that is a keyboard to the kernel: input event records from a pipe
# (evdev:fd:0) and from a FIFO standing in for an event node that goes and comes back, matched
# against a key-code remote description; downs, autorepeats and ups become one press each, an
# unknown key is logged once. A real event device is grabbed where this machine has one.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
vqx_enter_session "$@"
vqx_prepare

# A key-code remote with the buttons of the shipped one: Menu is KEY_MENU (139), Play
# KEY_PLAYPAUSE (164), the others codes from 0x200 on. The configuration is pointed at it.
awk 'BEGIN { print "FRQ 0"; print "BIT 0"; n = 512 }
     $1 == "CMD" { code = $2 == "Menu" ? 139 : $2 == "Play" ? 164 : n++; printf "CMD %s %04x\n", $2, code }' \
  "$PREFS/OrvendaVQXM1A.REM" > "$PREFS/Keys.REM"
grep -q "^CMD Play 00a4$" "$PREFS/Keys.REM" || fail "the key-code remote was not written"
sed -i 's/^REM .*/REM Keys.REM/' "$PREFS/OrvendaVQX.cfg"

# Input event records (struct input_event on 64-bit Linux): "code value" per line, each followed
# by a report's end.
events() { perl -ne 'print pack("q<q<S<S<l<", 1, 0, 1, $1, $2), pack("q<q<S<S<l<", 1, 0, 0, 0, 0) if /^(\d+) (\d+)/'; }

# From a pipe: Menu tapped, Play held with autorepeats, an unknown key twice.
mkfifo "$WORK/pipe"
(exec "$APPDIR/vqx-mapper" --input evdev:fd:0 --front vlc --record "$WORK/pipe.rec" --verbose < "$WORK/pipe" \
  > "$WORK/mapper.log" 2>&1) &
MAPPER_PID=$!
exec 3> "$WORK/pipe"
vqx_wait_line "$WORK/mapper.log" "reading keys from descriptor 0" || fail "the Mapper did not read the pipe"
grep -q "mapping OrvendaVQXM1.map with remote Keys.REM in force" "$WORK/mapper.log" || fail "the key-code remote is not in force"
vqx_bus_call org.freedesktop.DBus.Properties.Get s:com.Orvenda.VQX.Mapper1 s:Input | grep -q "^ok evdev:fd:0$" ||
  fail "the Input property does not name the descriptor"
printf '139 1\n139 0\n' | events >&3
vqx_wait_line "$WORK/pipe.rec" 'KEY_TAP 00000366 0000$' || fail "KEY_MENU did not press Menu"
printf '164 1\n' | events >&3
for i in 1 2 3 4 5; do
  sleep 0.05
  printf '164 2\n' | events >&3
done
sleep 0.3 # longer than the release time: a key holds until its up, not until a gap
printf '164 0\n' | events >&3
vqx_wait_line "$WORK/mapper.log" "release Play" || fail "the up of KEY_PLAYPAUSE did not release Play"
[ "$(grep -c "press Play:" "$WORK/mapper.log")" -eq 1 ] || fail "a held key with autorepeats gave more than one press"
[ "$(grep -c 'KEY_TAP 00003120' "$WORK/pipe.rec")" -eq 1 ] || fail "the held Play did not give exactly one tap"
printf '30 1\n30 0\n30 1\n30 0\n139 1\n139 0\n' | events >&3
vqx_wait_count "$WORK/pipe.rec" 'KEY_TAP 00000366 0000$' 2 || fail "a press after an unknown key was not performed"
[ "$(grep -c "key code 30 is not a button" "$WORK/mapper.log")" -eq 1 ] || fail "the unknown key was not logged once"
# A record written in two pieces is read whole.
printf '139 1\n139 0\n' | events > "$WORK/two.bin"
head -c 30 "$WORK/two.bin" >&3
sleep 0.2
tail -c +31 "$WORK/two.bin" >&3
vqx_wait_count "$WORK/pipe.rec" 'KEY_TAP 00000366 0000$' 3 || fail "a record split across writes was not read"
exec 3>&-
vqx_wait_line "$WORK/mapper.log" "input: evdev:fd:0 closed" || fail "the end of the pipe was not noticed"
kill -TERM "$MAPPER_PID"
status=0
wait "$MAPPER_PID" || status=$?
MAPPER_PID=""
[ "$status" -eq 0 ] || fail "the Mapper reading a pipe ended with status $status"

# An event node that is not there yet, comes, goes and comes back (a FIFO in its place).
node="$WORK/input/event9"
mkdir -p "$WORK/input"
vqx_start_mapper --input "evdev:$node" --front vlc --record "$WORK/node.rec"
vqx_wait_line "$WORK/mapper.log" "evdev:$node cannot be opened" || fail "the Mapper did not say it waits for the node"
mkfifo "$node"
vqx_wait_line "$WORK/mapper.log" "reading keys from $node" || fail "the node that appeared was not opened"
grep -q "not grabbed" "$WORK/mapper.log" || fail "a node that cannot be grabbed was not said to be so"
printf '139 1\n139 0\n' | events > "$node"
vqx_wait_line "$WORK/node.rec" 'KEY_TAP 00000366 0000$' || fail "a key from the node was not performed"
rm "$node"
vqx_wait_line "$WORK/mapper.log" "is gone; waiting for a device" || fail "the node going was not noticed"
mkfifo "$node"
vqx_wait_count "$WORK/mapper.log" "reading keys from $node" 2 || fail "the node was not reopened"
printf '164 1\n164 0\n' | events > "$node"
vqx_wait_line "$WORK/node.rec" 'KEY_TAP 00003120 0000$' || fail "a key after the node came back was not performed"
kill -TERM "$MAPPER_PID"
wait "$MAPPER_PID" || fail "the Mapper reading the node did not end with status 0"
MAPPER_PID=""

# A real device, found by its name and grabbed, where the machine has one.
device=""
for sys in /sys/class/input/event*; do
  [ -r "/dev/input/$(basename "$sys")" ] && [ -r "$sys/device/name" ] && { device=$(basename "$sys"); break; }
done
if [ -z "$device" ]; then
  echo "skipped: no readable /dev/input/event* here, so grabbing a device by its name is not tried"
else
  name=$(cat "/sys/class/input/$device/device/name")
  vqx_start_mapper --input "evdev:$name" --front vlc --record "$WORK/real.rec"
  vqx_wait_line "$WORK/mapper.log" "reading keys from /dev/input/event[0-9]+ .*grabbed" ||
    fail "the device named \"$name\" was not opened"
  grep -q "not grabbed" "$WORK/mapper.log" && fail "the device named \"$name\" was not grabbed"
  kill -TERM "$MAPPER_PID"
  wait "$MAPPER_PID" || fail "the Mapper reading $name did not end with status 0"
  MAPPER_PID=""
fi
echo "PASS"
