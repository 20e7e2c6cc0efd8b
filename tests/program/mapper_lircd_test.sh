#!/usr/bin/env bash
# The Mapper reading presses from a real lircd: lircd decodes frames of the shipped remote (its
# lircd.conf written here from the remote description as raw codes) received on its udp driver;
# single presses and a hold are recognised, a button lircd knows but the remote does not is logged
# once, and lircd killed and started again is reconnected to without a restart of the Mapper.
set -euo pipefail
APPDIR="$1"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/mapper_lib.sh"
vqx_enter_session "$@"
vqx_prepare
rem="$PREFS/OrvendaVQXM1A.REM"
LIRCD_PID=""
stop_lircd() {
  [ -n "$LIRCD_PID" ] && kill "$LIRCD_PID" 2> /dev/null && wait "$LIRCD_PID" 2> /dev/null || true
  LIRCD_PID=""
}
trap 'stop_lircd; vqx_cleanup' EXIT

if ! command -v lircd > /dev/null; then
  echo "SKIP: lircd is not installed (Debian package lirc)"
  exit 0
fi

# The remote as lircd raw codes: each CMD token is a mark and a space in BIT units; the last space
# is the gap after the frame. Power is given another name, one the remote description lacks.
perl -ne '
  $bit = $1 if /^BIT\s+(\d+)/;
  $frq = $1 if /^FRQ\s+(\d+)/;
  push @cmds, [$1, [split " ", $2]] if /^CMD\s+(\S+)\s+(.*)/;
  END {
    print "begin remote\n  name vqxtest\n  flags RAW_CODES\n  eps 30\n  aeps 100\n  frequency $frq\n  gap 40000\n";
    print "  begin raw_codes\n";
    for $c (@cmds) {
      my @t = @{$c->[1]}; my @d;
      for $i (0 .. $#t) { my $v = hex $t[$i]; push @d, ($v >> 8) * $bit; push @d, ($v & 255) * $bit if $i < $#t; }
      my $name = $c->[0] eq "Power" ? "NotOnTheRemote" : $c->[0];
      print "    name $name\n      @d\n";
    }
    print "  end raw_codes\nend remote\n";
  }' "$rem" > "$WORK/lircd.conf"
grep -q "name Menu" "$WORK/lircd.conf" || fail "no lircd.conf was written from $rem"

# Replay text to lircd's udp driver in real time: little-endian 16-bit values in 1/16384 s units,
# high bit set for a space. A frame goes when its last mark ends; a long space is told 125 ms
# after the mark before it, as a kernel receiver's timeout reports it.
cat > "$WORK/send.pl" << 'EOF'
use strict; use IO::Socket::INET; use Time::HiRes qw(time sleep);
my $s = IO::Socket::INET->new(PeerAddr => "127.0.0.1:$ARGV[0]", Proto => "udp") or die "udp: $!";
my @buf; my $t = time;
sub put { my $v = int($_[1] * 16384 / 1e6 + 0.5); $v = 32767 if $v > 32767; push @buf, $_[0] ? $v : ($v | 0x8000); }
sub sendAt { my $d = $_[0] - time; sleep($d) if $d > 0; $s->send(pack("v*", @buf)) if @buf; @buf = (); }
put(0, 200000); sendAt($t);
while (<STDIN>) {
  my ($kind, $us) = /^(pulse|space) (\d+)/ or next;
  if ($kind eq "pulse") { put(1, $us); $t += $us / 1e6; next; }
  sendAt($t) if @buf && $us > 15000;
  if ($us > 125000) { sendAt($t + 0.125); put(0, $us); sendAt($t + 0.125); } else { put(0, $us); }
  $t += $us / 1e6;
}
sendAt($t);
EOF
port=$(perl -MIO::Socket::INET -e 'print IO::Socket::INET->new(LocalAddr => "127.0.0.1", Proto => "udp")->sockport')
send_frames() { perl "$WORK/send.pl" "$port"; }
sock="$WORK/lircd.sock"

start_lircd() {
  lircd --nodaemon --driver=udp --device="$port" --output="$sock" --pidfile="$WORK/lircd.pid" \
    --logfile="$WORK/lircd.log" "$WORK/lircd.conf" > "$WORK/lircd.out" 2>&1 &
  LIRCD_PID=$!
  local i
  for i in $(seq 1 50); do
    grep -q "ready" "$WORK/lircd.log" 2> /dev/null && [ -S "$sock" ] && return 0
    kill -0 "$LIRCD_PID" 2> /dev/null || break
    sleep 0.1
  done
  return 1
}
if ! start_lircd; then
  echo "SKIP: lircd did not start: $(tail -n 3 "$WORK/lircd.out" "$WORK/lircd.log" 2> /dev/null | tr '\n' ' ')"
  exit 0
fi

vqx_start_mapper --input "lircd:$sock" --front vlc --record "$WORK/record.log" --verbose
vqx_wait_line "$WORK/mapper.log" "reading presses from lircd at $sock" || fail "the Mapper did not connect to lircd"
vqx_bus_call org.freedesktop.DBus.Properties.Get s:com.Orvenda.VQX.Mapper1 s:Input | grep -q "^ok lircd:$sock$" ||
  fail "the Input property does not name lircd's socket"

# Two single presses: Menu then Play, each performed once.
{ vqx_frames "$rem" Menu 1 40000; echo "space 400000"; vqx_frames "$rem" Play 1 40000; echo "space 400000"; } | send_frames
vqx_wait_line "$WORK/record.log" 'KEY_TAP 00000366 0000$' || fail "lircd's Menu was not performed"
vqx_wait_line "$WORK/record.log" 'KEY_TAP 00003120 0000$' || fail "lircd's Play was not performed"
vqx_wait_line "$WORK/mapper.log" "release Play" || fail "Play was not released after its line"

# A hold: ten frames of Play back to back are lircd's first line and nine repeats, one press.
presses_before=$(grep -c "press Play:" "$WORK/mapper.log")
vqx_frames "$rem" Play 10 40000 | send_frames
echo "space 300000" | send_frames
vqx_wait_count "$WORK/mapper.log" "release Play" 2 || fail "the held Play was not released"
repeats=$(grep -c "lircd: Play repeat [1-9]" "$WORK/mapper.log" || true)
[ "$repeats" -ge 5 ] || fail "lircd sent $repeats repeat lines for ten frames; the hold was not tried"
presses=$(($(grep -c "press Play:" "$WORK/mapper.log") - presses_before))
[ "$presses" -eq 1 ] || fail "a hold of ten frames gave $presses presses, expected one"
[ "$(grep -c 'KEY_TAP 00003120' "$WORK/record.log")" -eq 2 ] || fail "the hold did not give exactly one more tap"

# A button lircd knows and the remote description does not: said once, nothing done.
{ vqx_frames "$rem" Power 1 40000; echo "space 300000"; vqx_frames "$rem" Power 1 40000; echo "space 300000"; } | send_frames
vqx_wait_count "$WORK/mapper.log" "lircd: NotOnTheRemote repeat 0" 2 || fail "lircd's second NotOnTheRemote did not arrive"
[ "$(grep -c "button NotOnTheRemote is not a button" "$WORK/mapper.log")" -eq 1 ] ||
  fail "the unknown button was not logged exactly once"

# lircd killed: the Mapper says so once and waits; started again: reconnected, presses recognised.
stop_lircd
vqx_wait_line "$WORK/mapper.log" "reconnecting when it is back" || fail "the Mapper did not notice lircd ending"
sleep 2
waits=$(grep -c "lircd at $sock" "$WORK/mapper.log" || true)
[ "$waits" -le 2 ] || fail "the Mapper logged $waits lines about lircd while it was away"
start_lircd || fail "lircd did not start again"
vqx_wait_count "$WORK/mapper.log" "reading presses from lircd at $sock" 2 || fail "the Mapper did not reconnect to lircd"
{ vqx_frames "$rem" Menu 1 40000; echo "space 300000"; } | send_frames
vqx_wait_count "$WORK/record.log" 'KEY_TAP 00000366 0000$' 2 || fail "a press after lircd came back was not performed"

kill -TERM "$MAPPER_PID"
status=0
wait "$MAPPER_PID" || status=$?
MAPPER_PID=""
[ "$status" -eq 0 ] || fail "the Mapper ended with status $status"
echo "PASS"
