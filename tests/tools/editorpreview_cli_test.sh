#!/usr/bin/env bash
# Black-box checks of `quillon editor-preview`: the editor painted without a window comes out
# as a PNG of the background's size, follows the settings (the mode swaps the SWAP panel), and
# bad input ends in one line on standard error with status 1.
quillon="$1"
source "$(dirname "$0")/clitest.sh"

"$quillon" editor-preview "$work/blend.png" >"$work/out" || fail "editor-preview"
grep -q "1962 x 1280" "$work/out" || fail "editor-preview: $(cat "$work/out")"
"$quillon" image "$work/blend.png" -o "$work/again.png" >"$work/image.out" || fail "the preview does not read back as an image"
grep -q "1962 x 1280" "$work/image.out" || fail "the preview reads back as $(cat "$work/image.out")"

"$quillon" editor-preview "$work/grid.png" --set Mode=Grid >/dev/null || fail "editor-preview --set Mode=Grid"
"$quillon" editor-preview "$work/blend-again.png" --set Mode=Blend >/dev/null || fail "editor-preview --set Mode=Blend"
cmp -s "$work/blend.png" "$work/grid.png" && fail "the grid mode paints the same editor as the blend mode"
cmp -s "$work/blend.png" "$work/blend-again.png" || fail "the same settings paint a different editor"

"$quillon" editor-preview "$work/morph.png" --set Morph=90% >/dev/null || fail "editor-preview --set Morph=90%"
cmp -s "$work/blend.png" "$work/morph.png" && fail "a moved control doesn't show in the preview"

expect_refusal "output folder missing" editor-preview "$work/no/such/folder/x.png"
expect_refusal "unknown setting" editor-preview "$work/x.png" --set "No Such Control=1"
[ -e "$work/x.png" ] && fail "a refused preview left a file"

finish "all editor-preview checks passed"
