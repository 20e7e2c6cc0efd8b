#!/usr/bin/env bash
# The application in front on X11, whole: the Mapper follows openbox's active window among test
# windows of different classes (one found through a desktop entry's StartupWMClass, one by its
# executable's long name, one of no entry, one whose application id is set late), shows it in the
# FrontApplication and Entry properties, and a press performs that application's action. A window
# closed while in front, openbox stopped and started again, and the X server going away are handled.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
vqx_enter_session "$@"
vqx_prepare
WINDOWS=()

front_cleanup() {
  local pid
  for pid in "${WINDOWS[@]}"; do kill "$pid" 2> /dev/null || true; done
  [ -n "${OPENBOX_PID:-}" ] && kill "$OPENBOX_PID" 2> /dev/null || true
  [ -n "${MAPPER_PID:-}" ] && kill "$MAPPER_PID" 2> /dev/null || true
  [ -n "${XVFB_PID:-}" ] && kill "$XVFB_PID" 2> /dev/null || true
  vqx_cleanup
}
trap front_cleanup EXIT

# An X server of this test's own, so that it can be taken away at the end.
exec 3> "$WORK/display"
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp > "$WORK/xvfb.log" 2>&1 &
XVFB_PID=$!
exec 3>&-
for i in $(seq 1 100); do [ -s "$WORK/display" ] && break; sleep 0.1; done
[ -s "$WORK/display" ] || fail "Xvfb did not start"
export DISPLAY=":$(head -n 1 "$WORK/display")"

start_openbox() {
  # A window manager that ended may leave its check window's property behind.
  xprop -root -remove _NET_SUPPORTING_WM_CHECK 2> /dev/null || true
  openbox > "$WORK/openbox.log" 2>&1 &
  OPENBOX_PID=$!
  for i in $(seq 1 200); do
    xprop -root _NET_SUPPORTING_WM_CHECK 2> /dev/null | grep -q "window id" && return 0
    sleep 0.1
  done
  fail "openbox did not start: $(cat "$WORK/openbox.log")"
}
start_openbox

# Desktop entries of this test only: the viewer's class is nothing like its entry's id.
# (The Mapper alone is given these folders: openbox finds its theme in the system's.)
mkdir -p "$WORK/data/applications" "$WORK/system-data/applications"
printf '[Desktop Entry]\nType=Application\nName=Viewer\nExec=viewer\nStartupWMClass=PixViewer\n' \
  > "$WORK/data/applications/org.example.Viewer.desktop"

# Each entry's Play a different key; the default entry's is 0x3100.
{
  printf 'MAPVER 2\n\nDEFAULT\n\nACT Play KEY 00003100 0000 -1 -1 0 0 OVR\n'
  printf '\nAPPL *GLOBAL*\n\nACT Play KEY 00003199 0000 -1 -1 0 0\n'
  printf '\nAPPL org.example.Viewer\n\nACT Play KEY 00003101 0000 -1 -1 0 0 OVR\n'
  printf '\nAPPL vqx-window-with-a-long-name\n\nACT Play KEY 00003102 0000 -1 -1 0 0 OVR\n'
  printf '\nAPPL org.example.Late\n\nACT Play KEY 00003103 0000 -1 -1 0 0 OVR\n'
  printf '\nAPPL PixViewer\n\nACT Play KEY 00003104 0000 -1 -1 0 0 OVR\n'
} > "$PREFS/OrvendaVQXM1.map"

long="$WORK/vqx-window-with-a-long-name"
cp "$APPDIR/../tests/vqx-test-window" "$long"
# Starts a test window; its id in WIN, its process in WINDOWS.
window() { # title program options...
  local title="$1" program="$2"
  shift 2
  "$program" --title "$title" "$@" "$WORK/$title.log" 2>> "$WORK/windows.err" &
  WINDOWS+=($!)
  WIN=$(vqx_wait_window "^$title\$") || fail "the window $title did not appear"
}
window FrontA "$APPDIR/../tests/vqx-test-window" --class PixViewer --instance pixviewer
winA=$WIN
window FrontB "$long" --class OtherClass
winB=$WIN
pidB=${WINDOWS[1]}
window FrontC "$APPDIR/../tests/vqx-test-window" --class NoEntryClass
winC=$WIN

data_dirs=${XDG_DATA_DIRS-}
export XDG_DATA_HOME="$WORK/data" XDG_DATA_DIRS="$WORK/system-data"
vqx_start_mapper --output record --record "$WORK/record.log" --verbose
unset XDG_DATA_HOME
if [ -n "$data_dirs" ]; then export XDG_DATA_DIRS="$data_dirs"; else unset XDG_DATA_DIRS; fi
vqx_wait_line "$WORK/mapper.log" "front application: the X server's active window" ||
  fail "the Mapper did not say it follows the X server's active window"

property() {
  gdbus call --session --dest com.Orvenda.VQX.Mapper --object-path /com/Orvenda/VQX/Mapper \
    --method org.freedesktop.DBus.Properties.Get com.Orvenda.VQX.Mapper1 "$1" 2> /dev/null || true
}
now_ms() { echo $(($(date +%s%N) / 1000000)); }

# Activates window $1 and waits until FrontApplication is exactly $2 (gdbus's printing of the
# list); prints how long it took.
activate() { # window expected what
  local start got i
  start=$(now_ms)
  xdotool windowactivate "$1" 2> /dev/null || true
  for i in $(seq 1 200); do
    got=$(property FrontApplication)
    [ "$got" = "(<$2>,)" ] && break
    # A window manager still starting up may have missed the request.
    [ $((i % 40)) -eq 0 ] && xdotool windowactivate "$1" 2> /dev/null
    sleep 0.01
  done
  [ "$got" = "(<$2>,)" ] || fail "$3: FrontApplication is $got, expected $2 ($(xprop -root _NET_ACTIVE_WINDOW 2>&1), window $(printf 0x%x "$1"))"
  local took=$(($(now_ms) - start))
  echo "$3: FrontApplication followed in $took ms"
  [ "$took" -le 2000 ] || fail "$3: FrontApplication took $took ms to follow"
}

