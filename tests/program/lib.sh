# Shared functions of the whole-program tests: each test runs on its own X server (Xvfb) and its
# own session bus, with a fresh preferences folder prepared by the installer, and drives the real
# program with xdotool, gdbus and dbus-monitor.

# Re-runs the calling script inside a private session bus and X server, once.
vqx_enter_session() {
  # The program shows real windows on the private X server, whatever the test run set for Qt.
  unset QT_QPA_PLATFORM
  if [ -z "${VQX_IN_SESSION:-}" ]; then
    export VQX_IN_SESSION=1
    exec dbus-run-session -- xvfb-run -a -s "-screen 0 1280x1024x24 -noreset" bash "$0" "$@"
  fi
}

# Prepares $WORK (scratch), $XDG_CONFIG_HOME and $PREFS with the pristine files.
vqx_prepare() {
  WORK=$(mktemp -d)
  export XDG_CONFIG_HOME="$WORK/config"
  mkdir -p "$XDG_CONFIG_HOME"
  PREFS="$XDG_CONFIG_HOME/Orvenda VQX Preferences"
  "$APPDIR/vqx-install-preferences" > "$WORK/install.log"
  trap vqx_cleanup EXIT
}

vqx_cleanup() {
  [ -n "${EDITOR_PID:-}" ] && kill -9 "$EDITOR_PID" 2> /dev/null || true
  [ -n "${MONITOR_PID:-}" ] && kill "$MONITOR_PID" 2> /dev/null || true
  [ -n "${MAPPER_PID:-}" ] && kill -9 "$MAPPER_PID" 2> /dev/null || true
  if [ -n "${VQX_KEEP_WORK:-}" ]; then echo "work folder kept: $WORK"; else rm -rf "$WORK"; fi
}

fail() {
  echo "FAIL: $*"
  [ -f "$WORK/editor.log" ] && { echo "--- editor output"; tail -n 40 "$WORK/editor.log"; }
  [ -f "$WORK/mapper.log" ] && { echo "--- Mapper output"; tail -n 40 "$WORK/mapper.log"; }
  # What the screen showed, for a look at the kept work folder.
  [ -n "${VQX_KEEP_WORK:-}" ] && import -window root "$WORK/failure.png" 2> /dev/null || true
  exit 1
}

# Starts the editor in the background with its output in $WORK/editor.log.
vqx_start_editor() {
  VQX_TRACE_SELECTION=1 VQX_TRACE_ROWS=1 VQX_TRACE_ALERTS=1 "$APPDIR/vqx-map-editor" > "$WORK/editor.log" 2>&1 &
  EDITOR_PID=$!
}

# Waits until a visible window whose title matches $1 exists; prints its id.
vqx_wait_window() {
  local id="" i
  for i in $(seq 1 100); do
    id=$(xdotool search --onlyvisible --name "$1" 2> /dev/null | head -n 1 || true)
    [ -n "$id" ] && { echo "$id"; return 0; }
    sleep 0.1
  done
  return 1
}

# Waits until no visible window's title matches $1 (three looks in a row: a search may miss a
# window while others come and go).
vqx_wait_no_window() {
  local i misses=0
  for i in $(seq 1 100); do
    if [ -z "$(xdotool search --onlyvisible --name "$1" 2> /dev/null || true)" ]; then
      misses=$((misses + 1))
      [ "$misses" -ge 3 ] && return 0
    else
      misses=0
    fi
    sleep 0.1
  done
  return 1
}

# Waits until the file $1 exists.
vqx_wait_file() {
  local i
  for i in $(seq 1 100); do
    [ -e "$1" ] && return 0
    sleep 0.1
  done
  return 1
}

# Waits until the file $1 holds a line matching the pattern $2 (extended regular expression).
vqx_wait_line() {
  local i
  for i in $(seq 1 100); do
    grep -a -q -E -- "$2" "$1" 2> /dev/null && return 0
    sleep 0.1
  done
  return 1
}

# Sends a notification to the editor as the Mapper does.
vqx_send() { # service message
  gdbus emit --session --object-path /com/Orvenda/VQX/IAC --signal com.Orvenda.VQX.IAC.notification \
    "'$1'" "{'service': '$1', 'message': '$2'}" > /dev/null
}

# Records the editor's notifications in $WORK/monitor.log.
vqx_start_monitor() {
  dbus-monitor --session "type='signal',interface='com.Orvenda.VQX.IAC'" > "$WORK/monitor.log" 2>&1 &
  MONITOR_PID=$!
  sleep 0.3
}

# Gives the keyboard focus to window $1 and types the key names that follow.
vqx_keys() {
  local window="$1"
  shift
  xdotool windowfocus --sync "$window" 2> /dev/null || xdotool windowfocus "$window"
  sleep 0.2 # let the program take the focus before the keys arrive
  xdotool key --delay 60 "$@"
}

# Sends window $1 the key chord $2 that ends the window: when the window goes while the chord is
# still down xdotool stops with an error, so the keys are let go here, or the server's key repeat
# would go on pressing them.
vqx_key_closing() {
  local key
  xdotool windowfocus --sync "$1" 2> /dev/null || true
  xdotool key --window "$1" "$2" 2> /dev/null || true
  for key in $(echo "$2" | tr '+' ' '); do xdotool keyup "$key" 2> /dev/null || true; done
}

# Gives the keyboard focus to window $1 and types the text $2, character by character.
vqx_type() {
  xdotool windowfocus --sync "$1" 2> /dev/null || xdotool windowfocus "$1"
  xdotool type --window "$1" --delay 30 -- "$2"
}

vqx_screenshot() { # window file
  import -window "$1" "$2" 2> /dev/null || import -window root "$2"
}
