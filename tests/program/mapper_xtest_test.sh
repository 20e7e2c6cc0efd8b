#!/usr/bin/env bash
# The Mapper's XTest output, whole: infrared frames of the remote replayed in real time, the actions
# of a mapping performed on a real X server (Xvfb with openbox) and checked in a window that records
# what it gets: a key chord, a held key's repeats, pointer moves and clicks, texts typed in the US
# layout, a character the layout lacks, and texts typed again after the layout became German.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
vqx_enter_session "$@"
vqx_prepare
rem="$PREFS/OrvendaVQXM1A.REM"
out="$WORK/window.log"

xtest_cleanup() {
  [ -n "${WINDOW_PID:-}" ] && kill "$WINDOW_PID" 2> /dev/null || true
  [ -n "${OPENBOX_PID:-}" ] && kill "$OPENBOX_PID" 2> /dev/null || true
  setxkbmap us 2> /dev/null || true
  vqx_cleanup
}
trap xtest_cleanup EXIT
xfail() {
  echo "--- window output"
  tail -n 60 "$out" 2> /dev/null || true
  fail "$@"
}

setxkbmap us
openbox > "$WORK/openbox.log" 2>&1 &
OPENBOX_PID=$!
sleep 0.5

# The actions, for the entry named on the command line and, should the Mapper see the window
# itself in front, for the window's class too.
actions() {
  # Ctrl+Shift+K (virtual key 28, character 0B), one tap.
  echo "ACT Menu        KEY 0000280b 1200  -1  -1 -1 -1 OVR"
  # r, held: a tap at the press, 300 ms later, twice 100 ms apart, then every 40 ms.
  echo "ACT Play        KEY 00000f72 0000 300 100  2 40 OVR"
  # Right by 4 x 3 pixels at the press (its first repeat would come after a second), down by 4.
  echo "ACT Right       MOU 00003304 1000 100 1 100 OVR"
  echo "ACT Down        MOU 00005502   0   0  0 0 OVR"
  echo "ACT Enter       MOU 00000005   0   0  0 0 OVR"
  echo "ACT Back        MOU 00000007   0   0  0 0 OVR"
  echo "ACT Stop        MOU 00000006   0   0  0 0 OVR"
  # Texts: the length counts the characters as written, escapes included.
  echo "ACT Digit1      TXT 26 [Hi Bo,\tit's 10:45 (ok)?\n OVR"
  echo 'ACT Digit2      TXT 24 [~`@#$%^&*_+=-[]{}|\\;<>/ OVR'
  echo 'ACT Digit4      TXT 16 [\xe4\xe5\xe6\xf8 OVR'
  echo 'ACT Digit3      TXT 18 [\xe4\xdf@zyZY-\xc4 OVR'
}
{
  printf 'MAPVER 2\n\nAPPL *GLOBAL*\n\nAPPL xt\n\n'
  actions
  printf '\nAPPL vqx-test-window\n\n'
  actions
} > "$PREFS/OrvendaVQXM1.map"

"$APPDIR/../tests/vqx-test-window" "$out" 2> "$WORK/window.err" &
WINDOW_PID=$!
win=$(vqx_wait_window "VQX test window") || xfail "the test window did not appear"
xdotool windowactivate --sync "$win" 2> /dev/null || xdotool windowfocus "$win"
xdotool windowfocus --sync "$win" 2> /dev/null || true
xdotool mousemove --window "$win" 200 150
vqx_wait_line "$out" "^focusin" || xfail "the test window did not get the focus"
sleep 0.3
eval "$(xdotool getmouselocation --shell)"
x0=$X
y0=$Y
lines0=$(wc -l < "$out")

# The replay: each press one frame (40 ms gap) and half a second of silence; Play held for ten
# frames. Then four seconds of silence, in which the layout is switched, and the German text.
pause() { echo "space $1"; }
{
  vqx_frames "$rem" Menu 1 40000; pause 500000
  vqx_frames "$rem" Play 10 40000; pause 500000
  vqx_frames "$rem" Right 1 40000; pause 500000
  vqx_frames "$rem" Down 1 40000; pause 500000
  vqx_frames "$rem" Enter 1 40000; pause 600000
  vqx_frames "$rem" Back 1 40000; pause 600000
  vqx_frames "$rem" Stop 1 40000; pause 500000
  vqx_frames "$rem" Digit1 1 40000; pause 800000
  vqx_frames "$rem" Digit2 1 40000; pause 800000
  vqx_frames "$rem" Digit4 1 40000; pause 4000000
  vqx_frames "$rem" Digit3 1 40000; pause 500000
} > "$WORK/replay.txt"

