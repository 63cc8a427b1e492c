#pragma once
// The editor as it would stand, painted without a window: the background, then every control
// of the definition's layout at the frame of its present value, the value texts in their
// fonts. Controls whose multi-parameter is not visible (the panel the mode hides) are left
// out, as the editor leaves them out. Where the skin has no image of a name, the control is
// outlined and labelled with its target instead, and without a background the areas and
// labels of the layout are drawn plainly: so the layout can be seen before the art exists.

#include "editor/bitmap.h"

class RQuillon;

RBitmap PaintEditorPreview(RQuillon& product);
