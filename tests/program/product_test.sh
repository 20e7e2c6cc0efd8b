#!/usr/bin/env bash
# The whole product on one private session bus under Xvfb with openbox and a PulseAudio null sink:
# the editor starts the Mapper from its Options menu with no arguments; presses of the shipped
# remote, written as sample words into the FIFO the configuration's INT line names, select the
# button's row in the editor, type the key of the front window's own entry (two windows of
# different classes) through XTest, and change the sink's volume; an action changed in the editor
# and saved is what the next press performs; Quit Mapper ends it with status 0, and Start Mapper
# chosen twice in a row leaves exactly one Mapper running.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
vqx_enter_session "$@"
vqx_prepare
map="$PREFS/OrvendaVQXM1.map"
rem="$PREFS/OrvendaVQXM1A.REM"
reaped="$WORK/reaped.log"
export XDG_RUNTIME_DIR="$WORK/runtime"
mkdir -p "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
# The receiver: a FIFO on a path short enough for the configuration's INT line.
short=$(mktemp -d /tmp/vqxXXXX)
fifo="$short/ir"
mkfifo "$fifo"
WINDOWS=()

product_cleanup() {
  local pid
  for pid in "${WINDOWS[@]}"; do kill "$pid" 2> /dev/null || true; done
  # The editor and the Mappers it started, each by its own process id.
  for pid in $(awk '$1 == "start" { print $2 }' "$reaped" 2> /dev/null) ${MAPPER_PIDS:-}; do
    kill -9 "$pid" 2> /dev/null || true
  done
  [ -n "${OPENBOX_PID:-}" ] && kill "$OPENBOX_PID" 2> /dev/null || true
  [ -n "${PULSE_PID:-}" ] && kill "$PULSE_PID" 2> /dev/null || true
  rm -rf "$short"
  vqx_cleanup
}
trap product_cleanup EXIT

# A sound server of the test's own, with a null sink at 50%.
vqx_start_pulse pulse
runtime="$WORK/pulse"
pactl set-sink-volume @DEFAULT_SINK@ 50%
pactl set-sink-mute @DEFAULT_SINK@ 0
volume() { pactl get-sink-volume @DEFAULT_SINK@ | sed -n 's/.* \([0-9]*\)%.*/\1/p' | head -n 1; }

openbox > "$WORK/openbox.log" 2>&1 &
OPENBOX_PID=$!
sleep 0.5

# The receiver named in the configuration; an entry of a second application whose Play is r
# (vlc's own, shipped, is the space bar).
sed -i "s|^INT .*|INT $fifo|" "$PREFS/OrvendaVQX.cfg"
printf '\nAPPL VqxBeta\n\nACT Play        KEY 00000f72 0000  -1  -1 -1 -1 OVR\n' >> "$map"

# The editor, under a reaper that learns how the Mappers it starts detached end.
VQX_TRACE_SELECTION=1 VQX_TRACE_ROWS=1 VQX_TRACE_ALERTS=1 \
  "$APPDIR/../tests/vqx-reaper" "$reaped" "$APPDIR/vqx-map-editor" > "$WORK/editor.log" 2>&1 &
REAPER_PID=$!
win=$(vqx_wait_window "Orvenda VQX Map Editor") || fail "the main window did not appear"
sleep 0.5

mapper_pid() {
  gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
    --method org.freedesktop.DBus.GetConnectionUnixProcessID com.Orvenda.VQX.Mapper 2> /dev/null |
    sed -n -E 's/.*uint32 ([0-9]+).*/\1/p'
}
menu() { # how many Down from the top of the Options menu
  vqx_keys "$win" alt+o
  sleep 0.3
  local downs=()
  for ((k = 0; k < $1; k++)); do downs+=(Down); done
  vqx_keys "$win" "${downs[@]}" Return
}
start_mapper() { menu 3; }
quit_mapper() { menu 2; }
# The Mappers running now that the editor started (the reaper took them in as orphans).
mappers() {
  local pid n=0
  for pid in $(ps -o pid= --ppid "$REAPER_PID"); do
    [ "$(readlink "/proc/$pid/exe" 2> /dev/null)" = "$(readlink -f "$APPDIR/vqx-mapper")" ] && n=$((n + 1))
  done
  echo "$n"
}
property() { vqx_bus_call org.freedesktop.DBus.Properties.Get s:com.Orvenda.VQX.Mapper1 "s:$1" | sed -n 's/^ok //p'; }

