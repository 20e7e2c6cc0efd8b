# Shared functions of the Mapper's whole-program tests: infrared frames written as replay text
# from a remote description, and the Mapper started in the background with its log in the work
# folder.

# Prints COUNT frames of BUTTON from the remote description REM as "pulse N" / "space N" lines,
# each frame's last space made GAP microseconds long.
vqx_frames() { # rem button count gap
  local bit tokens k token last
  bit=$(awk '$1 == "BIT" { print $2 }' "$1")
  tokens=$(awk -v b="$2" '$1 == "CMD" && $2 == b { for (i = 3; i <= NF; i++) printf "%s ", $i }' "$1")
  [ -n "$tokens" ] || return 1
  last=$(echo $tokens | awk '{ print $NF }')
  for ((k = 0; k < $3; k++)); do
    for token in $tokens; do
      echo "pulse $((0x${token:0:2} * bit))"
      if [ "$token" = "$last" ]; then echo "space $4"; else echo "space $((0x${token:2:2} * bit))"; fi
    done
  done
}

# Starts the Mapper from the build with the given options; its output goes to $WORK/mapper.log.
vqx_start_mapper() {
  "$APPDIR/vqx-mapper" "$@" > "$WORK/mapper.log" 2>&1 &
  MAPPER_PID=$!
}

# Calls a method of the Mapper's bus object with typed arguments (see tests/mapper/bus_call.cpp).
vqx_bus_call() {
  "$APPDIR/../tests/vqx-bus-call" "$@"
}

# Waits until the file $1 holds at least $3 lines matching the pattern $2.
vqx_wait_count() { # file pattern count
  local i n
  for i in $(seq 1 100); do
    n=$(grep -a -c -E -- "$2" "$1" 2> /dev/null || true)
    [ "${n:-0}" -ge "$3" ] && return 0
    sleep 0.1
  done
  return 1
}
# A sound server of the test's own (PulseAudio with a null sink, in $WORK/$1), reached through
# PULSE_SERVER; its process in PULSE_PID.
vqx_start_pulse() { # folder
  command -v pulseaudio > /dev/null || fail "pulseaudio is not installed (scripts/setup installs it)"
  local runtime="$WORK/$1" i
  mkdir -p "$runtime"
  chmod 700 "$runtime"
  XDG_RUNTIME_DIR="$runtime" pulseaudio -n --daemonize=no --exit-idle-time=-1 --load="module-null-sink sink_name=test" \
    --load="module-native-protocol-unix" > "$WORK/pulse.log" 2>&1 &
  PULSE_PID=$!
  export PULSE_SERVER="unix:$runtime/pulse/native"
  for i in $(seq 1 100); do pactl info > /dev/null 2>&1 && break; sleep 0.1; done
  pactl info > /dev/null 2>&1 || fail "PulseAudio did not start: $(tail -n 5 "$WORK/pulse.log")"
}
