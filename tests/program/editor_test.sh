#!/usr/bin/env bash
# The action editor in the real program under Xvfb: rows of vlc's own actions are opened with the
# arrow keys and Alt+I and given, through the editor's widgets and keys, a recorded key chord, a
# mouse move with a preset, a script chosen in the file chooser and tested, a program typed in and
# tested, the four kinds of volume action and a text with escapes. Ctrl+S must write exactly the
# mapping writer's lines, and after a restart the list must describe the rows as before.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
vqx_enter_session "$@"
vqx_prepare
cd "$WORK" # where the file chooser opens
map="$PREFS/OrvendaVQXM1.map"
editor_title="^Edit Button Action$"

# The files the script and launch actions name; each leaves a marker when it runs.
mkdir -p "$WORK/files"
script="$WORK/files/marker.lua"
program="$WORK/files/marker.sh"
printf 'local f = assert(io.open("%s", "w"))\nf:write("ran\\n")\nf:close()\n' "$WORK/files/script.ran" > "$script"
printf '#!/bin/sh\necho ran > "%s"\n' "$WORK/files/launch.ran" > "$program"
chmod +x "$program"

# The volume conversions the page works with (integer division truncates toward zero, as in C).
set_slider_to_system() { echo $((($1 * 255 + 255) / 400)); }
set_system_to_slider() { echo $(($1 * 400 / 255)); }
set_system_to_display() { echo $((($1 * 100 + 100) / 255)); }
set_display_to_system() { echo $(($1 * 255 / 100)); }
chg_slider_to_system() { echo $(($1 * 510 / 400 - 255)); }
chg_system_to_display() { if [ "$1" -lt 0 ]; then echo $((($1 * 100 - 100) / 255)); else echo $((($1 * 100 + 100) / 255)); fi; }
chg_system_to_slider() { echo $((2 * $(chg_system_to_display "$1") + 200)); }
chg_display_to_system() { echo $(($1 * 255 / 100)); }

# The stored value after n presses of Up (+1) or Down (-1) on the Set or Change sub-page, from 0.
bump() { # set|chg step count
  local kind=$1 step=$2 n=$3 value=0 slider display
  slider=$("${kind}_system_to_slider" 0)
  while [ "$n" -gt 0 ]; do
    value=$("${kind}_slider_to_system" "$slider")
    display=$(($("${kind}_system_to_display" "$value") + step))
    value=$("${kind}_display_to_system" "$display")
    slider=$("${kind}_system_to_slider" "$value")
    n=$((n - 1))
  done
  echo "$value"
}

vqx_start_editor
win=$(vqx_wait_window "Orvenda VQX Map Editor") || fail "the main window did not appear"
sleep 0.5

# The program's output since mark_output, copied into $WORK/new.log by new_output.
mark=0
mark_output() { mark=$(wc -l < "$WORK/editor.log"); }
new_output() { tail -n +$((mark + 1)) "$WORK/editor.log" > "$WORK/new.log"; }

