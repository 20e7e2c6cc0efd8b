#!/usr/bin/env bash
# Key capture on French (AZERTY) and German (QWERTZ) layouts: the editor's key capture runs on a
# real X server whose layout is switched with setxkbmap, and keys are pressed by their labels.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
vqx_enter_session "$@"
binary="$APPDIR/../tests/window_editor_keyboard_layout_test"
if [ ! -x "$binary" ]; then
  echo "FAIL: $binary is not built"
  exit 1
fi
# A window manager gives the editor's window the focus, where xdotool's keys arrive.
openbox > /dev/null 2>&1 &
WM_PID=$!
trap 'kill "$WM_PID" 2> /dev/null || true' EXIT
for i in $(seq 1 50); do
  xprop -root _NET_SUPPORTING_WM_CHECK 2> /dev/null | grep -q "window id" && break
  sleep 0.1
done
for layout in fr de; do
  setxkbmap "$layout"
  echo "--- layout $layout"
  VQX_TEST_LAYOUT="$layout" QT_QPA_PLATFORM=xcb "$binary" || { echo "FAIL: key capture on layout $layout"; exit 1; }
done
setxkbmap us
echo "PASS"
