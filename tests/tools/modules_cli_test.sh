#!/usr/bin/env bash
# Black-box checks of the modules as a user reaches them through the command line: a state
# holding one module renders with that module's sound, settings typed by parameter name reach
# the module, and a chain of every module of the catalogue loads, compiles and renders finite
# audio without a "Module not found" in the log.
quillon="$1"
data="$2"
source "$(dirname "$0")/clitest.sh"

export XDG_DATA_HOME="$work/data"
unset QUILLON_LOG_STDERR
log="$XDG_DATA_HOME/VarnholtStudios/Quillon.log"

# One statistic of a file as sox measures it ("Maximum amplitude", "RMS     amplitude", ...),
# after the first tenth of a second, where a setting made before the render still glides in.
statistic() {
  sox -D "$1" -n trim 0.1 stat 2>&1 | awk -v key="$2" 'index($0, key) == 1 {print $NF}'
}
near() { awk -v a="$1" -v b="$2" -v tolerance="$3" 'BEGIN {d = a - b; if (d < 0) d = -d; exit !(d <= tolerance)}'; }

"$quillon" render --generate sine:440:1 "$work/sine.wav" --quiet >/dev/null || fail "render --generate sine"

# --- a level placer typed by name: -6.02 dB halves the half-scale sine
cat >"$work/level.xml" <<'STATE'
<?xml version="1.0" encoding="utf-8"?>
<Quillonsettings Version="1050368">
	<Plugins>
		<Plugin X="0" Y="0" Name="LevelPlacer" FullName="Level"/>
	</Plugins>
</Quillonsettings>
STATE
"$quillon" params --all --state "$work/level.xml" >"$work/params" \
  && grep -qP '\tLevel - Panorama\t0\.500000\tcenter$' "$work/params" \
  || fail "params does not list the level placer's panorama at center"
"$quillon" render "$work/sine.wav" "$work/level.wav" --state "$work/level.xml" --set "Level - Output=-6.02 dB" \
  --quiet >/dev/null || fail "render through a level placer"
peak="$(statistic "$work/level.wav" "Maximum amplitude")"
near "$peak" 0.25 0.001 || fail "level placer at -6.02 dB: peak $peak, expected 0.25"

# --- one bit of word: every sample is -1 or +1, whatever the input
"$quillon" render "$work/sine.wav" "$work/onebit.wav" --state "$data/module_onebit.xml" --quiet >/dev/null \
  || fail "render through a one-bit word mangler"
rms="$(statistic "$work/onebit.wav" "RMS     amplitude")"
near "$rms" 1 0.000001 || fail "one-bit word: RMS $rms, expected 1 (every sample at full scale)"

# --- every module in one chain: loads without an unknown name, compiles every row, renders
rm -f "$log"
"$quillon" graph --state "$data/modules_chain.xml" >"$work/graph" 2>"$work/err" || fail "graph of the chain: $(cat "$work/err")"
for name in Filter Echo Grains Bits Rate Shift Blend Walk Tool Level Warmth Clip Press; do
  grep -q " $name: " "$work/graph" || fail "the chain's compiled list lacks $name: $(cat "$work/graph")"
done
"$quillon" render --generate noise:2 "$work/chain.wav" --state "$data/modules_chain.xml" --quiet >/dev/null \
  || fail "render the chain"
grep -q 'Module not found' "$log" 2>/dev/null && fail "the chain logged an unknown module: $(grep 'Module not found' "$log")"
sox -D "$work/chain.wav" -t f32 - 2>/dev/null | python3 -c '
import math, struct, sys
data = sys.stdin.buffer.read()
samples = struct.unpack("<%df" % (len(data) // 4), data)
assert samples, "no samples"
assert all(math.isfinite(s) for s in samples), "a sample is not finite"
assert max(abs(s) for s in samples) > 1e-4, "the chain is silent"
' || fail "the chain's output is not finite, sounding audio"

finish "all module command-line checks passed"