vqx_start_mapper --output xtest --replay "$WORK/replay.txt" --front xt --verbose
vqx_wait_line "$WORK/mapper.log" "output: xtest" || xfail "the Mapper did not say that it uses XTest"
# The US part ends with characters the layout lacks, typed through spare key codes (the last one
# is o with stroke); then the layout becomes German.
for i in $(seq 1 150); do
  tail -n +$((lines0 + 1)) "$out" | grep -q '^key oslash ' && break
  sleep 0.1
done
tail -n +$((lines0 + 1)) "$out" | grep -q '^key oslash ' || xfail "the o with stroke of the US part never came"
# Those came on four key codes that give nothing again a moment later (the server's keymap, as
# xkbcomp prints it, has no symbols for them).
sleep 0.5
xkbcomp -xkb "$DISPLAY" "$WORK/keymap.xkb" 2> /dev/null || xfail "xkbcomp could not read the keymap"
codes=""
for sym in adiaeresis aring ae oslash; do
  code=$(tail -n +$((lines0 + 1)) "$out" | grep "^key $sym 0x0 " | sed 's/.*code=\([0-9]*\).*/\1/')
  [ "$(echo "$code" | wc -w)" -eq 1 ] || xfail "$sym did not come once: $code"
  case " $codes " in *" $code "*) xfail "two letters came on key code $code" ;; esac
  codes="$codes $code"
  keyname=$(sed -n "s/^ *\(<[A-Za-z0-9+-]*>\) *= *$code;.*/\1/p" "$WORK/keymap.xkb" | head -n 1)
  [ -n "$keyname" ] || xfail "key code $code has no name in the keymap"
  grep -q "key *$keyname *{.*[a-zA-Z]" "$WORK/keymap.xkb" &&
    xfail "the spare key code $code still gives: $(grep "key *$keyname *{" "$WORK/keymap.xkb")"
done
setxkbmap de
linesDe=$(wc -l < "$out")
vqx_wait_line "$WORK/mapper.log" "finished" || xfail "the replay did not finish"
sleep 0.8
kill -TERM "$MAPPER_PID"
wait "$MAPPER_PID" || true
MAPPER_PID=""
grep -q "output: xtest" "$WORK/mapper.log" || xfail "the Mapper did not use XTest"
tail -n +$((lines0 + 1)) "$out" | head -n $((linesDe - lines0)) > "$WORK/us.log"
tail -n +$((linesDe + 1)) "$out" > "$WORK/de.log"

# The key chord: K with Shift and Control held (state 0x5), typed once, all let go after.
[ "$(grep -c '^key K 0x5 ' "$WORK/us.log")" -eq 1 ] || xfail "Ctrl+Shift+K did not arrive once"
awk '$1 == "key" && $2 == "K" { k = NR } $1 == "keyup" && ($2 ~ /Control/ || $2 ~ /Shift/) { if (k) up++ }
     END { exit !(k && up >= 2) }' "$WORK/us.log" || xfail "the modifiers of Ctrl+Shift+K were not let go after it"

# The held r: frames 10 x P microseconds apart, released 160 ms after the last frame's last mark;
# taps at the press and at 300, 400, 500 ms, then every 40 ms while held.
period=$(vqx_frames "$rem" Play 1 40000 | awk '{ s += $2 } END { print s }')
hold=$(((9 * period) / 1000 + 160))
want=$(awk -v h="$hold" 'BEGIN { n = 1; t = 300; k = 1; while (t < h) { n++; t += (k <= 2 ? 100 : 40); k++ } print n }')
got=$(grep -c '^key r 0x0 ' "$WORK/us.log" || true)
[ "$got" -ge $((want - 1)) ] && [ "$got" -le $((want + 1)) ] ||
  xfail "Play held for $hold ms gave $got taps of r, expected $want (+-1)"
# Their times as the X server stamped them (a busy machine delays single events): the first repeat
# 300 ms after the press and the next two 100 ms apart (+-30 ms each), then 40 ms apart on average.
grep '^key r 0x0 ' "$WORK/us.log" | sed 's/.*t=//' | awk '
  { t[NR - 1] = $1 - 0 } END { n = NR - 1
    if (n < 5) { print "only " n " repeats"; exit 1 }
    d = t[1] - t[0]; if (d < 270 || d > 330) { print "first repeat after " d " ms"; bad = 1 }
    for (k = 2; k <= 3; k++) { d = t[k] - t[k - 1]; if (d < 70 || d > 130) { print "repeat " k " after " d " ms"; bad = 1 } }
    mean = (t[n] - t[3]) / (n - 3); if (mean < 35 || mean > 45) { print "repeats 40 ms apart came " mean " ms apart"; bad = 1 }
    exit bad }' || xfail "the repeats of the held r were off their schedule"

# The pointer: 12 pixels right, 4 down.
eval "$(xdotool getmouselocation --shell)"
[ "$X" -eq $((x0 + 12)) ] && [ "$Y" -eq $((y0 + 4)) ] ||
  xfail "the pointer went from $x0,$y0 to $X,$Y, expected $((x0 + 12)),$((y0 + 4))"
grep -q "^motion $((x0 + 12)) $y0 " "$WORK/us.log" || xfail "the window saw no move to $((x0 + 12)),$y0"

# Clicks: a single left click, a double click (two presses close together), one right click.
grep '^button 1 ' "$WORK/us.log" | sed 's/.*t=//' > "$WORK/left.txt"
[ "$(wc -l < "$WORK/left.txt")" -eq 3 ] || xfail "expected 3 left presses, got $(wc -l < "$WORK/left.txt")"
[ "$(grep -c '^buttonup 1 ' "$WORK/us.log")" -eq 3 ] || xfail "expected 3 left releases"
awk 'NR == 1 { a = $1 } NR == 2 { b = $1 } NR == 3 { c = $1 } END { exit !(b - a > 300 && c - b < 100) }' \
  "$WORK/left.txt" || xfail "the left presses were not a click then a double click: $(tr '\n' ' ' < "$WORK/left.txt")"
[ "$(grep -c '^button 3 ' "$WORK/us.log")" -eq 1 ] || xfail "the right click did not arrive once"

# Texts: the characters the keys gave, in order, written as the window writes them.
escape() { perl -e 'local $/; $_ = <STDIN>; s/([^\x21-\x7e]|\\)/sprintf("\\x%02x", ord($1))/ge; print'; }
typed() { awk '$1 == "key" { for (i = 3; i <= NF; i++) if ($i ~ /^text=/) printf "%s", substr($i, 6) }'; }
# After the right click, the US texts and the four letters typed through spare key codes.
wantUs=$(printf 'Hi Bo,\tit'"'"'s 10:45 (ok)?\r~`@#$%%^&*_+=-[]{}|\\;<>/\xe4\xe5\xe6\xf8' | escape)
gotUs=$(awk 'f { print } $1 == "buttonup" && $2 == 3 { f = 1 }' "$WORK/us.log" | typed)
[ "$gotUs" = "$wantUs" ] || xfail "the US texts came as \"$gotUs\", expected \"$wantUs\""
grep -q "^key Tab 0x0 text=\\\\x09" "$WORK/us.log" || xfail "the tab was not the Tab key"
grep -q "^key Return 0x0 text=\\\\x0d" "$WORK/us.log" || xfail "the return was not the Return key"
grep -q '^key at 0x1 .*code=11 ' "$WORK/us.log" || xfail "@ was not Shift+2 in the US layout"

# German: each character on its key (X key code = Linux key code + 8) with its modifiers: a umlaut
# on the apostrophe's place (48), sharp s on the minus's (20), @ AltGr+Q (24, Mod5 0x80), z and y
# swapped (29 and 52), - on the slash's place (61).
wantDe=$(printf '\xe4\xdf@zyZY-\xc4' | escape)
gotDe=$(typed < "$WORK/de.log")
[ "$gotDe" = "$wantDe" ] || xfail "the German text came as \"$gotDe\", expected \"$wantDe\""
for want in "adiaeresis 0x0 48" "ssharp 0x0 20" "at 0x80 24" "z 0x0 29" "y 0x0 52" "Z 0x1 29" "Y 0x1 52" \
  "minus 0x0 61" "Adiaeresis 0x1 48"; do
  set -- $want
  grep -q "^key $1 $2 .*code=$3 " "$WORK/de.log" || xfail "$1 was not typed as key code $3 with state $2"
done
echo "PASS"
