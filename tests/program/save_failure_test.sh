#!/usr/bin/env bash
# Saving when the disk takes no more (a file size limit on the running program stands in for a
# full preferences folder): Ctrl+S reports the failure, the mapping stays marked changed and the
# old file stays as it was, with no temporary file left; once space is back, Ctrl+S succeeds.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
vqx_enter_session "$@"
vqx_prepare
map="$PREFS/OrvendaVQXM1.map"
before=$(cat "$map")
message=$(grep -P '^12\t' "$(dirname "$0")/../../resources/rsrc/STR#/129.txt" | cut -f2-)

vqx_start_monitor
# Writes beyond 4 KiB fail (the mapping is larger); the signal for it is ignored, as a full disk
# gives a plain write error.
(trap "" XFSZ; ulimit -S -f 4; exec env VQX_TRACE_SELECTION=1 VQX_TRACE_ALERTS=1 "$APPDIR/vqx-map-editor" \
  > "$WORK/editor.log" 2>&1) &
EDITOR_PID=$!
win=$(vqx_wait_window "Orvenda VQX Map Editor") || fail "the main window did not appear"
sleep 0.5
vqx_keys "$win" alt+d
sleep 0.3
vqx_keys "$win" ctrl+s
vqx_wait_line "$WORK/editor.log" "^shown 129: " || fail "no message after the failed save"
grep -q -F "shown 129: $message" "$WORK/editor.log" || { grep shown "$WORK/editor.log"; fail "the failure message is not the save-failure text"; }
alert=$(vqx_wait_window "^Orvenda VQX Map Editor$") || fail "the failure alert is not on screen"
vqx_keys "$alert" Return
sleep 0.5
xdotool getwindowname "$win" | grep -q '\*' || fail "after the failed save the title no longer shows unsaved changes"
[ "$(cat "$map")" = "$before" ] || fail "the failed save changed the mapping file"
leftovers=$(find "$PREFS" -name '.*' -type f | wc -l)
[ "$leftovers" -eq 0 ] || fail "the failed save left $leftovers temporary file(s)"
grep -q '"RLD"' "$WORK/monitor.log" && fail "the Mapper was told to reload after a failed save"

# Space is back: the same command now saves.
prlimit --pid "$EDITOR_PID" --fsize=unlimited
vqx_keys "$win" ctrl+s
for i in $(seq 1 50); do [ "$(cat "$map")" != "$before" ] && break; sleep 0.1; done
grep -A2 -x "APPL vlc" "$map" | grep -q -x "DIS" || fail "the second save did not write the change"
sleep 0.3
xdotool getwindowname "$win" | grep -q '\*' && fail "the title still shows unsaved changes after saving"
[ "$(grep -c '"RLD"' "$WORK/monitor.log")" -eq 1 ] || fail "expected one reload request after the successful save"
echo "save failure: ok"