# ---- Options > Start Mapper: no arguments, the FIFO of INT, XTest ----------------------------------
start_mapper
for i in $(seq 1 100); do [ -n "$(mapper_pid)" ] && break; sleep 0.1; done
pid=$(mapper_pid)
[ -n "$pid" ] || fail "Start Mapper did not start the Mapper"
MAPPER_PIDS="$pid"
[ "$(tr '\0' ' ' < "/proc/$pid/cmdline" | wc -w)" -eq 1 ] || fail "the Mapper was started with arguments: $(tr '\0' ' ' < "/proc/$pid/cmdline")"
vqx_wait_line "$WORK/editor.log" "input: reading raw timings from $fifo" || fail "the Mapper did not read the FIFO named by INT"
grep -q "output: xtest" "$WORK/editor.log" || fail "the Mapper does not use XTest"
[ "$(property Input)" = "$fifo" ] || fail "the Input property is $(property Input)"

# Two windows of different classes.
window() { # title class
  "$APPDIR/../tests/vqx-test-window" --title "$1" --class "$2" "$WORK/$1.log" 2>> "$WORK/windows.err" &
  WINDOWS+=($!)
  WIN=$(vqx_wait_window "^$1\$") || fail "the window $1 did not appear"
}
window ProdVlc vlc
winA=$WIN
window ProdBeta VqxBeta
winB=$WIN
front() { # window entry
  xdotool windowactivate --sync "$1" 2> /dev/null || xdotool windowactivate "$1"
  for i in $(seq 1 50); do [ "$(property Entry)" = "$2" ] && return 0; sleep 0.1; done
  fail "the Mapper's entry for the window in front is $(property Entry), expected $2"
}
words() { perl -ne 'print pack("V", $1 eq "pulse" ? 0x01000000 | $2 : $2) if /^(pulse|space) (\d+)/'; }
# One press of a button: its frame written into the FIFO; released 160 ms after it.
press() {
  vqx_frames "$rem" "$1" 1 40000 | words > "$fifo"
  sleep 0.4
}
# A press while the editor is in front: it selects the button's row.
press_selecting() {
  local before
  before=$(grep -c "^selected row [0-9]* button $1 " "$WORK/editor.log" || true)
  vqx_frames "$rem" "$1" 1 40000 | words > "$fifo"
  vqx_wait_count "$WORK/editor.log" "^selected row [0-9]+ button $1 " $((before + 1)) ||
    fail "the press of $1 did not select its row in the editor"
  sleep 0.3
}
editor_front() {
  xdotool windowactivate --sync "$win" 2> /dev/null || xdotool windowactivate "$win"
  for i in $(seq 1 50); do [[ "$(property FrontApplication)" == *vqx-map-editor* ]] && return 0; sleep 0.1; done
  fail "the Mapper does not see the editor in front: $(property FrontApplication)"
}

# ---- each window gets its own entry's key ----------------------------------------------------------
front "$winA" vlc
press Play
vqx_wait_line "$WORK/ProdVlc.log" "^key space " || fail "Play in vlc's window did not type the space bar"
front "$winB" VqxBeta
press Play
vqx_wait_line "$WORK/ProdBeta.log" "^key r " || fail "Play in VqxBeta's window did not type r"
grep -q "^key r " "$WORK/ProdVlc.log" && fail "vlc's window got VqxBeta's r"
grep -q "^key space " "$WORK/ProdBeta.log" && fail "VqxBeta's window got vlc's space bar"

# ---- a volume button ------------------------------------------------------------------------------
front "$winA" vlc
before=$(volume)
press VolUp
for i in $(seq 1 50); do [ "$(volume)" != "$before" ] && break; sleep 0.1; done
after=$(volume)
echo "VolUp changed the sink's volume from $before% to $after%"
# One step of the global VolUp: 12/255 of the range.
[ "$after" -ge $((before + 3)) ] && [ "$after" -le $((before + 6)) ] || fail "VolUp took the volume from $before% to $after%"

# ---- the editor in front: each press selects its row and is only reported --------------------------
editor_front
tab=$'\t'
keysA=$(grep -c "^key " "$WORK/ProdVlc.log")
keysB=$(grep -c "^key " "$WORK/ProdBeta.log")
level=$(volume)
for button in Stop Digit5 VolUp ChanUp Menu Play; do press_selecting "$button"; done
# The row as the list draws it: vlc's entry is the one shown, its Play is the space bar.
grep -q "^row [0-9]* shows [^$tab]*${tab}Play${tab}Keystroke${tab}space" "$WORK/editor.log" ||
  fail "the editor's selected row does not show vlc's Play: $(grep "^row" "$WORK/editor.log" | tail -n 1)"
[ "$(grep -c "^key " "$WORK/ProdVlc.log")" -eq "$keysA" ] && [ "$(grep -c "^key " "$WORK/ProdBeta.log")" -eq "$keysB" ] ||
  fail "presses with the editor in front reached a window"
