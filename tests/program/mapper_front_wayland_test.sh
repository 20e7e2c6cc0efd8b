#!/usr/bin/env bash
# The window in front on a wlroots compositor: headless sway with two foot windows of different
# app_ids; the front-window source (through vqx-wlfront-probe) reports each window as it opens and
# as sway's focus moves, the other window when the focused one closes, none when the last closes,
# and a lost connection when sway ends. The Mapper itself, on a private session bus, follows too:
# its FrontApplication and Entry properties, and a press performs the entry's action. Skips
# (status 77) where sway cannot run.
set -euo pipefail
APPDIR="$1"
if [ -z "${VQX_IN_SESSION:-}" ]; then
    export VQX_IN_SESSION=1
    exec dbus-run-session -- bash "$0" "$@"
fi
source "$(dirname "$0")/mapper_lib.sh"
PROBE="$APPDIR/../tests/vqx-wlfront-probe"
SKIP=77

skip() {
    echo "SKIP: $*"
    exit "$SKIP"
}

WORK=$(mktemp -d)
RUNTIME=$(mktemp -d)
SWAY_PID="" PROBE_PID="" ALPHA_PID="" BETA_PID="" MAPPER_PID=""
cleanup() {
    local pid
    for pid in $MAPPER_PID $PROBE_PID $ALPHA_PID $BETA_PID $SWAY_PID; do kill "$pid" 2> /dev/null || true; done
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
    echo "--- the Mapper's output"
    tail -n 20 "$WORK/mapper.log" 2> /dev/null || true
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

# The Mapper, as this test's user (root may open nobody's socket): its display given by path, a
# mapping whose two entries' Play keys differ from the default entry's, and the recording output.
export XDG_CONFIG_HOME="$WORK/config"
PREFS="$XDG_CONFIG_HOME/Orvenda VQX Preferences"
mkdir -p "$XDG_CONFIG_HOME"
"$APPDIR/vqx-install-preferences" > "$WORK/install.log"
{
    printf 'MAPVER 2\n\nDEFAULT\n\nACT Play KEY 00003100 0000 -1 -1 0 0 OVR\n'
    printf '\nAPPL vqx-alpha\n\nACT Play KEY 00003101 0000 -1 -1 0 0 OVR\n'
    printf '\nAPPL vqx-beta\n\nACT Play KEY 00003102 0000 -1 -1 0 0 OVR\n'
} > "$PREFS/OrvendaVQXM1.map"
env -u DISPLAY WAYLAND_DISPLAY="$RUNTIME/$socket" "$APPDIR/vqx-mapper" --output record --record "$WORK/record.log" \
    > "$WORK/mapper.log" 2>&1 &
MAPPER_PID=$!
vqx_wait_count "$WORK/mapper.log" "front application: .*zwlr_foreign_toplevel_manager_v1" 1 ||
    fail "the Mapper did not say it follows the compositor's activated toplevel"

property() {
    gdbus call --session --dest com.Orvenda.VQX.Mapper --object-path /com/Orvenda/VQX/Mapper \
        --method org.freedesktop.DBus.Properties.Get com.Orvenda.VQX.Mapper1 "$1" 2> /dev/null || true
}
# Waits until the Mapper's FrontApplication is $1 (gdbus's printing of the list); then a press of
# Play performs the key $2 (the entry's) and Entry is $3.
mapper_follows() { # names key entry what
    local got i before
    for i in $(seq 1 300); do
        got=$(property FrontApplication)
        [ "$got" = "(<$1>,)" ] && break
        sleep 0.01
    done
    [ "$got" = "(<$1>,)" ] || fail "$4: the Mapper's FrontApplication is $got, expected $1"
    got=$(property Entry)
    [ "$got" = "(<'$3'>,)" ] || fail "$4: Entry is $got, expected '$3'"
    before=$(grep -c 'KEY_TAP ' "$WORK/record.log" 2> /dev/null || true)
    vqx_bus_call Press s:Play > /dev/null || fail "$4: Press Play was refused"
    vqx_bus_call Release s:Play > /dev/null || fail "$4: Release Play was refused"
    vqx_wait_count "$WORK/record.log" "KEY_TAP " $((before + 1)) || fail "$4: the press performed nothing"
    grep 'KEY_TAP ' "$WORK/record.log" | tail -n 1 | grep -q "KEY_TAP 0000$2 " ||
        fail "$4: the press performed $(tail -n 1 "$WORK/record.log"), expected the key $2"
}

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
mapper_follows "['vqx-alpha']" 3101 vqx-alpha "alpha opened"
"${CLIENT[@]}" foot --app-id vqx-beta sleep 60 > "$WORK/beta.log" 2>&1 &
BETA_PID=$!
expect_front vqx-beta 1 "beta opened"
# The focus moved by sway's command.
focus vqx-alpha
expect_front vqx-alpha 2 "alpha focused"
focus vqx-beta
expect_front vqx-beta 2 "beta focused"
mapper_follows "['vqx-beta']" 3102 vqx-beta "beta focused"
# The focused window closes: the other one is in front; the last closes: nothing is.
kill "$BETA_PID"
BETA_PID=""
expect_front vqx-alpha 3 "beta closed"
kill "$ALPHA_PID"
ALPHA_PID=""
expect_front none 2 "alpha closed"
default_entry=$(property Entry | sed "s/^(<'\(.*\)'>,)$/\1/")
[ -n "$default_entry" ] && [ "$default_entry" != vqx-alpha ] || fail "with no window, Entry is '$default_entry'"
mapper_follows "@as []" 3100 "$default_entry" "no window"

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
