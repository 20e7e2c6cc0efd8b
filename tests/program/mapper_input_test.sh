#!/usr/bin/env bash
# The Mapper on its own on a private session bus: one Mapper per session; a FIFO standing in for
# a receiver, removed and put back; bus calls with wrong types, unknown buttons and 1 MB strings
# refused with a log line while the Mapper goes on working; replay files of random bytes, huge and
# negative numbers read without harm; SIGTERM ends it with status 0.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
vqx_enter_session "$@"
vqx_prepare
rem="$PREFS/OrvendaVQXM1A.REM"
fifo="$WORK/dev/lirc0"
mkdir -p "$WORK/dev"
mkfifo "$fifo"

# Replay text as the 32-bit sample words a LIRC device gives (pulse: bit 24 set).
words() { perl -ne 'print pack("V", $1 eq "pulse" ? 0x01000000 | $2 : $2) if /^(pulse|space) (\d+)/'; }

vqx_start_mapper --input "$fifo" --front vlc --record "$WORK/record.log" --verbose
vqx_wait_line "$WORK/mapper.log" "reading raw timings from $fifo" || fail "the Mapper did not open the FIFO"

# A second Mapper in the same session says so and ends with status 0.
status=0
"$APPDIR/vqx-mapper" > "$WORK/second.log" 2>&1 || status=$?
[ "$status" -eq 0 ] || fail "the second Mapper ended with status $status"
grep -q "already running" "$WORK/second.log" || fail "the second Mapper did not say that one is already running"

# Frames written into the FIFO: two presses of Menu, the first held by two repeats of its frame.
{ vqx_frames "$rem" Menu 3 40000; echo "space 300000"; vqx_frames "$rem" Menu 1 40000; } | words > "$fifo"
vqx_wait_count "$WORK/record.log" 'KEY_TAP 00000366 0000$' 2 || fail "the frames written to the FIFO did not give two presses of Menu"
sleep 0.4
taps=$(grep -c 'KEY_TAP 00000366' "$WORK/record.log")
[ "$taps" -eq 2 ] || fail "three frames held and one frame gave $taps taps, expected 2"

# The receiver goes away and comes back: the Mapper notices both and reads it again.
rm "$fifo"
vqx_wait_line "$WORK/mapper.log" "is gone; waiting for it to come back" || fail "the Mapper did not notice the receiver going"
mkfifo "$fifo"
vqx_wait_count "$WORK/mapper.log" "reading raw timings from $fifo" 2 || fail "the Mapper did not reopen the receiver"
vqx_frames "$rem" Menu 1 40000 | words > "$fifo"
vqx_wait_count "$WORK/record.log" 'KEY_TAP 00000366 0000$' 3 || fail "a press after the receiver came back was not performed"

# Bad bus calls: each refused with an error and a log line.
expect_refused() { # what args...
  local what=$1 out
  shift
  out=$(vqx_bus_call "$@" 2>&1) && fail "$what was accepted: $out"
  echo "$out" | grep -q "^error org.freedesktop.DBus.Error" || fail "$what gave no bus error: $out"
}
expect_refused "Press with a number" Press i:42
expect_refused "Press with two strings" Press s:Play s:Play
expect_refused "Press with a 1 MB string" Press S:1000000
expect_refused "Release with a 1 MB string" Release S:1000000
expect_refused "Press of an unknown button" Press s:NoSuchButton
expect_refused "SetFrontApplication with strings only" SetFrontApplication s:a s:b s:c
expect_refused "SetFrontApplication with a 1 MB id" SetFrontApplication S:1000000 s:b u:1
expect_refused "Reload with an argument" Reload s:now
expect_refused "an unknown method" Explode
expect_refused "setting a property" org.freedesktop.DBus.Properties.Set s:com.Orvenda.VQX.Mapper1 s:Entry s:x
refusals=$(grep -c "refused:" "$WORK/mapper.log" || true)
[ "$refusals" -ge 10 ] || fail "the log shows $refusals refusals, expected at least 10"
grep -q "x\{60\}\.\.\." "$WORK/mapper.log" && grep -q "x\{2000\}" "$WORK/mapper.log" && fail "a 1 MB string reached the log uncut"

# Still working: the properties, the front application and a press through the bus.
vqx_bus_call org.freedesktop.DBus.Properties.Get s:com.Orvenda.VQX.Mapper1 s:Input | grep -q "^ok $fifo$" ||
  fail "the Input property does not name the FIFO"
