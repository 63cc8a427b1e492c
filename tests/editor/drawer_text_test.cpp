// Text through FreeType: where a line of glyphs lands for each alignment, the display face's
// digits, colour and clipping, and a missing font file.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>

#include "base/exception.h"
#include "drawertesting.h"
#include "editor/drawertobitmap.h"
#include "editor/fonts.h"

using namespace drawertesting;

namespace {

RString Text(const char* text) { return RString::FromUTF8(text); }

class DrawerText : public ::testing::Test {
protected:
  RBitmap Draw(const char* text, RAlignH h, RAlignV v, uint32_t color = kBlack) {
    RBitmap bitmap(200, 80);
    RDrawerToRBitmap(bitmap).AlignedTextOut(box, Text(text), roboto, color, h, v);
    return bitmap;
  }

  RFont roboto{Text(RFont::kRobotoPath), 24.0f};
  const RRect box{20, 10, 180, 70};
};

TEST_F(DrawerText, AGlyphLandsWhereTheHorizontalAlignmentSays) {
  const RRect left = InkBounds(Draw("H", RAlignH::kLeft, RAlignV::kTop));
  ASSERT_FALSE(left.IsEmpty());
  // Only the glyph's side bearing (a pixel or two at this size) between the box and the ink.
  EXPECT_GE(left.left, box.left);
  EXPECT_LE(left.left, box.left + 3);

  const RRect right = InkBounds(Draw("H", RAlignH::kRight, RAlignV::kTop));
  EXPECT_LE(right.right, box.right);
  EXPECT_GE(right.right, box.right - 3);
  EXPECT_EQ(right.Width(), left.Width());
  EXPECT_EQ(right.top, left.top);

  const RRect centre = InkBounds(Draw("H", RAlignH::kCentre, RAlignV::kTop));
  EXPECT_NEAR(0.5 * (centre.left + centre.right), 0.5 * (box.left + box.right), 1.5);
}

TEST_F(DrawerText, AGlyphLandsWhereTheVerticalAlignmentSays) {
  const RRect top = InkBounds(Draw("H", RAlignH::kLeft, RAlignV::kTop));
  // The capital's top lies below the ascent line, and within it.
  EXPECT_GE(top.top, box.top);
  EXPECT_LT(top.top, box.top + int32_t(std::ceil(roboto.GetAscent())));
  EXPECT_NEAR(double(top.bottom), box.top + roboto.GetAscent(), 1.0) << "a capital stands on the baseline";

  const RRect baseline = InkBounds(Draw("H", RAlignH::kLeft, RAlignV::kBaseline));
  EXPECT_NEAR(double(baseline.bottom), double(box.bottom), 1.0);
  EXPECT_EQ(baseline.Height(), top.Height());

  const RRect bottom = InkBounds(Draw("Hg", RAlignH::kLeft, RAlignV::kBottom));
  EXPECT_LE(bottom.bottom, box.bottom);
  EXPECT_GE(bottom.bottom, box.bottom - 2) << "the descender reaches the bottom edge";

  const RRect middle = InkBounds(Draw("Hg", RAlignH::kLeft, RAlignV::kMiddle));
  const double slack = 0.5 * (roboto.GetAscent() + roboto.GetDescent() - middle.Height()) + 1.0;
  EXPECT_NEAR(0.5 * (middle.top + middle.bottom), 0.5 * (box.top + box.bottom), slack);
  EXPECT_GT(middle.top, top.top);
  EXPECT_LT(middle.bottom, bottom.bottom);
}

TEST_F(DrawerText, TextIsClippedToItsBoxAndTakesTheColoursAlpha) {
  RBitmap bitmap(200, 80);
  const RRect tight{30, 20, 60, 40};
  RDrawerToRBitmap(bitmap).AlignedTextOut(tight, Text("WWWWWWWW"), roboto, kBlack, RAlignH::kLeft, RAlignV::kMiddle);
  EXPECT_GT(CountInk(bitmap), 40);
  EXPECT_TRUE(UntouchedOutside(bitmap, tight));

  const RBitmap faint = Draw("HHH", RAlignH::kCentre, RAlignV::kMiddle, 0x80000000u);
  uint32_t darkest = 255;
  for (int32_t y = 0; y < faint.GetHeight(); ++y) {
    for (int32_t x = 0; x < faint.GetWidth(); ++x) darkest = std::min(darkest, RPixel::Red(faint.GetPixel(x, y)));
  }
  EXPECT_EQ(darkest, 126u) << "half black over white at full coverage";

  EXPECT_EQ(CountInk(Draw("", RAlignH::kLeft, RAlignV::kTop)), 0);
  // Wider text is wider ink, and the measure agrees with what is drawn.
  const RRect one = InkBounds(Draw("0", RAlignH::kLeft, RAlignV::kTop));
  const RRect three = InkBounds(Draw("000", RAlignH::kLeft, RAlignV::kTop));
  EXPECT_NEAR(double(three.Width() - one.Width()), 2.0 * roboto.Measure(Text("0")), 1.5);
}

TEST_F(DrawerText, KerningPullsPairsTogetherWhereTheFaceHasIt) {
  // Roboto keeps its pairs in a table FreeType's kerning doesn't read: plain advances.
  EXPECT_FALSE(roboto.HasKerning());
  EXPECT_FLOAT_EQ(roboto.Measure(Text("AV")), roboto.Measure(Text("A")) + roboto.Measure(Text("V")));

  const char* kerned = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
  if (!std::filesystem::exists(kerned)) GTEST_SKIP() << "no face with a kerning table installed";
  RFont dejavu(Text(kerned), 24.0f);
  ASSERT_TRUE(dejavu.HasKerning());
  EXPECT_LT(dejavu.Measure(Text("AV")), dejavu.Measure(Text("A")) + dejavu.Measure(Text("V")) - 1.0f);
  EXPECT_FLOAT_EQ(dejavu.Measure(Text("HH")), 2.0f * dejavu.Measure(Text("H")));
}

TEST(DrawerTextFaces, TheSegmentFaceDrawsItsDigits) {
  RFont segments(RFont::PathOfFace(Text("Segment14mod")), 32.0f);
  EXPECT_EQ(RFont::PathOfFace(Text("Segment14mod")).ToUTF8(), RFont::kSegmentPath);
  const auto ink = [&](const char* text) {
    RBitmap bitmap(300, 60);
    RDrawerToRBitmap(bitmap).AlignedTextOut(bitmap.GetBounds(), Text(text), segments, kBlack, RAlignH::kRight,
                                            RAlignV::kBaseline);
    return bitmap;
  };
  const int32_t one = CountInk(ink("1"));
  const int32_t eight = CountInk(ink("8"));
  EXPECT_GT(one, 20);
  EXPECT_GT(eight, 2 * one) << "an eight lights every segment, a one two";
  // The segments of a display face are all the same width: every digit advances alike.
  EXPECT_FLOAT_EQ(segments.Measure(Text("1")), segments.Measure(Text("8")));
  const RRect value = InkBounds(ink("-12.5"));
  EXPECT_GT(value.Width(), 3 * InkBounds(ink("8")).Width());
  EXPECT_LE(value.right, 300);
}

TEST(DrawerTextFaces, AMissingFontFileFailsCleanly) {
  try {
    RFont missing(Text("/nonexistent/NoSuchFont.ttf"), 12.0f);
    FAIL() << "a missing file must throw";
  } catch (const RException& failure) {
    EXPECT_EQ(failure.GetMessage().ToUTF8(), "Could not load font \"/nonexistent/NoSuchFont.ttf\".");
  }
  // Any other name is the text face; the condensed cut has its own file.
  EXPECT_EQ(RFont::PathOfFace(Text("Roboto")).ToUTF8(), RFont::kRobotoPath);
  EXPECT_EQ(RFont::PathOfFace(Text("Unknown face")).ToUTF8(), RFont::kRobotoPath);
  EXPECT_THROW(RFont::Shared(Text("/nonexistent/NoSuchFont.ttf"), 12.0f), RException);
  RFont& shared = RFont::Shared(RFont::PathOfFace(Text("Roboto")), 24.0f);
  EXPECT_EQ(&RFont::Shared(RFont::PathOfFace(Text("Roboto")), 24.0f), &shared) << "one font per file and size";
  EXPECT_NE(&RFont::Shared(RFont::PathOfFace(Text("Roboto")), 12.0f), &shared);
  // Advances come in 1/64 pixel steps, rounded per glyph.
  EXPECT_NEAR(RFont::Shared(RFont::PathOfFace(Text("Roboto")), 12.0f).Measure(Text("Feedback")) * 2.0f,
              shared.Measure(Text("Feedback")), 0.25f)
      << "unhinted advances scale with the size, each font keeping its own";
  RFont condensed(RFont::PathOfFace(Text("Roboto Condensed")), 24.0f);
  RFont regular(RFont::PathOfFace(Text("Roboto")), 24.0f);
  EXPECT_LT(condensed.Measure(Text("Feedback")), regular.Measure(Text("Feedback")));
}

} // namespace