# A press of Play performs the key $1, and Entry is $2.
press() { # key entry what
  local got before
  got=$(property Entry)
  [ "$got" = "(<'$2'>,)" ] || fail "$3: Entry is $got, expected '$2'"
  before=$(grep -c . "$WORK/record.log" 2> /dev/null || true)
  vqx_bus_call Press s:Play > /dev/null || fail "$3: Press Play was refused"
  vqx_bus_call Release s:Play > /dev/null || fail "$3: Release Play was refused"
  vqx_wait_count "$WORK/record.log" "KEY_TAP " $((before + 1)) || fail "$3: the press performed nothing"
  grep 'KEY_TAP ' "$WORK/record.log" | tail -n 1 | grep -q "KEY_TAP 0000$1 " ||
    fail "$3: the press performed $(tail -n 1 "$WORK/record.log"), expected the key $1"
}

activate "$winA" "['org.example.Viewer', 'vqx-test-window', 'PixViewer', 'pixviewer']" "viewer"
press 3101 org.example.Viewer "viewer"
activate "$winB" "['vqx-window-with-a-long-name', 'OtherClass']" "long-named executable"
press 3102 vqx-window-with-a-long-name "long-named executable"
activate "$winC" "['vqx-test-window', 'NoEntryClass']" "window of no entry"
default_entry=$(property Entry | sed "s/^(<'\(.*\)'>,)$/\1/")
press 3100 "$default_entry" "window of no entry"

# An application id set after the window appeared is seen.
start=$(now_ms)
xprop -id "$winC" -f _GTK_APPLICATION_ID 8u -set _GTK_APPLICATION_ID org.example.Late
for i in $(seq 1 200); do
  [ "$(property FrontApplication)" = "(<['org.example.Late', 'vqx-test-window', 'NoEntryClass']>,)" ] && break
  sleep 0.01
done
[ "$(property FrontApplication)" = "(<['org.example.Late', 'vqx-test-window', 'NoEntryClass']>,)" ] ||
  fail "the late application id was not seen: $(property FrontApplication)"
echo "late application id: FrontApplication followed in $(($(now_ms) - start)) ms"
press 3103 org.example.Late "late application id"

# The shell's report through the bus is taken too, and the next change of window wins over it.
vqx_bus_call SetFrontApplication s:org.example.Viewer.desktop s:x u:0 > /dev/null || fail "SetFrontApplication refused"
[ "$(property FrontApplication)" = "(<['org.example.Viewer', 'x']>,)" ] ||
  fail "SetFrontApplication was not taken: $(property FrontApplication)"
press 3101 org.example.Viewer "reported through the bus"
activate "$winB" "['vqx-window-with-a-long-name', 'OtherClass']" "after the bus report"

# The window in front closes: its names go.
kill "$pidB"
for i in $(seq 1 200); do
  property FrontApplication | grep -q "vqx-window-with-a-long-name" || break
  sleep 0.01
done
got=$(property FrontApplication)
echo "after the window in front closed: $got"
echo "$got" | grep -q "vqx-window-with-a-long-name" && fail "the closed window stayed in front"
kill -0 "$MAPPER_PID" 2> /dev/null || fail "the Mapper ended when the window in front closed"

# openbox ends and starts again: the Mapper goes on and follows the new one.
activate "$winA" "['org.example.Viewer', 'vqx-test-window', 'PixViewer', 'pixviewer']" "before openbox ends"
kill "$OPENBOX_PID"
wait "$OPENBOX_PID" 2> /dev/null || true
OPENBOX_PID=""
sleep 0.3
echo "with no window manager: $(property FrontApplication) $(xprop -root _NET_ACTIVE_WINDOW 2>&1)"
kill -0 "$MAPPER_PID" 2> /dev/null || fail "the Mapper ended with openbox"
# The property taken away: no window in front, the default entry.
xprop -root -remove _NET_ACTIVE_WINDOW
for i in $(seq 1 200); do [ "$(property FrontApplication)" = "(<@as []>,)" ] && break; sleep 0.01; done
[ "$(property FrontApplication)" = "(<@as []>,)" ] ||
  fail "with _NET_ACTIVE_WINDOW removed the names stayed: $(property FrontApplication)"
press 3100 "$default_entry" "no window manager"
start_openbox
activate "$winC" "['org.example.Late', 'vqx-test-window', 'NoEntryClass']" "openbox started again"
press 3103 org.example.Late "openbox started again"
activate "$winA" "['org.example.Viewer', 'vqx-test-window', 'PixViewer', 'pixviewer']" "openbox started again"

# The X server goes away: logged, the default entry applies, the Mapper goes on.
kill "$OPENBOX_PID" 2> /dev/null || true
OPENBOX_PID=""
kill "$XVFB_PID"
wait "$XVFB_PID" 2> /dev/null || true
XVFB_PID=""
vqx_wait_line "$WORK/mapper.log" "connection to X11 .* is lost" || fail "the lost X connection was not logged"
[ "$(property FrontApplication)" = "(<@as []>,)" ] || fail "names stayed after the X server went: $(property FrontApplication)"
press 3100 "$default_entry" "no X server"
kill -0 "$MAPPER_PID" 2> /dev/null || fail "the Mapper ended with the X server"
kill -TERM "$MAPPER_PID"
wait "$MAPPER_PID" || fail "the Mapper did not end with status 0"
MAPPER_PID=""
echo "PASS"
