#!/usr/bin/env bash
# Learning a remote from replayed presses with the answers typed on standard input: a held button's
# repeats left out, a press of the wrong button asked again, a bad name refused, a blank name
# ending; the file written into the preferences folder, read by the Mapper without a message and
# decoding the shipped remote's frames; an existing file kept without --force; and presses read
# from the configuration's receiver (a FIFO) as the session asks for them.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
vqx_enter_session "$@"
vqx_prepare
learn_cleanup() {
  [ -n "${LEARN_PID:-}" ] && kill "$LEARN_PID" 2> /dev/null || true
  vqx_cleanup
}
trap learn_cleanup EXIT
rem="$PREFS/OrvendaVQXM1A.REM"
learned="$PREFS/Learned.REM"

# Every duration moved by up to 5% either way, the same way on every run.
jitter() { awk 'BEGIN { srand(7) } { printf "%s %d\n", $1, $2 * (0.95 + 0.1 * rand()) }'; }

# An NEC repeat burst, which a held button sends after its frame.
burst() { printf 'pulse 9000\nspace 2250\npulse 562\nspace %d\n' "$1"; }

# Play held (three frames 40 ms apart and a repeat burst), Play again, Stop, Menu by mistake, Stop
# again, Up twice.
{
  vqx_frames "$rem" Play 3 40000
  burst 300000
  for b in Play Stop Menu Stop Up Up; do vqx_frames "$rem" "$b" 1 300000; done
} | jitter > "$WORK/presses.txt"

printf 'Play\nStop\nBad Name\nUp\n\n' > "$WORK/answers.txt"
status=0
"$APPDIR/vqx-mapper" learn Learned.REM --replay "$WORK/presses.txt" < "$WORK/answers.txt" > "$WORK/learn.log" 2>&1 ||
  status=$?
lfail() { echo "--- learn output"; cat "$WORK/learn.log"; fail "$@"; }
[ "$status" -eq 0 ] || lfail "learn ended with status $status"
grep -q "button 1: Play, press it (1/2)" "$WORK/learn.log" || lfail "no progress line for the first press of Play"
grep -q "button 2: Stop, press it again (2/2)" "$WORK/learn.log" || lfail "no progress line for the second press of Stop"
[ "$(grep -c "differs" "$WORK/learn.log")" -eq 1 ] || lfail "the press of Menu among those of Stop was not refused once"
grep -q "without blanks" "$WORK/learn.log" || lfail "the name with a blank was not refused"
grep -q "Name of button 4" "$WORK/learn.log" || lfail "the blank name was not asked for as button 4"
[ -f "$learned" ] || lfail "no file written into the preferences folder"

grep -q "^FRQ 38000$" "$learned" || lfail "the carrier is not 38000 Hz: $(head -n 2 "$learned")"
bit=$(awk '$1 == "BIT" { print $2 }' "$learned")
# The remote's 562 µs unit allows at most 618 µs; jitter of 5% leaves it well above 400.
[ "$bit" -ge 400 ] && [ "$bit" -le 620 ] || lfail "the unit $bit µs is not near the remote's 562 µs"
[ "$(awk '$1 == "CMD" { printf "%s ", $2 }' "$learned")" = "Play Stop Up " ] ||
  lfail "the buttons written are not Play, Stop and Up: $(cat "$learned")"

# The Mapper reads it with the editor's readers: no message, and the shipped frames decode to the
# learned buttons.
sed -i 's/^REM .*/REM Learned.REM/' "$PREFS/OrvendaVQX.cfg"
for b in Up Play Stop; do vqx_frames "$rem" "$b" 1 300000; done | jitter > "$WORK/check.txt"
status=0
"$APPDIR/vqx-mapper" --replay "$WORK/check.txt" --replay-fast --output record --record "$WORK/record.log" \
  --verbose > "$WORK/mapper.log" 2>&1 || status=$?
[ "$status" -eq 0 ] || fail "the Mapper ended with status $status"
grep -q "remote Learned.REM in force" "$WORK/mapper.log" || fail "the Mapper did not take the learned remote"
grep -q "files:" "$WORK/mapper.log" && fail "the readers raised a message about the files"
[ "$(grep -o "frame matched: [A-Za-z]*" "$WORK/mapper.log" | tr '\n' ' ')" = \
  "frame matched: Up frame matched: Play frame matched: Stop " ] || fail "the frames did not decode to Up, Play, Stop"

# Without --force an existing file is kept, and nothing is asked.
cp "$learned" "$WORK/before.REM"
status=0
printf 'Menu\n\n' | "$APPDIR/vqx-mapper" learn Learned.REM --replay "$WORK/presses.txt" > "$WORK/again.log" 2>&1 ||
  status=$?
[ "$status" -eq 1 ] || fail "learning into an existing file ended with status $status"
grep -q "exists already" "$WORK/again.log" || fail "the refusal does not say the file exists"
grep -q "Name of button" "$WORK/again.log" && fail "a name was asked for although the file would not be written"
cmp -s "$learned" "$WORK/before.REM" || fail "the existing file was changed"

# With --force it is replaced; a name with a folder is taken as given.
printf 'Solo\n\n' | "$APPDIR/vqx-mapper" learn Learned.REM --force --replay "$WORK/presses.txt" > /dev/null ||
  fail "learning with --force failed"
