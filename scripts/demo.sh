#!/usr/bin/env bash
# make demo: shows the quillon tool at work on a sample tree until the product can render.
# It converts the sample between its stored forms and checks that every form reads back to
# the same tree.
set -euo pipefail
build="${1:-build}"
quillon="$build/tools/quillon"
sample="resources/demo/sample-tree.xml"
out="$build/demo"
mkdir -p "$out"

echo "== the sample tree, as XML ($sample)"
"$quillon" tree "$sample"

"$quillon" tree "$sample" --to rtg -o "$out/sample.rtg"
"$quillon" tree "$sample" --to rtgz -o "$out/sample.rtgz"
"$quillon" tree "$out/sample.rtgz" --to base64 -o "$out/sample.b64"
echo
echo "== stored forms written to $out"
for f in "$sample" "$out/sample.rtg" "$out/sample.rtgz" "$out/sample.b64"; do
  printf '  %-34s %6d bytes\n' "$f" "$(stat -c %s "$f")"
done

echo
echo "== every form reads back to the same binary tree"
"$quillon" tree "$sample" --to rtg -o "$out/reference.rtg"
for f in "$out/sample.rtg" "$out/sample.rtgz" "$out/sample.b64"; do
  "$quillon" tree "$f" --to rtg -o "$out/check.rtg"
  if cmp -s "$out/reference.rtg" "$out/check.rtg"; then
    echo "  $f: identical"
  else
    echo "  $f: DIFFERS" >&2
    exit 1
  fi
done
echo
echo "== a file that holds no tree is refused with one line and status 1"
head -c 64 /dev/urandom > "$out/noise.bin"
if "$quillon" tree "$out/noise.bin" >/dev/null; then
  echo "  noise was accepted" >&2
  exit 1
else
  echo "  (status $?)"
fi
