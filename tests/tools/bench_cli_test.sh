#!/usr/bin/env bash
# Black-box checks of `quillon bench` as a user runs it: what it reports and in which form, that
# its three figures agree with one another and with the length and rate asked for, and that bad
# input ends in one line on standard error with status 1. How fast the machine is, is never
# checked: the figures are compared with each other, not with a target.
quillon="$1"
data="$2"
source "$(dirname "$0")/clitest.sh"

# Runs bench with the arguments given; on success leaves the report's fields in the globals
# below, read from the three lines it must print and nothing else.
run_bench() {
  local what="$1"; shift
  "$quillon" bench "$@" >"$work/out" 2>"$work/err"
  local status=$?
  [ "$status" -eq 0 ] || { fail "$what: status $status: $(cat "$work/err")"; return 1; }
  [ -s "$work/err" ] && fail "$what: wrote to standard error: $(cat "$work/err")"
  [ "$(wc -l <"$work/out")" -eq 3 ] || { fail "$what: expected three lines, got: $(cat "$work/out")"; return 1; }
  local head cost rtf
  head="$(sed -n 1p "$work/out")"
  cost="$(sed -n 2p "$work/out")"
  rtf="$(sed -n 3p "$work/out")"
  local pattern='^bench: ([0-9]+\.[0-9]{3}) s of drums on the main input and a chord on the side chain, ([0-9]+) Hz stereo, block ([0-9]+), through .+$'
  [[ "$head" =~ $pattern ]] || { fail "$what: first line: $head"; return 1; }
  seconds="${BASH_REMATCH[1]}" rate="${BASH_REMATCH[2]}" block="${BASH_REMATCH[3]}"
  pattern='^processing: ([0-9]+\.[0-9]{6}) s of CPU time, ([0-9]+\.[0-9]) ns per stereo frame, ([0-9]+\.[0-9]{3})% of one core$'
  [[ "$cost" =~ $pattern ]] || { fail "$what: second line: $cost"; return 1; }
  cpu="${BASH_REMATCH[1]}" ns="${BASH_REMATCH[2]}" share="${BASH_REMATCH[3]}"
  pattern='^real-time factor: ([0-9]+\.[0-9])x$'
  [[ "$rtf" =~ $pattern ]] || { fail "$what: last line: $rtf"; return 1; }
  factor="${BASH_REMATCH[1]}"
  return 0
}

# The figures of one report describe one measurement: the cost per frame, the share of a core
# and the factor all follow from the CPU time, the length and the rate. Each product is allowed
# the error that the printed digits of its two factors carry.
check_consistent() {
  local what="$1"
  awk -v s="$seconds" -v r="$rate" -v c="$cpu" -v n="$ns" -v p="$share" -v f="$factor" 'BEGIN {
    frame_ns = 1e9 / r
    if (f <= 0 || n <= 0) exit 1
    # ns per frame times the factor is the length of one frame in ns.
    if ((n * f - frame_ns) ^ 2 > (0.05 * f + 0.05 * n + 1e-9) ^ 2) exit 1
    # The share of a core times the factor is 100%.
    if ((p * f - 100) ^ 2 > (0.0005 * f + 0.05 * p + 1e-9) ^ 2) exit 1
    # The CPU time spread over the frames is the cost per frame.
    if ((c * 1e9 / (s * r) - n) ^ 2 > (0.05 + 0.0000005 * 1e9 / (s * r)) ^ 2) exit 1
  }' || fail "$what: the figures disagree: $(tr '\n' '|' <"$work/out")"
}

# --- the defaults: ten seconds at 48 kHz in blocks of 512
if run_bench "bench"; then
  [ "$seconds" = 10.000 ] && [ "$rate" = 48000 ] && [ "$block" = 512 ] \
    || fail "defaults: $seconds s, $rate Hz, block $block"
  check_consistent "bench"
fi

# --- length, rate and block as asked; a length beyond one piece of the music and one that ends
# inside a piece are played whole
if run_bench "bench --seconds 1.5 --rate 44100 --block 7" --seconds 1.5 --rate 44100 --block 7; then
  [ "$seconds" = 1.500 ] && [ "$rate" = 44100 ] && [ "$block" = 7 ] \
    || fail "--seconds 1.5 --rate 44100 --block 7: $seconds s, $rate Hz, block $block"
  check_consistent "bench --seconds 1.5"
fi
if run_bench "bench --seconds 9.25 --block 300" --seconds 9.25 --block 300; then
  [ "$seconds" = 9.250 ] && [ "$block" = 300 ] || fail "--seconds 9.25 --block 300: $seconds s, block $block"
  check_consistent "bench --seconds 9.25"
fi

# --- a state and settings are taken as render takes them
"$quillon" state --set "Morph=75%" -o "$work/morphed.xml" || fail "state -o"
run_bench "bench --state" --seconds 0.5 --state "$work/morphed.xml" && check_consistent "bench --state"
run_bench "bench --set" --seconds 0.5 --set "B Source=Side-chain" --set 0=@1 && check_consistent "bench --set"
run_bench "bench --state (a graph of modules)" --seconds 0.5 --state "$data/modules_chain.xml" \
  && check_consistent "bench with a chain of modules"

# --- bad input
expect_refusal "length 0" bench --seconds 0
expect_refusal "negative length" bench --seconds -2
expect_refusal "length that is no number" bench --seconds soon
expect_refusal "length with a unit" bench --seconds 10s
expect_refusal "length beyond an hour" bench --seconds 3601
expect_refusal "length under one frame" bench --seconds 0.00001
expect_refusal "infinite length" bench --seconds inf
expect_refusal "unknown parameter" bench --seconds 0.1 --set Nope=1
expect_refusal "bad value" bench --seconds 0.1 --set "B Source=Elsewhere"
expect_refusal "missing state" bench --seconds 0.1 --state "$work/missing.state"
expect_refusal "block size 0" bench --seconds 0.1 --block 0
expect_refusal "sample rate 0" bench --seconds 0.1 --rate 0
expect_refusal "stray argument" bench --seconds 0.1 extra

finish "all bench checks passed"
