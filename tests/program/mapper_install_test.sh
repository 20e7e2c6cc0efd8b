#!/usr/bin/env bash
# The Mapper installed as a desktop service: the program and its links, the systemd user unit, the
# autostart entry, the udev rules, the modules-load.d file and the manual page, each where it
# belongs and each checked by the tool that reads it (where this machine has it); then the installed
# Mapper answers from its link, hands over to a (stand-in) systemctl in a systemd session and runs
# itself outside one.
set -euo pipefail
appdir="$1"
build="$(dirname "$appdir")"
work="$(mktemp -d)"
mapper_pid=""
cleanup() {
  [ -n "$mapper_pid" ] && kill -9 "$mapper_pid" 2> /dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "FAIL: $*"
  [ -f "$work/mapper.log" ] && { echo "--- Mapper output"; tail -n 20 "$work/mapper.log"; }
  exit 1
}
# The same folder as both prefix and DESTDIR root, as a package build does it.
prefix="/opt/vqx"
root="$work/root"
DESTDIR="$root" cmake --install "$build" --prefix "$prefix" > "$work/install.log"
p="$root$prefix"
lib="$p/lib/orvenda-vqx"

# The program, the name the editor's Start Mapper opens, and the link in bin.
[ -f "$lib/vqx-mapper" ] && [ -x "$lib/vqx-mapper" ] || fail "no executable $lib/vqx-mapper"
[ -L "$lib/VQXMapperApplication.app" ] || fail "VQXMapperApplication.app is not a link"
[ "$(readlink "$lib/VQXMapperApplication.app")" = "vqx-mapper" ] || fail "VQXMapperApplication.app is not a relative link"
[ -L "$p/bin/vqx-mapper" ] || fail "$p/bin/vqx-mapper is not a link"
case "$(readlink "$p/bin/vqx-mapper")" in /*) fail "bin/vqx-mapper is an absolute link" ;; esac
for link in "$lib/VQXMapperApplication.app" "$p/bin/vqx-mapper"; do
  [ "$(readlink -f "$link")" = "$(readlink -f "$lib/vqx-mapper")" ] || fail "$link does not lead to the installed Mapper"
done

# The desktop shells' reporters: both GNOME styles kept, one where GNOME Shell finds extensions
# (its metadata naming the uuid of its folder), the KWin script where KWin finds scripts.
for f in gnome-43/metadata.json gnome-43/extension.js gnome-45/metadata.json gnome-45/extension.js \
         kwin/metadata.json kwin/contents/code/main.js; do
  cmp -s "$p/share/orvenda-vqx/shell/$f" "$(dirname "$0")/../../resources/shell/$f" || fail "share/orvenda-vqx/shell/$f missing or different"
done
ext="$p/share/gnome-shell/extensions/vqx-front@orvenda-vqx"
[ -f "$ext/extension.js" ] || fail "no GNOME Shell extension in $ext"
grep -q '"uuid": "vqx-front@orvenda-vqx"' "$ext/metadata.json" || fail "the extension's metadata does not name its folder's uuid"
[ -f "$p/share/kwin/scripts/vqx-front/contents/code/main.js" ] || fail "no KWin script"
grep -q '"Id": "vqx-front"' "$p/share/kwin/scripts/vqx-front/metadata.json" || fail "the KWin script's id is not its folder's name"

# The user unit: where systemd looks for units under this prefix, naming the installed program.
unit="$p/lib/systemd/user/vqx-mapper.service"
[ -f "$unit" ] || fail "no user unit at $unit"
key() { # file section key: the values of key in section, one a line
  awk -v s="[$2]" -v k="$3" '/^\[/ { in_s = ($0 == s); next } in_s && index($0, k "=") == 1 { print substr($0, length(k) + 2) }' "$1"
}
# Every line of a unit file: blank, a comment, a [Section] or a Key=value.
bad=$(grep -n -v -E '^$|^[#;]|^\[[A-Za-z]+\]$|^[A-Za-z][A-Za-z0-9]*=' "$unit" || true)
[ -z "$bad" ] || fail "unit lines that are not Key=value: $bad"
[ "$(key "$unit" Unit PartOf)" = "graphical-session.target" ] || fail "unit: PartOf"
[ "$(key "$unit" Unit After)" = "graphical-session.target" ] || fail "unit: After"
[ "$(key "$unit" Install WantedBy)" = "graphical-session.target" ] || fail "unit: WantedBy"
[ "$(key "$unit" Service Type)" = "dbus" ] || fail "unit: Type"
[ "$(key "$unit" Service BusName)" = "com.Orvenda.VQX.Mapper" ] || fail "unit: BusName"
[ "$(key "$unit" Service Restart)" = "on-failure" ] || fail "unit: Restart (Quit Mapper exits 0 and must not restart it)"
[ "$(key "$unit" Service ExecStart)" = "$prefix/lib/orvenda-vqx/vqx-mapper --no-service" ] \
  || fail "unit: ExecStart is '$(key "$unit" Service ExecStart)'"
if command -v systemd-analyze > /dev/null; then
  # The unit as the user manager would load it; the program it names is in DESTDIR here, so the
  # check sees a copy naming that path, and its manual page in the installed tree.
  sed "s|$prefix/|$p/|" "$unit" > "$work/vqx-mapper.service"
  mkdir -m 700 "$work/run"
  XDG_RUNTIME_DIR="$work/run" MANPATH="$p/share/man" systemd-analyze --user verify "$work/vqx-mapper.service" \
    > "$work/verify.log" 2>&1 || fail "systemd-analyze verify: $(cat "$work/verify.log")"
  [ ! -s "$work/verify.log" ] || fail "systemd-analyze verify complains: $(cat "$work/verify.log")"
  echo "unit: systemd-analyze verify passed"
else
  echo "unit: systemd-analyze is not installed; only the key checks above were made"
fi

# The autostart entry: a valid entry starting the installed program with no options.
entry="$p/etc/xdg/autostart/vqx-mapper.desktop"
[ -f "$entry" ] || fail "no autostart entry at $entry"
desktop-file-validate "$entry" > "$work/validate.log" 2>&1 || fail "desktop-file-validate: $(cat "$work/validate.log")"
[ ! -s "$work/validate.log" ] || fail "desktop-file-validate warns: $(cat "$work/validate.log")"
grep -qx "Exec=$prefix/lib/orvenda-vqx/vqx-mapper" "$entry" || fail "autostart entry: Exec"
grep -qx "Type=Application" "$entry" || fail "autostart entry: Type"
! grep -q "^X-systemd-skip=true\|^Hidden=true\|^X-GNOME-Autostart-Phase=" "$entry" || fail "autostart entry is hidden"

# The udev rules: every line a comment or comma-separated KEY op "value" pairs of keys udev knows;
# the receivers and uinput tagged for the seat's user, uinput's static node as well.
rules="$p/lib/udev/rules.d/70-vqx-mapper.rules"
[ -f "$rules" ] || fail "no udev rules at $rules"
if command -v udevadm > /dev/null && udevadm verify --help > /dev/null 2>&1; then
  udevadm verify "$rules" || fail "udevadm verify"
  echo "udev rules: udevadm verify passed"
else
  echo "udev rules: no udevadm verify here; parse check only"
fi
keys='ACTION|DEVPATH|KERNEL|KERNELS|NAME|SYMLINK|SUBSYSTEM|SUBSYSTEMS|DRIVER|DRIVERS|ATTR\{[^}]+\}|ATTRS\{[^}]+\}|TAG|TAGS|ENV\{[^}]+\}|TEST|PROGRAM|RESULT|OWNER|GROUP|MODE|RUN|LABEL|GOTO|IMPORT\{[^}]+\}|OPTIONS'
pair="($keys)(==|!=|=|\\+=|-=|:=)\"[^\"]*\""
n=0
while IFS= read -r line; do
  n=$((n + 1))
  case "$line" in '' | '#'*) continue ;; esac
  echo "$line" | grep -q -E "^$pair(, *$pair)*$" || fail "udev rules line $n does not parse: $line"
done < "$rules"
grep -E '^[^#]*SUBSYSTEM=="lirc"' "$rules" | grep -q 'TAG+="uaccess"' || fail "udev rules: lirc devices not given to the seat's user"
grep -E '^[^#]*KERNEL=="uinput"' "$rules" | grep 'TAG+="uaccess"' | grep -q 'OPTIONS+="static_node=uinput"' \
  || fail "udev rules: uinput (and its static node) not given to the seat's user"
! grep -q -E 'GROUP=|MODE="0?66' "$rules" || fail "udev rules open the devices to a group or to everyone"

# uinput loaded at boot.
modules="$p/lib/modules-load.d/vqx-mapper.conf"
[ -f "$modules" ] || fail "no $modules"
[ "$(grep -v -E '^[#;]|^$' "$modules")" = "uinput" ] || fail "modules-load.d: not exactly uinput"

# The manual page: formats without a warning and names every option of --help and every command.
man1="$p/share/man/man1/vqx-mapper.1"
[ -f "$man1" ] || fail "no manual page at $man1"
groff -man -z -ww "$man1" > "$work/groff.log" 2>&1 || fail "groff: $(cat "$work/groff.log")"
[ ! -s "$work/groff.log" ] || fail "groff warns: $(cat "$work/groff.log")"
MANWIDTH=200 man -l "$man1" 2> "$work/man.log" | col -b > "$work/man.txt" || true
[ ! -s "$work/man.log" ] || fail "man -l warns: $(cat "$work/man.log")"

# The installed Mapper answers from its link in bin and under the editor's name for it.
"$p/bin/vqx-mapper" --help > "$work/help.txt" || fail "vqx-mapper --help through the bin link failed"
grep -q "^Usage: vqx-mapper" "$work/help.txt" || fail "--help printed no usage"
"$lib/VQXMapperApplication.app" --help | cmp -s - "$work/help.txt" || fail "VQXMapperApplication.app --help differs"
options=$(grep -o -E '^  --[a-z-]+' "$work/help.txt" | tr -d ' ')
[ "$(echo "$options" | wc -l)" -ge 9 ] || fail "too few options found in --help: $options"
# Each option of --help an item of OPTIONS, each command an item of COMMANDS.
sed -n '/^OPTIONS/,/^COMMANDS/p' "$work/man.txt" > "$work/man-options.txt"
sed -n '/^COMMANDS/,/^[A-Z]/p' "$work/man.txt" > "$work/man-commands.txt"
for o in $options; do
  grep -q -E -- "^ +$o( |,|$)" "$work/man-options.txt" || fail "the manual page does not describe $o"
done
for c in frames learn import-lircd check; do
  grep -q -E -- "^ +$c( |$)" "$work/man-commands.txt" || fail "the manual page does not describe the command $c"
done
grep -q "vqx-mapper import-lircd FILE \[DIR\] \[--force\]" "$work/man.txt" || fail "man: import-lircd synopsis"
grep -q "vqx-mapper learn NAME.REM \[--input SOURCE | --replay FILE\] \[--force\]" "$work/man.txt" || fail "man: learn synopsis"

# Started with no options on the user bus of a session with a systemd user manager and the unit
# installed, the Mapper hands over to the unit and exits with systemctl's status (a stand-in systemctl here).
mkdir -p "$work/bin" "$work/session/systemd" "$work/config"
chmod 700 "$work/session"
cat > "$work/bin/systemctl" << EOS
#!/bin/sh
echo "\$*" >> "$work/calls"
case "\$2" in start) exit 5 ;; esac
exit 0
EOS
chmod +x "$work/bin/systemctl"
: > "$work/session/systemd/private"
status=0
env -u INVOCATION_ID PATH="$work/bin:$PATH" XDG_RUNTIME_DIR="$work/session" XDG_CONFIG_HOME="$work/config" DISPLAY=:42 \
  DBUS_SESSION_BUS_ADDRESS="unix:path=$work/session/bus" "$p/bin/vqx-mapper" > "$work/mapper.log" 2>&1 || status=$?
[ "$status" = 5 ] || fail "the hand-over gave status $status, not systemctl's 5"
grep -qx -- "--user cat vqx-mapper.service" "$work/calls" || fail "the unit was not looked for: $(cat "$work/calls")"
grep -qx -- "--user import-environment DISPLAY" "$work/calls" || fail "DISPLAY was not given to the manager: $(cat "$work/calls")"
grep -qx -- "--user start vqx-mapper.service" "$work/calls" || fail "the unit was not started: $(cat "$work/calls")"
[ "$(tail -n 1 "$work/calls")" = "--user start vqx-mapper.service" ] || fail "start was not the last call"

# With --no-service, without a user manager, on a bus of its own (dbus-run-session) or without the
# unit, it runs itself: its loop starts (it says what its output and files are) and systemctl is
# not asked to start anything. No bus listens at these addresses: the Mapper goes on without one.
run_itself() { # label, then env assignments and arguments
  local label="$1"
  shift
  rm -f "$work/calls"
  env -u INVOCATION_ID -u DISPLAY -u WAYLAND_DISPLAY PATH="$work/bin:$PATH" XDG_CONFIG_HOME="$work/config" \
    "$@" > "$work/mapper.log" 2>&1 &
  mapper_pid=$!
  local i
  for i in $(seq 1 100); do
    grep -q "^vqx-mapper: files:" "$work/mapper.log" && break
    kill -0 "$mapper_pid" 2> /dev/null || break
    sleep 0.1
  done
  grep -q "^vqx-mapper: files:" "$work/mapper.log" || fail "$label: the Mapper did not run itself"
  kill -TERM "$mapper_pid"
  local s=0
  wait "$mapper_pid" || s=$?
  mapper_pid=""
  [ "$s" = 0 ] || fail "$label: SIGTERM gave status $s"
  ! grep -q "start" "$work/calls" 2> /dev/null || fail "$label: systemctl was asked to start the unit"
}
user_bus="unix:path=$work/session/bus"
run_itself "--no-service" XDG_RUNTIME_DIR="$work/session" DBUS_SESSION_BUS_ADDRESS="$user_bus" \
  "$p/bin/vqx-mapper" --no-service
run_itself "no user manager" XDG_RUNTIME_DIR="$work/config" DBUS_SESSION_BUS_ADDRESS="unix:path=$work/config/bus" \
  "$p/bin/vqx-mapper"
run_itself "private bus" XDG_RUNTIME_DIR="$work/session" DBUS_SESSION_BUS_ADDRESS="unix:path=$work/private,guid=00" \
  "$p/bin/vqx-mapper"
[ ! -e "$work/calls" ] || fail "private bus: systemctl was called: $(cat "$work/calls")"
cat > "$work/bin/systemctl" << EOS
#!/bin/sh
echo "\$*" >> "$work/calls"
case "\$2" in cat) exit 1 ;; esac
exit 0
EOS
run_itself "no unit" XDG_RUNTIME_DIR="$work/session" DBUS_SESSION_BUS_ADDRESS="$user_bus" \
  "$lib/VQXMapperApplication.app"
grep -qx -- "--user cat vqx-mapper.service" "$work/calls" || fail "no unit: the unit was not looked for"

echo "mapper install: ok"