# Moves the selection to row $1 (button $2) with the arrow keys from row $3 (-1: none selected);
# the rows passed on the way are traced in $WORK/new.log.
select_row() { # row button from
  local key=Down count=$(($1 - $3)) i
  [ "$count" -lt 0 ] && { key=Up; count=$((-count)); }
  local keys=()
  while [ "$count" -gt 0 ]; do keys+=("$key"); count=$((count - 1)); done
  mark_output
  if [ ${#keys[@]} -gt 0 ]; then vqx_keys "$win" "${keys[@]}"; fi
  for i in $(seq 1 100); do
    new_output
    grep -q -E "^selected row $1 button $2 " "$WORK/new.log" && return 0
    sleep 0.1
  done
  fail "the arrow keys did not select row $1 ($2)"
}

# Opens the editor on the selected row with the Edit button's access key; prints the window.
open_editor() {
  vqx_keys "$win" alt+i
  local dialog
  dialog=$(vqx_wait_window "$editor_title") || fail "Alt+I did not open the editor on $1"
  sleep 0.3
  echo "$dialog"
}

# The editor opens with the action-type popup focused; the page's widgets follow OK in the
# focus chain, so Tab Tab Tab reaches the page's first widget. Presses OK and waits for the close.
press_ok() { # dialog keys-to-OK...
  local dialog=$1
  shift
  vqx_keys "$dialog" "$@" space
  vqx_wait_no_window "$editor_title" || fail "OK did not close the editor"
}

# 1. Power: a recorded key chord. Record Key is the page's second widget (after the key field);
# the chord is taken as the next key, and OK lies two widgets back.
select_row 0 Power -1
dialog=$(open_editor Power)
vqx_keys "$dialog" Tab Tab Tab Tab space
sleep 0.2
vqx_keys "$dialog" ctrl+shift+k
press_ok "$dialog" shift+Tab shift+Tab

# 2. Menu: a mouse move down (the popup's type "Mouse", found by its "m"; Down is the page's
# second radio), then the Fast preset, ten widgets further.
select_row 1 Menu 0
dialog=$(open_editor Menu)
vqx_keys "$dialog" m Tab Tab Tab Tab space Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab space
press_ok "$dialog" Tab Tab Tab Tab Tab

# 3. Up: "Script", then Browse (after the path field) with the path typed into the file chooser,
# then Test, the widget after Browse. The script chooser shows only the files a script can be.
select_row 3 Up 1
dialog=$(open_editor Up)
vqx_keys "$dialog" s Tab Tab Tab Tab space
# The chooser's name field has the focus; what is typed before the chooser is ready is lost, so
# the path is typed again (over the old text) while the chooser stays open.
for attempt in 1 2 3; do
  chooser=$(vqx_wait_window "^Choose a Script$") || { [ "$attempt" -gt 1 ] || fail "Browse did not open the file chooser"; break; }
  sleep 0.5
  vqx_keys "$chooser" ctrl+a
  vqx_type "$chooser" "$script"
  sleep 0.2
  vqx_key_closing "$chooser" Return
  vqx_wait_no_window "^Choose a Script$" && break
done
[ "$attempt" -eq 1 ] || echo "the path was typed $attempt times into the file chooser"
vqx_wait_no_window "^Choose a Script$" || fail "the file chooser did not take the typed path"
grep -q "^shown " "$WORK/editor.log" && fail "the chosen script was refused: $(grep "^shown " "$WORK/editor.log")"
vqx_keys "$dialog" Tab space # Test
vqx_wait_file "$WORK/files/script.ran" || fail "Test did not run the script"
press_ok "$dialog" shift+Tab shift+Tab shift+Tab

# 4. Down: "Launch Application", a program typed into the path field, then Test.
select_row 4 Down 3
dialog=$(open_editor Down)
vqx_keys "$dialog" l Tab Tab Tab
vqx_type "$dialog" "$program"
vqx_keys "$dialog" Tab Tab space # Test
vqx_wait_file "$WORK/files/launch.ran" || fail "Test did not launch the program"
press_ok "$dialog" Tab Tab Tab

# 5 to 8: System Volume is three items below Keystroke in the popup; the kinds Set, Change, Mute
# and Fade are the page's first four widgets. The arrow keys bump Set and Change by one step.
open_volume() { # dialog
  vqx_keys "$1" Down Down Down
}

select_row 8 Play 4
dialog=$(open_editor Play)
open_volume "$dialog"
vqx_keys "$dialog" Tab Tab Tab space Up Up Up Up Up Tab Tab Tab Tab Tab space # Set, +5, un-mute
press_ok "$dialog" Tab Tab Tab

select_row 9 Pause 8
dialog=$(open_editor Pause)
open_volume "$dialog"
vqx_keys "$dialog" Tab Tab Tab Tab space Down Down Down Tab Tab Tab Tab Tab Tab Tab Tab space # Change, -3, Fast
press_ok "$dialog" Tab Tab Tab Tab Tab

select_row 10 Stop 9
dialog=$(open_editor Stop)
open_volume "$dialog"
vqx_keys "$dialog" Tab Tab Tab Tab Tab space Tab Tab Tab Tab space # Mute, Toggle
press_ok "$dialog" Tab Tab Tab

select_row 11 Rewind 10
dialog=$(open_editor Rewind)
open_volume "$dialog"
vqx_keys "$dialog" Tab Tab Tab Tab Tab Tab space Tab End Tab Tab space # Fade, longest, Fade out
press_ok "$dialog" Tab Tab Tab Tab

# 9. FastFwd: a text with escapes, typed as it stands.
text='a\tb\x41'
select_row 12 FastFwd 11
dialog=$(open_editor FastFwd)
vqx_keys "$dialog" t Tab Tab Tab
vqx_type "$dialog" "$text"
press_ok "$dialog" Tab Tab Tab

if grep -q "^shown " "$WORK/editor.log"; then fail "a message was shown while editing: $(grep "^shown " "$WORK/editor.log" | head -n 1)"; fi
xdotool getwindowname "$win" | grep -q '\*' || fail "the title does not show unsaved changes after the edits"
before=$(cat "$map")
vqx_keys "$win" ctrl+s
for i in $(seq 1 50); do [ "$(cat "$map")" != "$before" ] && break; sleep 0.1; done

# The lines the writer must have made; every edited row keeps its own-action flag. Ctrl+Shift+K is
# the character Ctrl-K (0b) on the K key (28) with shift (0200) and control (1000), and keeps the
# repeat values the action had (-1: no repeat). The mouse moves down (2) with the Fast row's
# multipliers 7 and 7 in the message, then delay 250, rates 30 and 30, one repetition; the
# volume change has the Fast row of the keystroke table: 500, 100, 1, 100. The fade slider's far
# end is the last fade value.
chg=$(bump chg -1 3)
fade=(1 2 3 4 5 10 20 60)
declare -A want
want[Power]=$(printf 'ACT %-11s KEY %08x %04x %3d %3d %2d %d OVR' Power $((0x28 << 8 | 0x0b)) $((0x0200 | 0x1000)) -1 -1 -1 -1)
want[Menu]=$(printf 'ACT %-11s %s %08x %3d %3d %2d %d OVR' Menu MOU $((2 | 7 << 8 | 7 << 12)) 250 30 1 30)
want[Up]=$(printf 'ACT %-11s SCR "%s" %3d %3d %2d %d OVR' Up "$script" 0 0 0 0)
want[Down]=$(printf 'ACT %-11s LAUNCH "%s" %3d %3d %2d %d OVR' Down "$program" 0 0 0 0)
want[Play]=$(printf 'ACT %-11s VOL %s %d %3d %3d %2d %d %d %d OVR' Play SET "$(bump set 1 5)" 0 0 0 0 1 0)
want[Pause]=$(printf 'ACT %-11s VOL %s %d %3d %3d %2d %d %d %d OVR' Pause CHG "$chg" 500 100 1 100 0 0)
want[Stop]=$(printf 'ACT %-11s VOL %s %d %3d %3d %2d %d %d %d OVR' Stop MUTE 2 0 0 0 0 0 0)
want[Rewind]=$(printf 'ACT %-11s VOL %s %d %3d %3d %2d %d %d %d OVR' Rewind FADE "${fade[$((400 * 7 / 400))]}" 0 0 0 0 0 1)
want[FastFwd]=$(printf 'ACT %-11s TXT %d [%s OVR' FastFwd ${#text} "$text")

# The whole file: the pristine mapping as the writer words it, with vlc's nine edited lines.
section=""
while IFS= read -r line; do
  case "$line" in
    DEFAULT) section=default; line='APPL // : default : \' ;;
    "APPL "*) section=$line ;;
  esac
  if [ "$section" = "APPL vlc" ] && [[ $line =~ ^ACT\ ([^ ]+) ]] && [ -n "${want[${BASH_REMATCH[1]}]:-}" ]; then
    printf '%s\n' "${want[${BASH_REMATCH[1]}]}"
  else
    printf '%s\n' "$line"
  fi
done < "$APPDIR/OrvendaVQXM1.map" > "$WORK/expected.map"
for button in "${!want[@]}"; do
  grep -q -x -F -- "${want[$button]}" "$map" || fail "no line '${want[$button]}' in the saved mapping: $(grep "^ACT $button " "$map" | sed -n 3p)"
done
cmp -s "$WORK/expected.map" "$map" || { diff "$WORK/expected.map" "$map" | head; fail "the saved mapping differs from the expected one"; }

# The descriptions the list must show for the edited rows (show details is off).
declare -A shows
shows[Power]=$'Keystroke\tshift-ctrl-K'
shows[Menu]=$'Mouse\tDOWN w/Repeat'
shows[Up]=$'Script\t'"${script##*[:/]}" # the file name part of the path
shows[Down]=$'Launch\t'"${program##*[:/]}"
shows[Play]=$'Volume\tSet '"$(set_system_to_display "$(bump set 1 5)")"
shows[Pause]=$'Volume\tChange '"$(chg_system_to_display "$chg") w/Repeat"
shows[Stop]=$'Volume\tMute Toggle'
shows[Rewind]=$'Volume\tFade Out'
shows[FastFwd]=$'TEXT\t'"$text"
rows=(Power Menu Back Up Down Left Right Enter Play Pause Stop Rewind FastFwd)

check_rows() { # log when
  local row button
  for row in "${!rows[@]}"; do
    button=${rows[$row]}
    [ -n "${shows[$button]:-}" ] || continue
    grep -q -x -F -- "$(printf 'row %d shows \t%s\t%s' "$row" "$button" "${shows[$button]}")" "$1" ||
      fail "$2, row $row shows '$(grep "^row $row shows" "$1" | tail -n 1)', not the $button description '${shows[$button]}'"
  done
}

# Before the restart: walk up the list and down again, each row selected once more.
select_row 0 Power 12
cp "$WORK/new.log" "$WORK/walk.log"
select_row 12 FastFwd 0
cat "$WORK/new.log" >> "$WORK/walk.log"
grep -q "^row 12 shows" "$WORK/walk.log" || fail "no row text was traced"
check_rows "$WORK/walk.log" "after the edits"

# Quit (nothing unsaved: no question) and start again on the same folder.
vqx_key_closing "$win" ctrl+q
for i in $(seq 1 50); do kill -0 "$EDITOR_PID" 2> /dev/null || break; sleep 0.1; done
kill -0 "$EDITOR_PID" 2> /dev/null && fail "Quit after saving did not end the program"
wait "$EDITOR_PID" || fail "the program ended with status $?"
mv "$WORK/editor.log" "$WORK/editor-first.log"
vqx_start_editor
win=$(vqx_wait_window "Orvenda VQX Map Editor") || fail "the main window did not appear after the restart"
sleep 0.5
select_row 12 FastFwd -1
check_rows "$WORK/new.log" "after the restart"
grep "^row " "$WORK/walk.log" | sort -u > "$WORK/rows-before"
grep "^row " "$WORK/new.log" | sort -u > "$WORK/rows-after"
[ "$(wc -l < "$WORK/rows-after")" -eq ${#rows[@]} ] || fail "the restart did not trace every row once"
cmp -s "$WORK/rows-before" "$WORK/rows-after" || { diff "$WORK/rows-before" "$WORK/rows-after"; fail "the rows read differently after the restart"; }
cmp -s "$WORK/expected.map" "$map" || fail "the restart changed the mapping"
echo "action editor: ok"