[ "$(grep -c "^CMD" "$learned")" -eq 1 ] && grep -q "^CMD Solo " "$learned" || fail "--force did not replace the file"
mkdir "$WORK/elsewhere"
printf 'Solo\n\n' | "$APPDIR/vqx-mapper" learn "$WORK/elsewhere/Mine.REM" --replay "$WORK/presses.txt" > /dev/null ||
  fail "learning into a path failed"
grep -q "^CMD Solo " "$WORK/elsewhere/Mine.REM" || fail "the file was not written where the path says"

# From the configuration's receiver (a FIFO here), each press written once the session asks for it;
# the second press of Play is held (two frames 40 ms apart, then repeat bursts).
words() { perl -ne 'print pack("V", $1 eq "pulse" ? 0x01000000 | $2 : $2) if /^(pulse|space) (\d+)/'; }
fifo="$WORK/ir"
mkfifo "$fifo" "$WORK/typed"
sed -i "s|^INT .*|INT $fifo|" "$PREFS/OrvendaVQX.cfg"
"$APPDIR/vqx-mapper" learn Live.REM < "$WORK/typed" > "$WORK/live.log" 2>&1 &
LEARN_PID=$!
exec 7> "$WORK/typed"
echo Play >&7
vqx_wait_line "$WORK/live.log" "press it \(1/2\)" || fail "the live session did not ask for the first press"
vqx_frames "$rem" Play 1 300000 | jitter | words > "$fifo"
vqx_wait_line "$WORK/live.log" "press it again \(2/2\)" || fail "the live session did not take the first press"
{ vqx_frames "$rem" Play 2 40000; burst 100000; burst 300000; } | jitter | words > "$fifo"
vqx_wait_line "$WORK/live.log" "Play is recorded" || fail "the live session did not record Play"
echo >&7
exec 7>&-
status=0
wait "$LEARN_PID" || status=$?
LEARN_PID=
[ "$status" -eq 0 ] || { cat "$WORK/live.log"; fail "the live session ended with status $status"; }
grep -q "from $fifo into" "$WORK/live.log" || fail "the live session did not read the configuration's receiver"
[ "$(awk '$1 == "CMD" && $2 == "Play" { print NF }' "$PREFS/Live.REM")" = \
  "$(awk '$1 == "CMD" && $2 == "Play" { print NF }' "$rem")" ] ||
  fail "the live session did not write Play as long as the remote has it: $(cat "$PREFS/Live.REM")"
grep -q "differs" "$WORK/live.log" && fail "the held press's repeats were taken as presses"

# From a remote that is a keyboard to the kernel (a FIFO standing in for its event node): each key
# going down is a press, autorepeats and ups are not; the description holds the key codes.
keys() { perl -ne 'print pack("q<q<S<S<l<", 1, 0, 1, $1, $2), pack("q<q<S<S<l<", 1, 0, 0, 0, 0) if /^(\d+) (\d+)/'; }
mkfifo "$WORK/event0" "$WORK/typed2"
"$APPDIR/vqx-mapper" learn Keys.REM --input "evdev:$WORK/event0" < "$WORK/typed2" > "$WORK/keys.log" 2>&1 &
LEARN_PID=$!
exec 7> "$WORK/typed2"
echo Play >&7
vqx_wait_line "$WORK/keys.log" "press it \(1/2\)" || fail "the key session did not ask for the first press"
printf '164 1\n164 2\n164 2\n164 0\n' | keys > "$WORK/event0"
vqx_wait_line "$WORK/keys.log" "press it again \(2/2\)" || fail "the key session did not take the first press"
printf '164 1\n164 0\n' | keys > "$WORK/event0"
vqx_wait_line "$WORK/keys.log" "Play is recorded" || fail "the key session did not record Play"
echo Stop >&7
vqx_wait_count "$WORK/keys.log" "press it \(1/2\)" 2 || fail "the key session did not ask for Stop"
printf '128 1\n128 0\n' | keys > "$WORK/event0"
vqx_wait_count "$WORK/keys.log" "press it again \(2/2\)" 2 || fail "the key session did not take the first press of Stop"
printf '128 1\n128 0\n' | keys > "$WORK/event0"
vqx_wait_line "$WORK/keys.log" "Stop is recorded" || fail "the key session did not record Stop"
echo >&7
exec 7>&-
status=0
wait "$LEARN_PID" || status=$?
LEARN_PID=
[ "$status" -eq 0 ] || { cat "$WORK/keys.log"; fail "the key session ended with status $status"; }
grep -q "^FRQ 0$" "$PREFS/Keys.REM" && grep -q "^BIT 0$" "$PREFS/Keys.REM" ||
  fail "the key-code description has not FRQ 0 and BIT 0: $(cat "$PREFS/Keys.REM")"
[ "$(awk '$1 == "CMD" { printf "%s=%s ", $2, toupper($3) }' "$PREFS/Keys.REM")" = "Play=00A4 Stop=0080 " ] ||
  fail "the key codes written are not Play 164 and Stop 128: $(cat "$PREFS/Keys.REM")"
"$APPDIR/../tests/vqx-remcheck" "$PREFS/Keys.REM" > "$WORK/remcheck.log" 2>&1 ||
  fail "the editor's reader had something to say of the key-code description: $(cat "$WORK/remcheck.log")"

# A session that ends before the first button is done writes nothing.
status=0
printf '\n' | "$APPDIR/vqx-mapper" learn Empty.REM --replay "$WORK/presses.txt" > "$WORK/empty.log" 2>&1 || status=$?
[ "$status" -eq 1 ] && [ ! -e "$PREFS/Empty.REM" ] || fail "a session without buttons wrote a file or ended with 0"
echo "ok: learn"