vqx_bus_call org.freedesktop.DBus.Properties.Get s:com.Orvenda.VQX.Mapper1 s:Mapping | grep -q "^ok OrvendaVQXM1.map$" ||
  fail "the Mapping property does not name the mapping"
vqx_bus_call SetFrontApplication s:totem.desktop s:Totem u:0 > /dev/null || fail "SetFrontApplication was refused"
vqx_bus_call org.freedesktop.DBus.Properties.Get s:com.Orvenda.VQX.Mapper1 s:FrontApplication | grep -q "^ok \[totem,Totem\]$" ||
  fail "FrontApplication does not show the names given"
vqx_bus_call org.freedesktop.DBus.Properties.Get s:com.Orvenda.VQX.Mapper1 s:Entry | grep -q "^ok totem$" ||
  fail "Entry is not totem's"
vqx_bus_call Press s:Play > /dev/null && vqx_bus_call Release s:Play > /dev/null || fail "Press and Release of Play were refused"
vqx_wait_count "$WORK/mapper.log" "press Play: entry totem" 1 || fail "the press of Play did not resolve to totem's entry"

# The mapping edited by hand takes effect without a command: replaced (as sed -i does), then
# written in place.
map="$PREFS/OrvendaVQXM1.map"
cp "$map" "$WORK/original.map"
sed -i '/^APPL totem$/,/^APPL /s/^ACT Play .*/ACT Play        VOL MUTE 1   0   0  0 0 0 0 OVR/' "$map"
vqx_wait_count "$WORK/mapper.log" "in force \(files changed\)" 1 || fail "the Mapper did not reload the replaced mapping"
vqx_bus_call Press s:Play > /dev/null && vqx_bus_call Release s:Play > /dev/null || fail "Press and Release of Play were refused"
vqx_wait_line "$WORK/record.log" "VOLUME 3 1 0 0$" || fail "the press after the hand edit did not mute"
cat "$WORK/original.map" > "$map"
vqx_wait_count "$WORK/mapper.log" "in force \(files changed\)" 2 || fail "the Mapper did not reload the mapping written in place"
# A damaged mapping keeps the one in force, and says so.
printf 'MAPVER 2\nAPPL totem\nACT Play KEY zz\n' > "$map"
vqx_wait_line "$WORK/mapper.log" "reload \(files changed\) failed" || fail "the Mapper did not say that the damaged mapping was refused"
mutes=$(grep -c "VOLUME 3 1 0 0$" "$WORK/record.log")
vqx_bus_call Press s:Play > /dev/null && vqx_bus_call Release s:Play > /dev/null || fail "Press and Release of Play were refused"
sleep 0.3
[ "$(grep -c "VOLUME 3 1 0 0$" "$WORK/record.log")" -eq "$mutes" ] || fail "the hand edit undone was still in force"
[ "$(tail -n 1 "$WORK/record.log" | cut -d' ' -f2-)" = "KEY_TAP 00003120 0000" ] ||
  fail "after the damaged mapping, Play did not give totem's space bar of the mapping in force"
cat "$WORK/original.map" > "$map"

# SIGTERM: everything released, status 0.
kill -TERM "$MAPPER_PID"
status=0
wait "$MAPPER_PID" || status=$?
MAPPER_PID=""
[ "$status" -eq 0 ] || fail "the Mapper ended with status $status on SIGTERM"
grep -q "quitting (SIGTERM)" "$WORK/mapper.log" || fail "the Mapper did not say it quit on SIGTERM"

# An inherited descriptor: frames from a pipe whose writer then ends; the Mapper says so, has
# performed the press, and goes on answering on the bus until it is told to end.
mkfifo "$WORK/pipe"
(exec "$APPDIR/vqx-mapper" --input fd:0 --front vlc --record "$WORK/pipe.rec" < "$WORK/pipe" > "$WORK/mapper.log" 2>&1) &
MAPPER_PID=$!
vqx_frames "$rem" Menu 1 40000 | words > "$WORK/pipe"
vqx_wait_line "$WORK/mapper.log" "input: fd:0 closed" || fail "the end of the pipe was not noticed"
vqx_wait_line "$WORK/pipe.rec" "KEY_TAP 00000366 0000$" || fail "the frame from the pipe was not performed"
vqx_bus_call org.freedesktop.DBus.Properties.Get s:com.Orvenda.VQX.Mapper1 s:Input | grep -q "^ok fd:0$" ||
  fail "the Mapper reading a pipe did not answer after its end"
