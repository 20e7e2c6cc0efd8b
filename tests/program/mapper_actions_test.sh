#!/usr/bin/env bash
# The Mapper's slow actions, whole: infrared frames replayed in real time through the real
# program on Xvfb with openbox and a real PulseAudio with a null sink: a Lua script and two
# launches leave their markers, a volume Set is read back with pactl, and a script that runs for
# seconds does not hold up the key pressed after it.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
vqx_enter_session "$@"
vqx_prepare
rem="$PREFS/OrvendaVQXM1A.REM"
out="$WORK/window.log"
files="$WORK/files"
mkdir -p "$files"

actions_cleanup() {
  [ -n "${WINDOW_PID:-}" ] && kill "$WINDOW_PID" 2> /dev/null || true
  [ -n "${OPENBOX_PID:-}" ] && kill "$OPENBOX_PID" 2> /dev/null || true
  [ -n "${PULSE_PID:-}" ] && kill "$PULSE_PID" 2> /dev/null || true
  vqx_cleanup
}
trap actions_cleanup EXIT

# A sound server of the test's own, with a null sink at 100%.
vqx_start_pulse runtime
runtime="$WORK/runtime"
pactl set-sink-volume @DEFAULT_SINK@ 100%
pactl set-sink-mute @DEFAULT_SINK@ 1

openbox > "$WORK/openbox.log" 2>&1 &
OPENBOX_PID=$!
sleep 0.5

# The files the actions name; each leaves a marker.
printf 'local f = assert(io.open("%s", "w"))\nf:write("ran\\n")\nf:close()\n' "$files/script.ran" > "$files/marker.lua"
printf 'local t = os.clock()\nwhile os.clock() - t < 3 do end\nlocal f = assert(io.open("%s", "w"))\nf:write("done\\n")\nf:close()\n' \
  "$files/slow.done" > "$files/slow.lua"
printf '#!/bin/sh\necho ran > "%s"\n' "$files/program.ran" > "$files/program.sh"
chmod +x "$files/program.sh"
printf '[Desktop Entry]\nType=Application\nName=Marker\nExec=sh -c "echo ran > %s"\n' "$files/entry.ran" > "$files/marker.desktop"

{
  printf 'MAPVER 2\n\nAPPL *GLOBAL*\n\nAPPL act\n\n'
  echo "ACT Menu        SCR \"$files/marker.lua\"   0   0  0 0 OVR"
  echo "ACT Back        LAUNCH \"$files/program.sh\"   0   0  0 0 OVR"
  echo "ACT Up          LAUNCH \"$files/marker.desktop\"   0   0  0 0 OVR"
  echo "ACT Digit0      VOL SET 127   0   0  0 0 1 0 OVR"
  echo "ACT Play        SCR \"$files/slow.lua\"   0   0  0 0 OVR"
  # x, one tap; z held down for the desktop's own key repeat.
  echo "ACT Stop        KEY 00000778 0000  -1  -1 -1 -1 OVR"
  echo "ACT Pause       KEY 0000067a 0000   0   0  0 0 OVR"
} > "$PREFS/OrvendaVQXM1.map"

"$APPDIR/../tests/vqx-test-window" "$out" 2> "$WORK/window.err" &
WINDOW_PID=$!
win=$(vqx_wait_window "VQX test window") || fail "the test window did not appear"
xdotool windowactivate --sync "$win" 2> /dev/null || xdotool windowfocus "$win"
vqx_wait_line "$out" "^focusin" || fail "the test window did not get the focus"

pause() { echo "space $1"; }
{
  pause 300000
  vqx_frames "$rem" Menu 1 40000; pause 300000
  vqx_frames "$rem" Back 1 40000; pause 300000
  vqx_frames "$rem" Up 1 40000; pause 300000
  vqx_frames "$rem" Digit0 1 40000; pause 300000
  vqx_frames "$rem" Play 1 40000; pause 300000
  vqx_frames "$rem" Stop 1 40000; pause 300000
} > "$WORK/replay.txt"
vqx_start_mapper --output xtest --replay "$WORK/replay.txt" --front act --verbose

vqx_wait_file "$files/script.ran" || fail "the script did not leave its marker"
vqx_wait_file "$files/program.ran" || fail "the launched program did not leave its marker"
vqx_wait_file "$files/entry.ran" || fail "the launched desktop entry did not leave its marker"
# The slow script is still running when the key pressed after it arrives.
vqx_wait_line "$out" "^key x 0x0 " || fail "the key pressed after the slow script did not arrive"
[ -e "$files/slow.done" ] && fail "the key came only after the slow script had finished"
vqx_wait_file "$files/slow.done" || fail "the slow script never finished"
# Volume Set 127 with un-mute: 127/255 of full, sounding.
volume=$(pactl get-sink-volume @DEFAULT_SINK@ | sed -n 's/.* \([0-9]*\)%.*/\1/p' | head -n 1)
[ "$volume" = "50" ] || fail "the volume is $volume% after Set 127, expected 50%"
pactl get-sink-mute @DEFAULT_SINK@ | grep -q "no" || fail "Set with un-mute left the sink muted"
vqx_wait_line "$WORK/mapper.log" "finished" || fail "the replay did not finish"
kill -TERM "$MAPPER_PID"
status=0
wait "$MAPPER_PID" || status=$?
MAPPER_PID=""
[ "$status" -eq 0 ] || fail "the Mapper ended with status $status on SIGTERM"

# A key held down when the Mapper is told to end is let go: z held by frames for seconds, SIGTERM
# while it is down, and the window's last word on z is its release.
vqx_frames "$rem" Pause 40 40000 > "$WORK/hold.txt"
vqx_start_mapper --output xtest --replay "$WORK/hold.txt" --front act
vqx_wait_line "$out" "^key z 0x0 " || fail "the held z did not arrive"
sleep 0.3
kill -TERM "$MAPPER_PID"
status=0
wait "$MAPPER_PID" || status=$?
MAPPER_PID=""
[ "$status" -eq 0 ] || fail "the Mapper ended with status $status on SIGTERM while z was held"
sleep 0.5
lines=$(wc -l < "$out")
sleep 0.5
[ "$(wc -l < "$out")" -eq "$lines" ] || fail "keys still came after the Mapper ended: $(tail -n 3 "$out")"
grep -E '^key(up)? z ' "$out" | tail -n 1 | grep -q '^keyup z ' || fail "z was not let go when the Mapper ended: $(grep -E '^key(up)? z ' "$out" | tail -n 2)"
echo "PASS"
