#!/usr/bin/env bash
# The real program under Xvfb, first without and then with a window manager (openbox): a start
# that only shows the main window and quits leaves "Manager Prefs" as it was, neither rewritten
# nor replaced (its times are put far in the past first, which any write would move to now).
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
vqx_enter_session "$@"
vqx_prepare
prefs="$PREFS/Manager Prefs"

# Starts the editor, waits for its window, quits with Ctrl+Q and waits for the end.
run_once() {
  vqx_start_editor
  local win
  win=$(vqx_wait_window "Orvenda VQX Map Editor") || fail "the main window did not appear ($1)"
  sleep 0.5
  vqx_key_closing "$win" ctrl+q
  for i in $(seq 1 50); do kill -0 "$EDITOR_PID" 2> /dev/null || break; sleep 0.1; done
  kill -0 "$EDITOR_PID" 2> /dev/null && fail "Ctrl+Q did not end the program ($1)"
  wait "$EDITOR_PID" || fail "the program ended with status $? ($1)"
  EDITOR_PID=""
}

# Checks that a run leaves the preferences file exactly as it was.
check_untouched() {
  touch -d "2001-01-01 00:00:00" "$prefs"
  local before content
  before=$(stat -c '%i %Y %s' "$prefs")
  content=$(od -An -tx1 "$prefs")
  run_once "$1"
  [ "$(stat -c '%i %Y %s' "$prefs")" = "$before" ] \
    || fail "$1: Manager Prefs was written (inode, time, size before: $before, after: $(stat -c '%i %Y %s' "$prefs"))"
  [ "$(od -An -tx1 "$prefs")" = "$content" ] || fail "$1: Manager Prefs changed"
}

# A new user's first run writes the preferences.
[ -e "$prefs" ] && fail "the installer already made Manager Prefs"
run_once "first run"
[ -e "$prefs" ] || fail "the first run did not write Manager Prefs"
check_untouched "second run, no window manager"

if command -v openbox > /dev/null; then
  openbox > "$WORK/openbox.log" 2>&1 &
  WM_PID=$!
  sleep 1
  # The first run under the window manager may record where it placed the window; from then on
  # the place is kept.
  run_once "first run under openbox"
  check_untouched "second run under openbox"
  kill "$WM_PID" 2> /dev/null || true
else
  echo "openbox is not installed: the runs under a window manager are skipped"
fi
echo "preferences kept: ok"