kill -TERM "$MAPPER_PID"
status=0
wait "$MAPPER_PID" || status=$?
MAPPER_PID=""
[ "$status" -eq 0 ] || fail "the Mapper reading a pipe ended with status $status"

# Replay files that are not timings: random bytes, huge numbers, negative values.
head -c 65536 /dev/urandom > "$WORK/random.txt"
printf 'pulse 99999999999999999999\nspace -5\npulse -1\nspace 4294967296\npulse\nwhatever 12\n+9000 -4500\n' > "$WORK/numbers.txt"
for file in random numbers; do
  status=0
  "$APPDIR/vqx-mapper" --replay "$WORK/$file.txt" --replay-fast --record "$WORK/$file.rec" > "$WORK/$file.log" 2>&1 || status=$?
  [ "$status" -eq 0 ] || { cat "$WORK/$file.log" | tail -n 20; fail "replaying $file ended with status $status"; }
  grep -q "line [0-9]*:" "$WORK/$file.log" || fail "replaying $file named no bad line"
  grep -q "finished" "$WORK/$file.log" || fail "replaying $file did not finish"
done
grep -q "line 2:" "$WORK/numbers.log" && grep -q "line 1:" "$WORK/numbers.log" || fail "the bad numbers were not named by line"

# A replay on the stream's own clock: three presses of Play, held and repeated, then the end.
{ vqx_frames "$rem" Play 2 40000; echo "space 500000"; vqx_frames "$rem" Play 1 40000; echo "space 500000"; vqx_frames "$rem" Play 1 40000; } > "$WORK/fast.txt"
status=0
"$APPDIR/vqx-mapper" --replay "$WORK/fast.txt" --replay-fast --front vlc --record "$WORK/fast.rec" > "$WORK/fast.log" 2>&1 || status=$?
[ "$status" -eq 0 ] || fail "the fast replay ended with status $status"
[ "$(grep -c 'KEY_TAP 00003120' "$WORK/fast.rec")" -eq 3 ] || fail "the fast replay did not give three taps: $(cat "$WORK/fast.rec")"

# The Mapper's own replay text of the remote's buttons decodes to the same buttons.
"$APPDIR/vqx-mapper" frames Play Menu Play > "$WORK/own.txt" || fail "vqx-mapper frames failed"
"$APPDIR/vqx-mapper" frames NoSuchButton > /dev/null 2>&1 && fail "vqx-mapper frames took an unknown button"
"$APPDIR/vqx-mapper" --replay "$WORK/own.txt" --replay-fast --front vlc --record "$WORK/own.rec" > "$WORK/own.log" 2>&1 ||
  fail "the replay of vqx-mapper frames failed"
[ "$(cut -d' ' -f2- "$WORK/own.rec" | tr '\n' ,)" = "KEY_TAP 00003120 0000,KEY_TAP 00000366 0000,KEY_TAP 00003120 0000," ] ||
  fail "the replay of vqx-mapper frames gave: $(cat "$WORK/own.rec")"

# A button held in real time: the global entry's mouse move up (no entry for the front name), its
# steps 4 x 5 pixels at the press, 250 ms later, then every 50 ms until the release 160 ms after
# the last frame (ten frames, 108 ms apart).
vqx_frames "$rem" Up 10 40000 > "$WORK/hold.txt"
vqx_start_mapper --replay "$WORK/hold.txt" --front nothing-of-this-name --record "$WORK/hold.rec"
vqx_wait_line "$WORK/mapper.log" "finished" || fail "the real-time replay of a held button did not finish"
sleep 0.5
kill -TERM "$MAPPER_PID"
wait "$MAPPER_PID" || true
MAPPER_PID=""
awk '$2 != "MOUSE" || $3 != 1 || $4 != 20 { bad = 1 } END { exit bad }' "$WORK/hold.rec" || fail "the held Up gave other steps: $(head -n 3 "$WORK/hold.rec")"
steps=$(wc -l < "$WORK/hold.rec")
[ "$steps" -ge 19 ] && [ "$steps" -le 21 ] || fail "the held Up gave $steps steps, expected 20 (+-1)"
# Each step in its place on the schedule. How precisely is measured by scripts/measure-mapper: the
# machine may be busy with other tests here, so only a step far off its place fails.
awk 'NR == 1 { first = $1 } NR > 1 { want = 250 + (NR - 2) * 50; off = $1 - first - want;
     if (off < -40 || off > 40) { print "step " NR " at " $1 - first " ms, expected " want; bad = 1 } } END { exit bad }' \
  "$WORK/hold.rec" || fail "the held Up's steps were off their schedule"
echo "PASS"