[ "$(volume)" = "$level" ] || fail "VolUp with the editor in front changed the volume"

# ---- the editor changes vlc's Play and saves; the next press performs the new action ---------------
spaces=$(grep -c "^key space " "$WORK/ProdVlc.log")
pactl set-sink-volume @DEFAULT_SINK@ 20%
pactl set-sink-mute @DEFAULT_SINK@ 1
editor_title="^Edit Button Action$"
vqx_keys "$win" alt+i
dialog=$(vqx_wait_window "$editor_title") || fail "Alt+I did not open the editor on Play"
sleep 0.3
vqx_keys "$dialog" Down Down Down
vqx_keys "$dialog" Tab Tab Tab space Up Up Up Up Up Tab Tab Tab Tab Tab space Tab Tab Tab space
vqx_wait_no_window "$editor_title" || fail "OK did not close the editor"
saved=$(cat "$map")
vqx_keys "$win" ctrl+s
for i in $(seq 1 50); do [ "$(cat "$map")" != "$saved" ] && break; sleep 0.1; done
line=$(awk '/^APPL vlc$/ { on = 1 } /^APPL / && !/vlc$/ { on = 0 } on && $2 == "Play"' "$map")
[[ $line =~ ^ACT\ Play\ +VOL\ SET\ ([0-9]+)\ .*\ 1\ 0\ OVR$ ]] || fail "the saved line of vlc's Play is not a volume Set: $line"
value=${BASH_REMATCH[1]}
vqx_wait_line "$WORK/editor.log" "in force \(RLD\)" || fail "the Mapper did not reload after the save"
grep -q "^APPL VqxBeta$" "$map" || fail "the save lost VqxBeta's entry"
front "$winA" vlc
press Play
want=$(((value * 100 + 127) / 255))
for i in $(seq 1 50); do [ "$(volume)" = "$want" ] && break; sleep 0.1; done
[ "$(volume)" -ge $((want - 1)) ] && [ "$(volume)" -le $((want + 1)) ] ||
  fail "Play after the save set the volume to $(volume)%, expected $want% (Set $value)"
pactl get-sink-mute @DEFAULT_SINK@ | grep -q "no" || fail "Play after the save did not unmute"
[ "$(grep -c "^key space " "$WORK/ProdVlc.log")" -eq "$spaces" ] || fail "Play still typed the space bar after the save"
echo "Play after the save: volume Set $value, the sink at $(volume)%"

# ---- Options > Quit Mapper: status 0 ----------------------------------------------------------------
quit_mapper
vqx_wait_line "$reaped" "^(exit|signal) $pid " || fail "Quit Mapper did not end the Mapper"
grep -q "^exit $pid 0$" "$reaped" || fail "the Mapper ended with $(grep " $pid " "$reaped") after Quit Mapper"
grep -q "quitting (QUI)" "$WORK/editor.log" || fail "the Mapper did not say it quit on QUI"

# ---- Start Mapper twice in a row: exactly one runs ---------------------------------------------------
ended=$(grep -c "^exit " "$reaped" || true)
start_mapper
start_mapper
for i in $(seq 1 100); do [ -n "$(mapper_pid)" ] && break; sleep 0.1; done
first=$(mapper_pid)
[ -n "$first" ] || fail "Start Mapper did not start the Mapper again"
MAPPER_PIDS="$MAPPER_PIDS $first"
sleep 1.5
[ "$(mapper_pid)" = "$first" ] || fail "the Mapper owning the bus name changed from $first to $(mapper_pid)"
[ "$(mappers)" -eq 1 ] || fail "$(mappers) Mappers run after Start Mapper twice"
kill -0 "$first" 2> /dev/null || fail "the Mapper started from the menu is gone"
# The second one, if it got as far as the bus, said so and ended with status 0.
if [ "$(grep -c "^exit " "$reaped")" -gt "$ended" ]; then
  grep -q "already running" "$WORK/editor.log" || fail "a second Mapper ended without saying that one runs already"
  tail -n +$((ended + 1)) <(grep "^exit " "$reaped") | grep -qv " 0$" && fail "a second Mapper ended with an error: $(cat "$reaped")"
fi
front "$winB" VqxBeta
rs=$(grep -c "^key r " "$WORK/ProdBeta.log")
press Play
vqx_wait_count "$WORK/ProdBeta.log" "^key r " $((rs + 1)) || fail "the Mapper started again did not perform Play"
quit_mapper
vqx_wait_line "$reaped" "^(exit|signal) $first " || fail "Quit Mapper did not end the Mapper started again"
grep -q "^exit $first 0$" "$reaped" || fail "the Mapper started again ended with $(grep " $first " "$reaped")"
vqx_key_closing "$win" ctrl+q
echo "PASS"
