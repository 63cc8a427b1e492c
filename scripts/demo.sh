#!/usr/bin/env bash
# make demo: after a short look at the stored forms the tool reads and writes, renders a
# generated test signal through the plug-in into build/demo.wav, and a drum pattern through a
# chain of modules into build/demo-modules.wav.
set -euo pipefail
build="${1:-build}"
quillon="$build/tools/quillon"
sample="resources/demo/sample-tree.xml"
out="$build/demo"
mkdir -p "$out"

echo "== stored trees: the sample in every form, each read back to the same tree"
"$quillon" tree "$sample" --to rtg -o "$out/reference.rtg"
for form in rtg rtgz base64; do
  "$quillon" tree "$sample" --to "$form" -o "$out/sample.$form"
  "$quillon" tree "$out/sample.$form" --to rtg -o "$out/check.rtg"
  cmp -s "$out/reference.rtg" "$out/check.rtg" || { echo "  $form: DIFFERS" >&2; exit 1; }
  printf '  %-8s %6d bytes, identical\n' "$form" "$(stat -c %s "$out/sample.$form")"
done

echo
echo "== the plug-in's parameters"
"$quillon" params

echo
echo "== rendering 4 s of a 440 Hz sine, bypass automated on at 1.5 s and off at 3 s"
"$quillon" render --generate sine:440:4 "$build/demo.wav" --quiet \
  --automate Bypass=On,1.5 --automate Bypass=Off,3.0

echo
echo "== the same tool on a chain of modules: a drum pattern through 6-bit words, a 375 ms echo"
echo "   and a 6 kHz low-pass (resources/demo/module-chain.xml), into $build/demo-modules.wav"
"$quillon" render --generate drums:8 "$build/demo-modules.wav" --quiet \
  --state resources/demo/module-chain.xml \
  --set "Crush - Bits=6" --set "Echo - Delay=375" --set "Echo - Feedback=50%" --set "Filter - Low-pass=6 kHz"
