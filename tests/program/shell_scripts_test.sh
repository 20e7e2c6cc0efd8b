#!/usr/bin/env bash
# The GNOME Shell extension (both variants) and the KWin script: their metadata and syntax, then
# each run under node with stand-ins for the shell (tests/shell/run_shell_script.mjs) while the
# focus moves; every call they make is then made on a real Mapper on a private session bus, and
# the Mapper's FrontApplication read back holds the names of what was sent.
set -euo pipefail
APPDIR="$1"
SRC="$2"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
if [ -z "${VQX_IN_SESSION:-}" ]; then
    export VQX_IN_SESSION=1
    exec dbus-run-session -- bash "$0" "$@"
fi
SHELLDIR="$SRC/resources/shell"
RUNNER="$SRC/tests/shell/run_shell_script.mjs"

if ! command -v node > /dev/null; then
    echo "SKIP: node is not installed"
    exit 77
fi
for program in gnome-shell kwin_wayland kwin_x11; do
    command -v "$program" > /dev/null || echo "note: $program is not installed here; the scripts run under node with stand-ins for it"
done
vqx_prepare
# The Mapper hears of the application in front from the calls alone.
unset DISPLAY WAYLAND_DISPLAY
SLEEPER=""
cleanup() {
    [ -n "$SLEEPER" ] && kill "$SLEEPER" 2> /dev/null || true
    vqx_cleanup
}
trap cleanup EXIT

# Metadata: one uuid for both GNOME variants, each for its own Shell versions; a KWin package
# whose main script exists.
node - "$SHELLDIR" << 'EOF' || fail "the metadata are not as expected"
const fs = require('fs');
const dir = process.argv[2];
const read = f => JSON.parse(fs.readFileSync(`${dir}/${f}`, 'utf8'));
const expect = (what, actual, expected) => {
    if (JSON.stringify(actual) !== JSON.stringify(expected)) {
        console.log(`${what}: ${JSON.stringify(actual)}, expected ${JSON.stringify(expected)}`);
        process.exitCode = 1;
    }
};
const g43 = read('gnome-43/metadata.json'), g45 = read('gnome-45/metadata.json'), kwin = read('kwin/metadata.json');
expect('gnome-43 uuid', g43.uuid, 'vqx-front@orvenda-vqx');
expect('gnome-45 uuid', g45.uuid, 'vqx-front@orvenda-vqx');
expect('gnome-43 shell-version', g43['shell-version'], ['43', '44']);
expect('gnome-45 shell-version', g45['shell-version'], ['45', '46', '47']);
expect('KWin package structure', kwin.KPackageStructure, 'KWin/Script');
expect('KWin service types', kwin.KPlugin.ServiceTypes, ['KWin/Script']);
expect('KWin script language', kwin['X-Plasma-API'], 'javascript');
expect('KWin main script present', fs.existsSync(`${dir}/kwin/contents/${kwin['X-Plasma-MainScript']}`), true);
EOF

# Syntax: the legacy extension and the KWin script as scripts, the newer extension as a module.
node --check "$SHELLDIR/gnome-43/extension.js" || fail "gnome-43/extension.js does not parse"
node --input-type=module --check < "$SHELLDIR/gnome-45/extension.js" || fail "gnome-45/extension.js does not parse as a module"
node --check "$SHELLDIR/kwin/contents/code/main.js" || fail "the KWin script does not parse"

# The Mapper, reading a FIFO nobody writes to, performing nothing.
mkfifo "$WORK/lirc0"
vqx_start_mapper --input "$WORK/lirc0" --output record --record "$WORK/record.log" --verbose
for i in $(seq 1 100); do
    gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
        --method org.freedesktop.DBus.NameHasOwner com.Orvenda.VQX.Mapper 2> /dev/null | grep -q true && break
    kill -0 "$MAPPER_PID" 2> /dev/null || fail "the Mapper ended"
    sleep 0.1
done

# A real process for the windows that have one: the Mapper names it by its executable.
sleep 300 &
SLEEPER=$!

mapper() { # method args...
    gdbus call --session --dest com.Orvenda.VQX.Mapper --object-path /com/Orvenda/VQX/Mapper --method "$@"
}

# Runs the script of KIND, forwards each call it made to the Mapper and checks FrontApplication
# against the expected lists, one per call, in gdbus's notation.
check() { # kind script expected...
    local kind=$1 script=$2 tag args app class pid front n=0
    shift 2
    node --experimental-vm-modules --no-warnings "$RUNNER" "$kind" "$script" "$SLEEPER" > "$WORK/$kind.out" \
        || fail "$(cat "$WORK/$kind.out")"
    while IFS='|' read -r tag app class pid; do
        args="('$app', '$class', $pid)"
        mapper com.Orvenda.VQX.Mapper1.SetFrontApplication "'$app'" "'$class'" "$pid" > /dev/null \
            || fail "$kind: the Mapper refused SetFrontApplication$args"
        front=$(mapper org.freedesktop.DBus.Properties.Get com.Orvenda.VQX.Mapper1 FrontApplication)
        [ "$front" = "(<$1>,)" ] || fail "$kind: after SetFrontApplication$args FrontApplication is $front, expected $1"
        shift
        n=$((n + 1))
    done < <(grep '^CALL|' "$WORK/$kind.out")
    [ "$n" -gt 0 ] && [ "$#" -eq 0 ] || fail "$kind: the script made $n calls that name an application, $# expected ones left"
    echo "$kind: $n calls forwarded, FrontApplication as expected"
    # Nothing in front: the names are emptied.
    mapper com.Orvenda.VQX.Mapper1.SetFrontApplication "''" "''" 0 > /dev/null || fail "$kind: the Mapper refused an empty front"
    front=$(mapper org.freedesktop.DBus.Properties.Get com.Orvenda.VQX.Mapper1 FrontApplication)
    [ "$front" = "(<@as []>,)" ] || fail "$kind: with nothing in front FrontApplication is $front"
}

check gnome43 "$SHELLDIR/gnome-43/extension.js" \
    "['org.gnome.Totem', 'sleep', 'Totem']" "['org.example.Probe', 'Probe-window']" "['xterm']"
check gnome45 "$SHELLDIR/gnome-45/extension.js" \
    "['org.gnome.Totem', 'sleep', 'Totem']" "['org.example.Probe', 'Probe-window']" "['xterm']"
check kwin5 "$SHELLDIR/kwin/contents/code/main.js" \
    "['org.kde.dolphin', 'sleep', 'dolphin']" "['org.kde.konsole', 'konsole']" "['XTerm']"
check kwin6 "$SHELLDIR/kwin/contents/code/main.js" \
    "['org.kde.dolphin', 'sleep', 'dolphin']" "['org.kde.konsole', 'konsole']" "['XTerm']"

grep -q "refused" "$WORK/mapper.log" && fail "the Mapper refused a call: $(grep refused "$WORK/mapper.log" | head -n 1)"
kill -0 "$MAPPER_PID" 2> /dev/null || fail "the Mapper ended during the test"
echo "PASS"
