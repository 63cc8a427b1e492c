// The editor's layout as the definition writes it: every control the host sees has a place on
// the background, targets exist, nothing a user clicks hides another, and the frames of the
// images fit where they are put.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "base/format.h"
#include "base/tagitem.h"
#include "graph/product/productdefinition.h"
#include "tests/product/producttest.h"

namespace {

constexpr int32_t kBackgroundWidth = 1962;
constexpr int32_t kBackgroundHeight = 1280;

// Frame sizes of the skin's images, as the skin draws them (strips: one frame).
const std::map<std::string, std::pair<int32_t, int32_t>>& FrameSizes() {
  static const std::map<std::string, std::pair<int32_t, int32_t>> sizes = [] {
    std::map<std::string, std::pair<int32_t, int32_t>> s = {
        {"KnobA", {102, 102}},       {"KnobB", {102, 102}},       {"KnobFeed", {54, 54}},
        {"KnobMaster", {72, 72}},    {"KnobMorph", {342, 342}},   {"LEDA", {28, 12}},
        {"LEDB", {28, 12}},          {"LEDMorph", {22, 10}},      {"PanelGrid", {733, 660}},
        {"PanelMorph", {733, 660}},  {"SwitchSource", {180, 112}}, {"SwitchSwap", {40, 64}},
        {"ButtonBig", {100, 38}},    {"ButtonSingle", {42, 38}},  {"ButtonSmall", {42, 38}},
        {"FaderA", {32, 130}},       {"FaderB", {32, 130}},       {"GlassA", {210, 64}},
        {"GlassB", {212, 64}},       {"GlassPattern", {314, 64}}, {"GlassPreset", {314, 62}}};
    for (int i = 1; i <= 16; ++i) s[(i < 10 ? "Bit0" : "Bit") + std::to_string(i) + "X"] = {80, 80};
    return s;
  }();
  return sizes;
}

struct RRectangle {
  int32_t x = 0, y = 0, w = 0, h = 0;
};

struct Control {
  std::string target, type, image;
  RRectangle box;
  bool input = true;  // takes the mouse
  bool follows = false;
};

std::string Attribute(const RTagItem& item, const char* key) {
  return item.GetAttributeText(RHashedString(RString::FromUTF8(key))).ToUTF8();
}

bool Overlap(const RRectangle& a, const RRectangle& b) {
  return a.x < b.x + b.w && b.x < a.x + a.w && a.y < b.y + b.h && b.y < a.y + a.h;
}

class ProductLayout : public ::testing::Test {
protected:
  void SetUp() override {
    product_test::ReadBuiltInDefinition(plugin_);
    definition_.Read(plugin_);
    for (const RTagItem* item = plugin_.GetFirstSubItem(); item; item = item->GetNext()) {
      const std::string name = item->GetName().ToUTF8();
      if (name == "control") controls_.push_back(Read(*item));
      if (name == "text" || name == "rect") decor_.push_back(Box(*item, "size"));
    }
  }

  static RRectangle Box(const RTagItem& item, const char* sizeKey) {
    RRectangle box;
    RNumberText::ReadPair(item.GetAttributeText(RHashedString("pos")), box.x, box.y);
    RNumberText::ReadPair(item.GetAttributeText(RHashedString(RString::FromUTF8(sizeKey))), box.w, box.h);
    return box;
  }

  static Control Read(const RTagItem& item) {
    Control c;
    c.target = Attribute(item, "target");
    c.type = Attribute(item, "type");
    c.image = Attribute(item, "image");
    c.box = Box(item, "size");
    if (c.box.w == 0 && !c.image.empty()) {
      const auto found = FrameSizes().find(c.image);
      EXPECT_NE(found, FrameSizes().end()) << "unknown image " << c.image;
      if (found != FrameSizes().end()) {
        c.box.w = found->second.first;
        c.box.h = found->second.second;
      }
    }
    c.input = Attribute(item, "static") != "1";
    c.follows = Attribute(item, "followprevctrl") == "1";
    return c;
  }

  static bool Numeric(const std::string& target) {
    return !target.empty() && target.find_first_not_of("0123456789") == std::string::npos;
  }

