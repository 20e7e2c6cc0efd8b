#!/usr/bin/env bash
# The Mapper under harm, under Xvfb with openbox: killed with SIGKILL while its XTest output holds
# Ctrl+Z, the keys stay down in the X server until the next Mapper lets them go at its start; a
# mapping replaced by garbage keeps the mapping in force; a thousand presses a second for ten
# seconds through a FIFO are all performed while the Mapper's memory stays flat.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
vqx_enter_session "$@"
vqx_prepare
out="$WORK/window.log"
map="$PREFS/OrvendaVQXM1.map"
export XDG_RUNTIME_DIR="$WORK/runtime"
mkdir -p "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
held="$XDG_RUNTIME_DIR/vqx-mapper-held-${DISPLAY%.*}"
xkeys="$APPDIR/../tests/vqx-x-keys"

robust_cleanup() {
  [ -n "${WRITER_PID:-}" ] && kill "$WRITER_PID" 2> /dev/null || true
  [ -n "${WINDOW_PID:-}" ] && kill "$WINDOW_PID" 2> /dev/null || true
  [ -n "${OPENBOX_PID:-}" ] && kill "$OPENBOX_PID" 2> /dev/null || true
  vqx_cleanup
}
trap robust_cleanup EXIT

openbox > "$WORK/openbox.log" 2>&1 &
OPENBOX_PID=$!
sleep 0.5

# Play holds Ctrl+Z down while pressed (the desktop's own repeat); Menu types x once.
{
  printf 'MAPVER 2\n\nAPPL *GLOBAL*\n\nAPPL robust\n\n'
  echo "ACT Play        KEY 0000067a 1000   0   0  0 0 OVR"
  echo "ACT Menu        KEY 00000778 0000  -1  -1 -1 -1 OVR"
} > "$map"

"$APPDIR/../tests/vqx-test-window" "$out" 2> "$WORK/window.err" &
WINDOW_PID=$!
win=$(vqx_wait_window "VQX test window") || fail "the test window did not appear"
xdotool windowactivate --sync "$win" 2> /dev/null || xdotool windowfocus "$win"
vqx_wait_line "$out" "^focusin" || fail "the test window did not get the focus"
sleep 0.3

# Whether the X server has key code $1 down now.
x_down() { [[ " $("$xkeys") " == *" $1 "* ]]; }
# The window's last event of the z key: "key" (down) or "keyup".
last_z() { grep -E '^(key|keyup) z ' "$out" | tail -n 1 | cut -d' ' -f1; }

# ---- SIGKILL while a key is held ----------------------------------------------------------------
vqx_start_mapper --output xtest --front robust --verbose
vqx_wait_line "$WORK/mapper.log" "output: xtest" || fail "the Mapper did not say that it uses XTest"
vqx_bus_call Press s:Play > /dev/null || fail "Press Play was refused"
vqx_wait_line "$out" "^key z 0x4 " || fail "Ctrl+Z did not arrive in the window"
vqx_wait_file "$held" || fail "no held-keys file $held while Ctrl+Z is held"
# Control is X key code 37, Z 52 (Linux codes 29 and 44, plus 8).
grep -qx "key 37" "$held" && grep -qx "key 52" "$held" || fail "the held-keys file does not list Ctrl and Z: $(cat "$held")"
kill -KILL "$MAPPER_PID"
wait "$MAPPER_PID" 2> /dev/null || true
MAPPER_PID=""
sleep 0.3
x_down 52 && x_down 37 || fail "after SIGKILL the X server does not have Ctrl+Z down ($("$xkeys")): nothing to let go"
[ "$(last_z)" = "key" ] || fail "the window saw Z let go although the Mapper died holding it"
echo "after SIGKILL the X server has these keys down: $("$xkeys")"

# The next Mapper lets them go at its start, says so, and the file is gone.
mv "$WORK/mapper.log" "$WORK/mapper-killed.log"
vqx_start_mapper --output xtest --front robust --verbose
vqx_wait_line "$WORK/mapper.log" "released what a Mapper before this one left held down" ||
  fail "the Mapper started after the killed one did not release the keys left held"
vqx_wait_line "$out" "^keyup z " || fail "the window never saw Z let go"
sleep 0.2
x_down 52 && fail "Z is still down in the X server after the restart"
x_down 37 && fail "Control is still down in the X server after the restart"
[ "$(last_z)" = "keyup" ] || fail "the window's last Z event is not its release"
[ -e "$held" ] && fail "the held-keys file is still there after the keys were let go: $(cat "$held")"

