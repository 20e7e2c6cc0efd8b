#!/usr/bin/env bash
# "vqx-mapper check" on a private session bus and X server: a FIFO as the configuration's receiver,
# XTest on the display, a sound server of its own; without and with a running Mapper, without a
# display, without the FIFO, without a session bus and without the preferences folder. The lines
# and the exit status are asserted, not the whole text.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
vqx_enter_session "$@"
vqx_prepare

check_cleanup() {
  [ -n "${PULSE_PID:-}" ] && kill "$PULSE_PID" 2> /dev/null || true
  vqx_cleanup
}
trap check_cleanup EXIT

# The configuration names a FIFO as the receiver (INT holds at most 32 characters).
fifo="$WORK/ir"
[ "${#fifo}" -le 32 ] || fail "the work folder's path is too long for INT: $fifo"
mkfifo "$fifo"
sed -i "s|^INT .*|INT $fifo|" "$PREFS/OrvendaVQX.cfg"

# Runs check with a time limit, its output in $WORK/$1.log and its status in $status.
run_check() { # name [env assignments...]
  local name=$1
  shift
  status=0
  env "$@" timeout 30 "$APPDIR/vqx-mapper" check > "$WORK/$name.log" 2>&1 || status=$?
}
has() { # name pattern what
  grep -q -E -- "$2" "$WORK/$1.log" || { echo "--- check output ($1)"; cat "$WORK/$1.log"; fail "$3"; }
}

# A sound server with a null sink, so that the sound line has something to find.
vqx_start_pulse runtime
runtime="$WORK/runtime"

# Under Xvfb, no Mapper yet: XTest sends keys, the FIFO is read, the files are fine: status 0.
run_check plain
has plain "^OK +files: OrvendaVQX.cfg, OrvendaVQXM1.map and OrvendaVQXM1A.REM read" "the files were not reported as read"
has plain "^OK +remote OrvendaVQXM1A.REM: [0-9]+ buttons with infrared timings" "the remote's buttons were not counted"
has plain "^OK +source \"$fifo\": a FIFO" "the FIFO of INT was not found readable"
has plain "^OK +xtest: the X server of $DISPLAY" "XTest on the display was not found"
has plain "^(OK|NOT) +uinput: " "no uinput line"
has plain "^OK +output: --output auto would use (uinput|xtest)" "no output was found usable"
has plain "^OK +sound: connected to .*test" "the sound server's null sink was not found"
has plain "^(OK|NOT|NOTE) +front application: " "no front application line"
has plain "^OK +session bus: connected" "the session bus was not found"
has plain "^NOT +Mapper: not running" "a Mapper was reported though none runs"
has plain "^     fix: start it" "no hint on starting the Mapper"
has plain "^Verdict: a press of the remote would work" "the verdict is not that a press works"
[ "$status" -eq 0 ] || { cat "$WORK/plain.log"; fail "check ended with status $status though a press would work"; }

# With a Mapper running: its input and output named.
vqx_start_mapper --output record --record "$WORK/record.log"
vqx_wait_line "$WORK/mapper.log" "reading raw timings from $fifo" || fail "the Mapper did not open the FIFO"
run_check running
has running "^OK +Mapper: running \(process $MAPPER_PID\), input $fifo, output record" "the running Mapper was not reported"
[ "$status" -eq 0 ] || fail "check with a Mapper running ended with status $status"
kill "$MAPPER_PID"
wait "$MAPPER_PID" 2> /dev/null || true
MAPPER_PID=

# Without a display: no XTest; unless uinput can be used, a press cannot be performed.
run_check nodisplay -u DISPLAY
has nodisplay "^(NOT|NOTE) +xtest: no X display" "no line saying there is no display"
if [ -w /dev/uinput ] && [ -c /dev/uinput ]; then
  has nodisplay "^OK +output: --output auto would use uinput" "uinput was not chosen"
  [ "$status" -eq 0 ] || fail "check without a display but with uinput ended with status $status"
else
  has nodisplay "^NOT +output: no way to send keys" "no line saying that nothing can send keys"
  has nodisplay "^Verdict: a press of the remote would not work yet: .*no output" "the verdict does not name the output"
  [ "$status" -eq 1 ] || fail "check without any output ended with status $status"
fi
has nodisplay "^(NOT|NOTE) +front application: " "no front application line without a display"

# The FIFO gone: the source is not there.
rm "$fifo"
run_check nofifo
has nofifo "^NOT +source \"$fifo\": is not there" "the missing FIFO was not reported"
has nofifo "^Verdict: .*would not work yet: no receiver or source can be read" "the verdict does not name the source"
[ "$status" -eq 1 ] || fail "check without its source ended with status $status"
mkfifo "$fifo"

# No session bus and no sound server: said so, and check does not hang.
run_check nobus DBUS_SESSION_BUS_ADDRESS=unix:path=$WORK/no-bus PULSE_SERVER=unix:$WORK/no-pulse
has nobus "^NOT +session bus: not reachable" "the missing session bus was not reported"
has nobus "^NOT +sound: no sound server" "the missing sound server was not reported"
[ "$status" -eq 0 ] || fail "check without a bus ended with status $status (a press would still work)"

# No preferences folder at all.
mkdir "$WORK/empty"
run_check nofiles XDG_CONFIG_HOME=$WORK/empty
has nofiles "^NOT +files: the preferences folder .* is missing" "the missing preferences folder was not reported"
has nofiles "fix: run vqx-install-preferences" "no hint on installing the preferences"
[ "$status" -eq 1 ] || fail "check without the files ended with status $status"
echo "ok: check"
