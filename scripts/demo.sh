#!/usr/bin/env bash
# make demo: plays generated drums against a generated chord through the product's default
# state with a few settings into build/demo.wav, shows the settings as the product reads them
# back, measures the product's real-time factor, and plays the drums through a chain of single
# modules into build/demo-modules.wav.
set -euo pipefail
build="${1:-build}"
quillon="$build/tools/quillon"
out="$build/demo"
mkdir -p "$out"
seconds=8

# A state whose graph holds no module passes the main input through untouched: it turns the
# generated chord into a file for the side-chain input.
cat >"$out/pass-through.xml" <<'EOF'
<?xml version="1.0" encoding="utf-8"?>
<Switchyardsettings Version="1050368">
	<Plugins/>
</Switchyardsettings>
EOF
"$quillon" render --generate "chord:$seconds" "$out/chord.wav" --quiet --state "$out/pass-through.xml" >/dev/null

# Drums on A, the chord on B, morphed more than half way towards B; each path colours its
# signal on the way (an echo on the drums, a slight frequency shift on the chord) and the
# master chain presses and warms the sum.
settings=(
  "Morph=60%"
  "B Source=Side-chain"
  "A Delay Time=375 ms"
  "A Feed=40%"
  "B Shift=120 Hz"
  "Press=35%"
  "Heat=9 dB"
)
set_options=()
for setting in "${settings[@]}"; do set_options+=(--set "$setting"); done

echo "== $seconds s of generated drums (main input) and an A minor seventh chord (side chain) through"
echo "   the product's default state, into $build/demo.wav"
"$quillon" render --generate "drums:$seconds" "$build/demo.wav" --sidechain "$out/chord.wav" --quiet \
  "${set_options[@]}"

echo
echo "== the parameters it set, as the product reads them back (index, name, normalised value, text)"
names="$(printf '%s\n' "${settings[@]}" | cut -d= -f1)"
"$quillon" params "${set_options[@]}" | awk -F '\t' -v names="$names" '
  BEGIN { n = split(names, list, "\n"); for (i = 1; i <= n; i++) wanted[tolower(list[i])] = 1 }
  tolower($2) in wanted'

echo
echo "== the product's cost on the same music with those settings, 10 s at 48 kHz, block 512"
"$quillon" bench "${set_options[@]}"

echo
echo "== the same tool on a chain of modules: the drums through 6-bit words, a 375 ms echo and a"
echo "   6 kHz low-pass (resources/demo/module-chain.xml), into $build/demo-modules.wav"
"$quillon" render --generate "drums:$seconds" "$build/demo-modules.wav" --quiet \
  --state resources/demo/module-chain.xml \
  --set "Crush - Bits=6" --set "Echo - Delay=375" --set "Echo - Feedback=50%" --set "Filter - Low-pass=6 kHz"
