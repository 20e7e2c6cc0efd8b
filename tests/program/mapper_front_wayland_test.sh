#!/usr/bin/env bash
# The window in front on a wlroots compositor: headless sway with two foot windows of different
# app_ids; the front-window source (through vqx-wlfront-probe) reports each window as it opens and
# as sway's focus moves, the other window when the focused one closes, none when the last closes,
# and a lost connection when sway ends. Skips (status 77) where sway cannot run.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/mapper_lib.sh"
PROBE="$APPDIR/../tests/vqx-wlfront-probe"
SKIP=77

skip() {
    echo "SKIP: $*"
    exit "$SKIP"
}

WORK=$(mktemp -d)
RUNTIME=$(mktemp -d)
SWAY_PID="" PROBE_PID="" ALPHA_PID="" BETA_PID=""
cleanup() {
    local pid
    for pid in $PROBE_PID $ALPHA_PID $BETA_PID $SWAY_PID; do kill "$pid" 2> /dev/null || true; done
    if [ -n "${VQX_KEEP_WORK:-}" ]; then echo "work folder kept: $WORK"; else rm -rf "$WORK"; fi
    rm -rf "$RUNTIME"
}
trap cleanup EXIT

fail() {
    echo "FAIL: $*"
    echo "--- what the probe printed"
    cat "$WORK/probe.log" 2> /dev/null || true
    echo "--- sway's output"
    tail -n 20 "$WORK/sway.log" 2> /dev/null || true
    exit 1
}

command -v sway > /dev/null || skip "sway is not installed"
command -v foot > /dev/null || skip "foot is not installed"
[ -x "$PROBE" ] || fail "the probe program $PROBE is not built"

# sway refuses to run as root: it and its clients run as nobody, in a runtime folder nobody owns.
AS_USER=()
if [ "$(id -u)" -eq 0 ]; then
    chown nobody:nogroup "$RUNTIME" "$WORK"
    AS_USER=(setpriv --reuid=nobody --regid=nogroup --clear-groups)
    "${AS_USER[@]}" test -x "$PROBE" || skip "user nobody cannot run $PROBE (a folder above it is closed)"
fi
chmod 700 "$RUNTIME"
ENVIRONMENT=(env -i HOME=/tmp PATH=/usr/bin:/bin XDG_RUNTIME_DIR="$RUNTIME" LANG=C.UTF-8)
SESSION=("${AS_USER[@]}" "${ENVIRONMENT[@]}")
: > "$WORK/empty.conf"
chmod 644 "$WORK/empty.conf"
# An empty configuration: no bar, no key bindings, nothing that opens windows of its own.
"${SESSION[@]}" WLR_BACKENDS=headless WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1 \
    sway -c "$WORK/empty.conf" > "$WORK/sway.log" 2>&1 &
SWAY_PID=$!

socket=""
for i in $(seq 1 100); do
    kill -0 "$SWAY_PID" 2> /dev/null || break
    socket=$(cd "$RUNTIME" && ls wayland-[0-9] 2> /dev/null | head -n 1 || true)
    ipc=$(ls "$RUNTIME"/sway-ipc.*.sock 2> /dev/null | head -n 1 || true)
    [ -n "$socket" ] && [ -n "$ipc" ] && break
    sleep 0.1
done
if [ -z "$socket" ] || [ -z "$ipc" ]; then
    echo "--- sway's output"
    tail -n 20 "$WORK/sway.log"
    skip "headless sway did not start (no Wayland socket in its runtime folder)"
fi
echo "headless sway runs on $socket"
CLIENT=("${SESSION[@]}" WAYLAND_DISPLAY="$socket" SWAYSOCK="$ipc")

"${CLIENT[@]}" "$PROBE" > "$WORK/probe.log" 2> "$WORK/probe.err" &
PROBE_PID=$!

# Waits until the probe has printed "front NAME" (NAME: an app_id, or none) COUNT times in all.
expect_front() { # name count what
    local pattern="^front app_id=$1 pid=[0-9]+$"
    [ "$1" = none ] && pattern="^front none$"
    vqx_wait_count "$WORK/probe.log" "$pattern" "$2" || fail "$3: the probe did not report $1 (time $2)"
}

focus() {
    "${CLIENT[@]}" swaymsg -q "[app_id=$1] focus" || fail "swaymsg could not focus $1"
}

# Nothing is open at first.
expect_front none 1 "at the start"
# A new window takes the focus.
"${CLIENT[@]}" foot --app-id vqx-alpha sleep 60 > "$WORK/alpha.log" 2>&1 &
ALPHA_PID=$!
expect_front vqx-alpha 1 "alpha opened"
"${CLIENT[@]}" foot --app-id vqx-beta sleep 60 > "$WORK/beta.log" 2>&1 &
BETA_PID=$!
expect_front vqx-beta 1 "beta opened"
# The focus moved by sway's command.
focus vqx-alpha
expect_front vqx-alpha 2 "alpha focused"
focus vqx-beta
expect_front vqx-beta 2 "beta focused"
# The focused window closes: the other one is in front; the last closes: nothing is.
kill "$BETA_PID"
BETA_PID=""
expect_front vqx-alpha 3 "beta closed"
kill "$ALPHA_PID"
ALPHA_PID=""
expect_front none 2 "alpha closed"

expected="front none
front app_id=vqx-alpha pid=0
front app_id=vqx-beta pid=0
front app_id=vqx-alpha pid=0
front app_id=vqx-beta pid=0
front app_id=vqx-alpha pid=0
front none"
[ "$(cat "$WORK/probe.log")" = "$expected" ] || fail "the probe reported another sequence than expected:
$expected"
grep -q "watching Wayland zwlr_foreign_toplevel_manager_v1 on $socket" "$WORK/probe.err" \
    || fail "the source did not name the protocol and the display"

# sway ends: the source says its connection is lost and the probe ends with status 1.
kill "$SWAY_PID"
SWAY_PID=""
vqx_wait_count "$WORK/probe.log" "^lost$" 1 || fail "the probe did not report the lost connection"
status=0
wait "$PROBE_PID" || status=$?
PROBE_PID=""
[ "$status" -eq 1 ] || fail "the probe ended with status $status after sway ended, expected 1"
echo "PASS"
