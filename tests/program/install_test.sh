#!/usr/bin/env bash
# The installed layout: program, resource file, pristine files and installer in one folder, links
# in bin, desktop entry, icon and manual page; the installed installer works through its link.
set -euo pipefail
appdir="$1"
build="$(dirname "$appdir")"
prefix="$(mktemp -d)"
trap 'rm -rf "$prefix"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

cmake --install "$build" --prefix "$prefix" > /dev/null
lib="$prefix/lib/orvenda-vqx"
for f in vqx-map-editor vqx-install-preferences vqx-map-editor.rcc OrvendaVQXM1A.pic DeckSet.pic OrvendaVQXM1.map OrvendaVQXM1A.REM \
         OrvendaVQXM2.map OrvendaVQXM2A.REM DeckSet.REM OrvendaVQX.cfg show.Welcome; do
  [ -f "$lib/$f" ] || fail "missing $lib/$f"
done
for f in vqx-map-editor vqx-install-preferences; do
  [ -L "$prefix/bin/$f" ] || fail "$prefix/bin/$f is not a link"
  [ "$(readlink -f "$prefix/bin/$f")" = "$(readlink -f "$lib/$f")" ] || fail "$f links elsewhere"
done
[ -f "$prefix/share/applications/vqx-map-editor.desktop" ] || fail "no desktop entry"
grep -q '^Icon=vqx-map-editor$' "$prefix/share/applications/vqx-map-editor.desktop" || fail "desktop entry icon"
[ -f "$prefix/share/icons/hicolor/scalable/apps/vqx-map-editor.svg" ] || fail "no icon"
[ -f "$prefix/share/man/man1/vqx-map-editor.1" ] || fail "no manual page"

config="$prefix/config"
mkdir -p "$config"
XDG_CONFIG_HOME="$config" "$prefix/bin/vqx-install-preferences" > "$prefix/install.log"
for f in OrvendaVQXM1.map OrvendaVQXM1A.REM OrvendaVQXM2.map OrvendaVQXM2A.REM DeckSet.REM OrvendaVQX.cfg show.Welcome; do
  cmp -s "$lib/$f" "$config/Orvenda VQX Preferences/$f" || fail "installed $f differs from the pristine copy"
done
echo "install layout: ok"
