#!/usr/bin/env bash
# Black-box checks of `quillon tree`: every form reads back to the same tree, and bad input
# ends in one line on standard error with status 1.
quillon="$1"
sample="$2"
source "$(dirname "$0")/clitest.sh"

"$quillon" tree "$sample" --to rtg -o "$work/reference.rtg" || fail "xml to rtg"
[ -s "$work/reference.rtg" ] || fail "rtg output is empty"
for form in xml rtg rtgz base64; do
  "$quillon" tree "$sample" --to "$form" -o "$work/sample.$form" || fail "write $form"
  "$quillon" tree "$work/sample.$form" --to rtg -o "$work/back.rtg" || fail "read $form"
  cmp -s "$work/reference.rtg" "$work/back.rtg" || fail "$form does not read back to the same tree"
done
head -c 1 "$work/sample.base64" | grep -q '\$' || fail "base64 form does not start with '\$'"
[ "$(head -c 2 "$work/sample.rtgz" | od -An -tx1 | tr -d ' ')" = "78da" ] || fail "rtgz is not zlib at the best level"

# Standard input and standard output.
"$quillon" tree - --to xml <"$work/sample.rtgz" >"$work/stdin.xml" || fail "read from standard input"
"$quillon" tree "$work/stdin.xml" --to rtg -o "$work/back.rtg" && cmp -s "$work/reference.rtg" "$work/back.rtg" \
  || fail "standard input round trip differs"

: >"$work/empty"
expect_refusal "empty file" tree "$work/empty"
printf 'neither xml nor a tree: \x01\x02\x03\xff' >"$work/noise"
expect_refusal "noise" tree "$work/noise"
expect_refusal "missing file" tree "$work/does-not-exist.xml"
expect_refusal "unknown form" tree "$sample" --to wav
expect_refusal "no command" 

# A refused conversion leaves an existing output file as it was.
cp "$work/reference.rtg" "$work/kept.rtg"
"$quillon" tree "$work/noise" --to rtg -o "$work/kept.rtg" 2>/dev/null
cmp -s "$work/reference.rtg" "$work/kept.rtg" || fail "a refused conversion changed the output file"

finish "all tree command checks passed"