# A tap leaves no file behind; a key held and let go again leaves none either.
vqx_bus_call Press s:Menu > /dev/null && vqx_bus_call Release s:Menu > /dev/null || fail "Press Menu was refused"
vqx_wait_line "$out" "^key x 0x0 " || fail "the tap of x did not arrive"
vqx_bus_call Press s:Play > /dev/null || fail "Press Play was refused"
vqx_wait_file "$held" || fail "no held-keys file for the second hold"
vqx_bus_call Release s:Play > /dev/null || fail "Release Play was refused"
for i in $(seq 1 50); do [ -e "$held" ] || break; sleep 0.1; done
[ -e "$held" ] && fail "the held-keys file stayed after Ctrl+Z was let go"
x_down 52 && fail "Z stayed down after Release"

# ---- the mapping replaced by garbage --------------------------------------------------------------
cp "$map" "$WORK/good.map"
head -c 6000 /dev/urandom > "$WORK/garbage"
printf 'APPL robust\nACT Menu KEY 00000f72 0000 -1 -1 -1 -1 OVR\n' >> "$WORK/garbage"
mv "$WORK/garbage" "$map"
# (The reader's message quotes the garbage: bytes, not characters, are matched.)
LC_ALL=C vqx_wait_line "$WORK/mapper.log" "reload \(files changed\) failed: .*; the mapping OrvendaVQXM1.map stays in force" ||
  fail "the Mapper did not say that it keeps the mapping in force"
xs=$(grep -c "^key x 0x0 " "$out")
vqx_bus_call Press s:Menu > /dev/null && vqx_bus_call Release s:Menu > /dev/null || fail "Press Menu was refused"
vqx_wait_count "$out" "^key x 0x0 " $((xs + 1)) || fail "after the garbage mapping, Menu did not type x any more"
grep -q "^key r " "$out" && fail "the garbage mapping's action was performed"
kill -0 "$MAPPER_PID" 2> /dev/null || fail "the Mapper ended on the garbage mapping"
cp "$WORK/good.map" "$map"

# SIGTERM while a key is held: let go, no file left.
vqx_bus_call Press s:Play > /dev/null || fail "Press Play was refused"
vqx_wait_file "$held" || fail "no held-keys file before SIGTERM"
kill -TERM "$MAPPER_PID"
status=0
wait "$MAPPER_PID" || status=$?
MAPPER_PID=""
[ "$status" -eq 0 ] || fail "the Mapper ended with status $status on SIGTERM"
x_down 52 && fail "Z stayed down after SIGTERM"
[ -e "$held" ] && fail "the held-keys file stayed after SIGTERM"

# ---- a uinput device's keys ---------------------------------------------------------------------
# The kernel lets go of a uinput device's keys when the device goes away with its owner.
if [ -w /dev/uinput ] && command -v python3 > /dev/null; then
  vqx_start_mapper --output uinput --front robust --verbose
  vqx_wait_line "$WORK/mapper.log" "output: uinput" || fail "the Mapper did not make its uinput device"
  node=""
  for i in $(seq 1 50); do
    node=$(awk '/^N: Name="Orvenda VQX Mapper"/ { on = 1 } on && /^H: Handlers=/ { for (i = 2; i <= NF; i++) if ($i ~ /^event/) print $i; exit }' \
      /proc/bus/input/devices 2> /dev/null || true)
    [ -n "$node" ] && break
    sleep 0.1
  done
  [ -n "$node" ] || fail "the uinput device has no event node"
  # Key events of the device (type 1) as "code value" lines, until the device is gone.
  python3 -c '
import struct, sys
with open(sys.argv[1], "rb") as f, open(sys.argv[2], "w") as out:
    size = struct.calcsize("llHHi")
    while True:
        try:
            data = f.read(size)
        except OSError:
            break
        if len(data) < size:
            break
        _, _, kind, code, value = struct.unpack("llHHi", data)
        if kind == 1:
            out.write("%d %d\n" % (code, value)); out.flush()
' "/dev/input/$node" "$WORK/uinput.log" &
  reader=$!
  sleep 0.3
  vqx_bus_call Press s:Play > /dev/null || fail "Press Play was refused"
  vqx_wait_line "$WORK/uinput.log" "^44 1$" || fail "the uinput device did not press Z"
  kill -KILL "$MAPPER_PID"
  wait "$MAPPER_PID" 2> /dev/null || true
  MAPPER_PID=""
  vqx_wait_line "$WORK/uinput.log" "^44 0$" || fail "Z was not let go when the killed Mapper's device went away"
  wait "$reader" 2> /dev/null || true
  echo "uinput: the kernel let go of the keys of the killed Mapper's device"
