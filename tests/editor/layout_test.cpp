// The layout reader: what a definition's control, rect and text elements become, and the two
// failures a control can cause.
#include <gtest/gtest.h>

#include <string>

#include "base/exception.h"
#include "base/memorystream.h"
#include "base/tagitem.h"
#include "editor/layout.h"

namespace {

void Parse(const char* xml, RTagItem& root) {
  RMemoryStream stream;
  stream.Write(xml, int64_t(std::char_traits<char>::length(xml)));
  stream.Seek(0);
  root.Load(stream);
  ASSERT_EQ(root.GetName().ToUTF8(), "plugin");
}

std::string Failure(const char* xml, int32_t count) {
  RTagItem root;
  Parse(xml, root);
  try {
    ReadLayout(root, count);
  } catch (const RException& e) {
    return e.GetMessage().ToUTF8();
  }
  return "";
}

TEST(EditorLayout, ControlsRectsAndTextsAreReadInOrder) {
  RTagItem root;
  Parse(R"(<plugin Background="skin">
    <rect pos="10,20" size="100,50" color="1B1D22FF" border="#343842" round="14"/>
    <control target="26" pos="56,244" image="KnobA" count="101" baseangle="45"/>
    <control target="26" pos="176,263" size="210,64" unitsinside="1" followprevctrl="1" color="5FB3C9FF"
             font="Segment14mod" fontheight="32" fontshift="0,4"/>
    <control target="26" pos="176,263" image="GlassA" count="1" static="1"/>
    <control type="switch" target="3" pos="1700,1120" image="SwitchSource" count="4" clickswitch="0" vertical="1">
      <item value="0" pos="1700,1124" size="180,34"/>
      <item value="2" pos="1700,1196" size="180,34"/>
    </control>
    <control type="slider" target="22" pos="500,930" size="32,270" image="FaderA" vertical="1"/>
    <control type="menu" target="2" pos="824,796" size="314,64"/>
    <control target="bypass" pos="1660,30" image="ButtonBig" count="2"/>
    <text pos="48,216" size="102,22" align="left" color="9A968EFF" font="Roboto Condensed" fontheight="17"
          fontbold="1" uppercase="1" fontspacebetweenchars="2">Delay</text>
  </plugin>)", root);
  const RLayout layout = ReadLayout(root, 81);
  EXPECT_EQ(layout.background.ToUTF8(), "skin");
  ASSERT_EQ(layout.rects.size(), 1u);
  EXPECT_EQ(layout.rects[0].box, (RRect{10, 20, 110, 70}));
  EXPECT_EQ(layout.rects[0].color, 0xFF1B1D22u);
  EXPECT_EQ(layout.rects[0].border, 0xFF343842u);
  EXPECT_EQ(layout.rects[0].round, 14.0f);

  ASSERT_EQ(layout.controls.size(), 7u);
  const RLayoutControl& knob = layout.controls[0];
  EXPECT_EQ(knob.kind, RLayoutControl::Kind::Knob);
  EXPECT_EQ(knob.multiParameter, 25);
  EXPECT_EQ(knob.count, 101);
  EXPECT_FALSE(knob.valueText);
  const RLayoutControl& text = layout.controls[1];
  EXPECT_TRUE(text.valueText);
  EXPECT_TRUE(text.followsPrevious);
  EXPECT_EQ(text.Box(), (RRect{176, 263, 386, 327}));
  EXPECT_EQ(text.color, 0xFF5FB3C9u);
  EXPECT_EQ(text.fontHeight, 32.0f);
  EXPECT_EQ(text.fontShiftY, 4);
  EXPECT_TRUE(layout.controls[2].isStatic);
  const RLayoutControl& source = layout.controls[3];
  EXPECT_EQ(source.kind, RLayoutControl::Kind::Switch);
  EXPECT_TRUE(source.vertical);
  EXPECT_FALSE(source.clickSwitch);
  ASSERT_EQ(source.items.size(), 2u);
  EXPECT_EQ(source.items[1].value, 2);
  EXPECT_EQ(source.items[1].box, (RRect{1700, 1196, 1880, 1230}));
  EXPECT_EQ(layout.controls[4].kind, RLayoutControl::Kind::Slider);
  EXPECT_EQ(layout.controls[5].kind, RLayoutControl::Kind::Menu);
  EXPECT_EQ(layout.controls[5].font.ToUTF8(), "Roboto");
  EXPECT_EQ(layout.controls[5].color, 0xFF000000u) << "black when no colour is given";
  const RLayoutControl& bypass = layout.controls[6];
  EXPECT_EQ(bypass.kind, RLayoutControl::Kind::Function);
  EXPECT_EQ(bypass.multiParameter, -1);
  EXPECT_EQ(bypass.target.ToUTF8(), "bypass");

  ASSERT_EQ(layout.texts.size(), 1u);
  EXPECT_EQ(layout.texts[0].text.ToUTF8(), "Delay");
  EXPECT_EQ(layout.texts[0].align, -1);
  EXPECT_TRUE(layout.texts[0].bold && layout.texts[0].upperCase);
  EXPECT_EQ(layout.texts[0].spacing, 2.0f);
}

TEST(EditorLayout, AControlNeedsATargetThatExists) {
  EXPECT_EQ(Failure(R"(<plugin><control pos="12,34" image="KnobA"/></plugin>)", 81),
            "Control at position 12.000000,34.000000 has no target.");
  EXPECT_EQ(Failure(R"(<plugin><control target="0" pos="1,1"/></plugin>)", 81),
            "Control attached to multiparameter 0 (mp count is 81).");
  EXPECT_EQ(Failure(R"(<plugin><control target="82" pos="1,1"/></plugin>)", 81),
            "Control attached to multiparameter 82 (mp count is 81).");
  EXPECT_EQ(Failure(R"(<plugin><control target="81" pos="1,1"/></plugin>)", 81), "");
}

TEST(EditorLayout, ColoursAreRedGreenBlueAlpha) {
  EXPECT_EQ(ReadLayoutColor(RString("FF000080"), 0), 0x80FF0000u);
  EXPECT_EQ(ReadLayoutColor(RString("#00FF00"), 0), 0xFF00FF00u);
  EXPECT_EQ(ReadLayoutColor(RString("0000ffff"), 0), 0xFF0000FFu);
  EXPECT_EQ(ReadLayoutColor(RString("12345"), 7u), 7u);
  EXPECT_EQ(ReadLayoutColor(RString("GG0000FF"), 7u), 7u);
}

} // namespace
