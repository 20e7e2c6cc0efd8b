#!/usr/bin/env bash
# The real program under Xvfb on a private session bus: arrow keys select rows, the Disabled box
# and Ctrl+S change the mapping on disk and tell the Mapper to reload once, a button pressed on the
# remote selects its row, SIGTERM with unsaved changes asks the save question, Quit ends cleanly.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
vqx_enter_session "$@"
vqx_prepare
map="$PREFS/OrvendaVQXM1.map"

vqx_start_monitor
vqx_start_editor
win=$(vqx_wait_window "Orvenda VQX Map Editor") || fail "the main window did not appear"
sleep 0.5

# Arrow keys: the first Down selects row 0, then one row further each time.
vqx_keys "$win" Down Down Down
vqx_wait_line "$WORK/editor.log" "^selected row 2 button Back " || fail "Down Down Down did not select row 2 (Back)"

# The Disabled box of the current application (vlc), then Ctrl+S.
before=$(cat "$map")
vqx_keys "$win" alt+d
sleep 0.3
xdotool getwindowname "$win" | grep -q '\*' || fail "the title does not show unsaved changes"
vqx_keys "$win" ctrl+s
for i in $(seq 1 50); do [ "$(cat "$map")" != "$before" ] && break; sleep 0.1; done
grep -A2 -x "APPL vlc" "$map" | grep -q -x "DIS" || fail "vlc is not written disabled"
# Nothing else changed: the file read back equals the pristine one with vlc disabled.
expected=$(sed -e 's|^DEFAULT$|APPL // : default : \\|' "$APPDIR/OrvendaVQXM1.map" | awk '{print} /^APPL vlc$/{getline; print; print "DIS"; next}')
[ "$(cat "$map")" = "$expected" ] || { diff <(echo "$expected") "$map" | head; fail "the saved mapping differs in more than the disabled flag"; }
sleep 0.5
rld=$(grep -c '"RLD"' "$WORK/monitor.log" || true)
[ "$rld" -eq 1 ] || fail "dbus-monitor saw $rld reload requests, expected 1"
grep -q 'string "command"' "$WORK/monitor.log" || fail "the reload was not sent as service command"
xdotool getwindowname "$win" | grep -q '\*' && fail "the title still shows unsaved changes after saving"

# A button pressed on the remote selects its row.
vqx_send button "DWN Play"
vqx_wait_line "$WORK/editor.log" "^selected row [0-9]+ button Play " || fail "DWN Play did not select Play's row"
vqx_send button "UPP"

# SIGTERM with unsaved changes asks the save question; Cancel keeps the program running.
vqx_keys "$win" alt+d
sleep 0.3
kill -TERM "$EDITOR_PID"
question=$(vqx_wait_window "^Save Changes") || fail "SIGTERM with unsaved changes did not ask to save"
vqx_wait_line "$WORK/editor.log" "^shown 134: OrvendaVQXM1.map$" || fail "the save question does not name the mapping"
vqx_keys "$question" Escape
sleep 0.5
kill -0 "$EDITOR_PID" 2> /dev/null || fail "Cancel in the save question ended the program"

# Quit with Don't Save: the program ends with status 0 and the file keeps the saved state.
saved=$(cat "$map")
vqx_keys "$win" ctrl+q
question=$(vqx_wait_window "^Save Changes") || fail "Quit with unsaved changes did not ask to save"
vqx_keys "$question" shift+Tab shift+Tab space # from Save, the default button, back to Don't Save
for i in $(seq 1 50); do kill -0 "$EDITOR_PID" 2> /dev/null || break; sleep 0.1; done
kill -0 "$EDITOR_PID" 2> /dev/null && fail "Don't Save did not end the program"
status=0
wait "$EDITOR_PID" || status=$?
EDITOR_PID=""
[ "$status" -eq 0 ] || fail "the program ended with status $status"
[ "$(cat "$map")" = "$saved" ] || fail "Don't Save changed the mapping"
[ -f "$PREFS/Manager Prefs" ] || fail "the window preferences were not written at shutdown"
echo "main window: ok"