else
  echo "SKIP uinput: /dev/uinput cannot be opened here (no uinput in this kernel or no access);" \
    "the kernel's release of a uinput device's keys on close is not checked"
fi

# ---- a thousand presses a second for ten seconds --------------------------------------------------
# A remote of two buttons whose frames take 600 microseconds, each followed by 400 of silence:
# alternating, every frame is a press of its own.
printf 'FRQ 38000\nBIT 100\n\nCMD A 0202 0203\nCMD B 0205 0202\n' > "$PREFS/Fast.REM"
printf 'MAPVER 2\n\nAPPL *GLOBAL*\n\nACT A KEY 00000778 0000 -1 -1 -1 -1\nACT B KEY 00000f72 0000 -1 -1 -1 -1\n' \
  > "$PREFS/Fast.map"
sed -i -e 's/^MAP .*/MAP Fast.map/' -e 's/^REM .*/REM Fast.REM/' "$PREFS/OrvendaVQX.cfg"
fifo="$WORK/ir"
mkfifo "$fifo"
vqx_start_mapper --input "$fifo" --front robust --record "$WORK/fast.rec"
vqx_wait_line "$WORK/mapper.log" "reading raw timings from $fifo" || fail "the Mapper did not open the FIFO"
grep -q "in force (start)" "$WORK/mapper.log" || fail "the fast remote and its mapping were not put in force"
# The writer: ten presses' sample words every 10 ms on the wall clock, 1,000 times.
perl -MTime::HiRes=time,sleep -e '
  my @a = (0x01000000 | 200, 200, 0x01000000 | 200, 400);
  my @b = (0x01000000 | 200, 500, 0x01000000 | 200, 100);
  my $chunk = ""; for my $k (0 .. 9) { $chunk .= pack("V*", $k % 2 ? @b : @a) }
  open(my $f, ">", $ARGV[0]) or die; binmode $f; select((select($f), $| = 1)[0]);
  my $t0 = time;
  for my $n (0 .. 999) { my $wait = $t0 + $n * 0.01 - time; sleep($wait) if $wait > 0; print $f $chunk }
  close $f' "$fifo" &
WRITER_PID=$!
rss() { awk '/^VmRSS:/ { print $2 }' "/proc/$MAPPER_PID/status"; }
sleep 1
rss1=$(rss)
sleep 4
rss2=$(rss)
wait "$WRITER_PID" || fail "the writer of the presses failed"
WRITER_PID=""
sleep 0.5
rss3=$(rss)
for i in $(seq 1 50); do
  [ "$(wc -l < "$WORK/fast.rec")" -ge 10000 ] && break
  sleep 0.1
done
taps=$(wc -l < "$WORK/fast.rec")
xs=$(grep -c 'KEY_TAP 00000778 0000$' "$WORK/fast.rec" || true)
rs=$(grep -c 'KEY_TAP 00000f72 0000$' "$WORK/fast.rec" || true)
echo "10,000 presses in 10 s: $taps performed ($xs of A, $rs of B); VmRSS $rss1 kB after 1 s, $rss2 kB after 5 s, $rss3 kB at the end"
[ "$xs" -eq 5000 ] && [ "$rs" -eq 5000 ] && [ "$taps" -eq 10000 ] ||
  fail "of 10,000 presses, $taps were performed ($xs of A, $rs of B)"
# Flat: growth from the first sample to the last within 2 MB. A build with AddressSanitizer keeps
# freed memory in its quarantine (up to 256 MB), so its resident memory grows by design: there the
# count of presses is checked, and the memory only in the normal build.
if grep -q "__asan_init" "$APPDIR/vqx-mapper" 2> /dev/null; then
  echo "memory not judged: this Mapper is built with AddressSanitizer, whose quarantine keeps freed memory"
else
  [ $((rss3 - rss1)) -le 2048 ] || fail "the Mapper's memory grew from $rss1 kB to $rss3 kB during the presses"
fi
kill -TERM "$MAPPER_PID"
status=0
wait "$MAPPER_PID" || status=$?
MAPPER_PID=""
[ "$status" -eq 0 ] || fail "the Mapper ended with status $status after the presses"
echo "PASS"