  RTagItem plugin_;
  RProductDefinition definition_;
  std::vector<Control> controls_;
  std::vector<RRectangle> decor_;
};

TEST_F(ProductLayout, EveryControlTheHostSeesHasAPlaceAndEveryTargetExists) {
  std::set<int> placed;
  const int count = definition_.GetMultiParameterCount();
  for (const Control& c : controls_) {
    ASSERT_FALSE(c.target.empty()) << "a control without target";
    if (!Numeric(c.target)) continue;
    const int n = std::stoi(c.target);
    EXPECT_GE(n, 1);
    EXPECT_LE(n, count);
    if (c.input && !c.follows) placed.insert(n);
  }
  for (int n = 1; n <= definition_.GetPublicMultiParameterCount(); ++n) EXPECT_TRUE(placed.count(n)) << "control " << n;
  // The bit matrix's sixteen LEDs and the two meters show too.
  std::set<int> shown;
  for (const Control& c : controls_)
    if (Numeric(c.target) && c.image.rfind("LED", 0) == 0) shown.insert(std::stoi(c.target));
  for (int n = 53; n <= 68; ++n) EXPECT_TRUE(shown.count(n)) << "LED " << n;
  EXPECT_TRUE(shown.count(80) && shown.count(81));

  std::set<std::string> words;
  for (const Control& c : controls_)
    if (!Numeric(c.target)) words.insert(c.target);
  for (const char* word : {"presets", "presetprev", "presetnext", "a", "b", "copyab", "undo", "redo", "oversampling",
                           "bypass", "menu"})
    EXPECT_TRUE(words.count(word)) << word;
}

TEST_F(ProductLayout, EverythingLiesOnTheBackground) {
  EXPECT_EQ(Attribute(plugin_, "Background"), "plugin");
  auto inside = [](const RRectangle& b) {
    return b.x >= 0 && b.y >= 0 && b.w > 0 && b.h > 0 && b.x + b.w <= kBackgroundWidth && b.y + b.h <= kBackgroundHeight;
  };
  for (const Control& c : controls_) EXPECT_TRUE(inside(c.box)) << c.target << " at " << c.box.x << "," << c.box.y;
  for (const RRectangle& b : decor_) EXPECT_TRUE(inside(b)) << b.x << "," << b.y;
}

TEST_F(ProductLayout, NothingAUserClicksHidesAnother) {
  // The morph knob and the grid's bits share the panel's place: the mode shows one of them.
  auto mode = [](const std::string& target) {
    if (target == "1") return 1;
    if (target.size() <= 2 && std::stoi(target) >= 5 && std::stoi(target) <= 20) return 2;
    return 0;
  };
  std::vector<const Control*> inputs;
  for (const Control& c : controls_)
    if (c.input && !c.follows) inputs.push_back(&c);
  for (size_t i = 0; i < inputs.size(); ++i) {
    for (size_t j = i + 1; j < inputs.size(); ++j) {
      const Control& a = *inputs[i];
      const Control& b = *inputs[j];
      if (Numeric(a.target) && Numeric(b.target) && mode(a.target) && mode(b.target) && mode(a.target) != mode(b.target))
        continue;
      EXPECT_FALSE(Overlap(a.box, b.box)) << a.target << " (" << a.image << ") and " << b.target << " (" << b.image << ")";
    }
  }
}

TEST_F(ProductLayout, ValueTextsAndGlassSitWithTheirControl) {
  for (size_t i = 0; i < controls_.size(); ++i) {
    const Control& c = controls_[i];
    if (!c.follows) continue;
    ASSERT_GT(i, 0u);
    EXPECT_EQ(c.target, controls_[i - 1].target) << "a value text follows its own control";
    EXPECT_GT(c.box.w, 0);
  }
  // A glass overlay covers a value text of its own target.
  for (const Control& c : controls_) {
    if (c.image.rfind("Glass", 0) != 0 || c.target == "presets") continue;
    bool covers = false;
    for (const Control& t : controls_)
      covers = covers || (t.target == c.target && (t.follows || t.type == "menu") && Overlap(t.box, c.box));
    EXPECT_TRUE(covers) << c.image << " on " << c.target;
  }
}

TEST_F(ProductLayout, TheSourceSelectorsItemsAreItsThreeValues) {
  for (const RTagItem* item = plugin_.GetFirstSubItem(); item; item = item->GetNext()) {
    if (item->GetName().ToUTF8() != "control" || Attribute(*item, "target") != "3") continue;
    std::set<std::string> values;
    for (const RTagItem* sub = item->GetFirstSubItem(); sub; sub = sub->GetNext())
      if (sub->GetName().ToUTF8() == "item") values.insert(Attribute(*sub, "value"));
    EXPECT_EQ(values, (std::set<std::string>{"0", "1", "2"}));
    return;
  }
  ADD_FAILURE() << "no control on B Source";
}

} // namespace
