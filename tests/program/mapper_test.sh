#!/usr/bin/env bash
# The Mapper and the editor together on one private session bus under Xvfb: two presses of Play
# replayed in real time select Play's row in the editor and are reported as DWN and UPP; the
# editor changes Play's action and saves, and the same Mapper performs the new action at the next
# press; Options > Quit Mapper ends it with status 0, and Options > Start Mapper starts one Mapper
# however often it is chosen.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
vqx_enter_session "$@"
vqx_prepare
map="$PREFS/OrvendaVQXM1.map"
rem="$PREFS/OrvendaVQXM1A.REM"

# Two presses of Play, a third of a second apart, after a second and a half of silence.
{
  echo "space 1500000"
  vqx_frames "$rem" Play 1 330000
  vqx_frames "$rem" Play 1 330000
} > "$WORK/play.txt"

vqx_start_monitor
vqx_start_editor
win=$(vqx_wait_window "Orvenda VQX Map Editor") || fail "the main window did not appear"
sleep 0.5

# vlc is in front for the Mapper, as the editor shows vlc's entry.
vqx_start_mapper --replay "$WORK/play.txt" --front vlc --record "$WORK/record.log" --verbose
vqx_wait_line "$WORK/editor.log" "^selected row 8 button Play " || fail "the replayed Play did not select Play's row"
vqx_wait_count "$WORK/monitor.log" 'string "UPP Play"' 2 || fail "dbus-monitor did not see two releases of Play"
downs=$(grep -c 'string "DWN Play"' "$WORK/monitor.log" || true)
ups=$(grep -c 'string "UPP Play"' "$WORK/monitor.log" || true)
[ "$downs" -eq 2 ] && [ "$ups" -eq 2 ] || fail "dbus-monitor saw $downs DWN Play and $ups UPP Play, expected 2 and 2"
# vlc's own Play is the space bar, one tap a press.
taps=$(grep -c 'KEY_TAP 00003120 0000$' "$WORK/record.log" || true)
[ "$taps" -eq 2 ] || fail "the recording output shows $taps taps of the space bar, expected 2"
[ "$(wc -l < "$WORK/record.log")" -eq 2 ] || fail "the recording output shows more than the two taps"
kill -0 "$MAPPER_PID" 2> /dev/null || fail "the Mapper ended after the replay"

# The editor gives vlc's Play a volume Set with un-mute (Play's row is selected) and saves.
editor_title="^Edit Button Action$"
vqx_keys "$win" alt+i
dialog=$(vqx_wait_window "$editor_title") || fail "Alt+I did not open the editor on Play"
sleep 0.3
vqx_keys "$dialog" Down Down Down
vqx_keys "$dialog" Tab Tab Tab space Up Up Up Up Up Tab Tab Tab Tab Tab space Tab Tab Tab space
vqx_wait_no_window "$editor_title" || fail "OK did not close the editor"
before=$(cat "$map")
vqx_keys "$win" ctrl+s
for i in $(seq 1 50); do [ "$(cat "$map")" != "$before" ] && break; sleep 0.1; done
line=$(awk '/^APPL vlc$/ { on = 1 } /^APPL / && !/vlc$/ { on = 0 } on && $2 == "Play"' "$map")
[[ $line =~ ^ACT\ Play\ +VOL\ SET\ ([0-9]+)\ .*\ 1\ 0\ OVR$ ]] || fail "the saved line of vlc's Play is not a volume Set: $line"
value=${BASH_REMATCH[1]}
vqx_wait_line "$WORK/mapper.log" "in force \(RLD\)" || fail "the Mapper did not reload after the save"

# The next press performs the new action.
vqx_bus_call Press s:Play > /dev/null || fail "Press Play was refused"
vqx_bus_call Release s:Play > /dev/null || fail "Release Play was refused"
vqx_wait_line "$WORK/record.log" "VOLUME 1 $value 1 0$" || fail "the press after the reload did not set the volume to $value"
reloads=$(grep -c "in force (" "$WORK/mapper.log" || true)
[ "$reloads" -eq 2 ] || fail "the Mapper put a mapping in force $reloads times, expected 2 (start and RLD)"

# Options > Quit Mapper ends it with status 0.
vqx_keys "$win" alt+o
sleep 0.3
vqx_keys "$win" Down Down Return
for i in $(seq 1 50); do kill -0 "$MAPPER_PID" 2> /dev/null || break; sleep 0.1; done
kill -0 "$MAPPER_PID" 2> /dev/null && fail "Quit Mapper did not end the Mapper"
status=0
wait "$MAPPER_PID" || status=$?
MAPPER_PID=""
[ "$status" -eq 0 ] || fail "the Mapper ended with status $status after Quit Mapper"
grep -q "quitting (QUI)" "$WORK/mapper.log" || fail "the Mapper did not say it quit on QUI"

# Options > Start Mapper starts the Mapper beside the editor; starting it twice gives one Mapper.
has_mapper() {
  gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
    --method org.freedesktop.DBus.NameHasOwner com.Orvenda.VQX.Mapper 2> /dev/null | grep -q true
}
mapper_pid() {
  gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
    --method org.freedesktop.DBus.GetConnectionUnixProcessID com.Orvenda.VQX.Mapper | sed -E 's/.*uint32 ([0-9]+).*/\1/'
}
start_from_menu() {
  vqx_keys "$win" alt+o
  sleep 0.3
  vqx_keys "$win" Down Down Down Return
}
start_from_menu
for i in $(seq 1 50); do has_mapper && break; sleep 0.1; done
has_mapper || fail "Start Mapper did not start the Mapper"
first=$(mapper_pid)
start_from_menu
sleep 1
[ "$(mapper_pid)" = "$first" ] || fail "a second Start Mapper replaced the running Mapper"
kill -0 "$first" 2> /dev/null || fail "the Mapper started from the menu is gone"
vqx_keys "$win" alt+o
sleep 0.3
vqx_keys "$win" Down Down Return
for i in $(seq 1 50); do has_mapper || break; sleep 0.1; done
has_mapper && fail "Quit Mapper did not end the Mapper started from the menu"
vqx_key_closing "$win" ctrl+q
echo "PASS"
