// Every module of the catalogue, built through the registry and set up by a graph, against
// abuse: parameters at both ends of their travel and at random, input at the guard's limit,
// denormals, silence and square waves, then a plain sine. Each module's own Process must give
// finite samples throughout; the processing cycle's output clamp would hide a NaN, so the
// module is run directly here, as the cycle runs it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "kernel/value.h"
#include "modules/registermodules.h"
#include "tests/graph/testmodules.h"

namespace {

constexpr int32_t kFrames = 256;
// The largest sample the host-side input guard lets through.
constexpr float kLoud = 100000.0f;

const char* const kModuleIds[] = {"SqueezeStage", "SpanFilter", "EchoTaps", "GrainCloud", "WordMangler", "WarmthStage", "TBender",
                                  "Decimator", "HzSlide", "TwoWayBlend", "ManyWayBlend", "ChannelTool",
                                  "LevelPlacer"};

enum class Setting { kDefault, kMinimum, kMaximum, kRandom };

class ModuleUnderAbuse {
public:
  explicit ModuleUnderAbuse(const char* id) {
    // A graph copies the registry when it is built.
    RegisterModules();
    fixture_ = std::make_unique<RGraphFixture>(6, true, 2, 1);
    RAudioPluginModular& graph = fixture_->graph;
    const PluginDescriptor* row = graph.FindDescriptor(RString::FromUTF8(id));
    EXPECT_NE(row, nullptr) << id << " is not in the catalogue";
    if (!row) return;
    std::unique_ptr<RAudioPlugin> module = row->Creator(graph);
    if (module->GetParameterCount() == 0) module->InitParameters();
    module_ = module.get();
    graph.PlaceSlot(std::make_unique<RPluginSlot>(graph, *row, std::move(module), 0, 0, RString("Under test")));
    fixture_->Compile();
    const int32_t channels = std::max(module_->GetChannelStride(), 2) * std::max(module_->GetInputBuses(), 2);
    input_.assign(size_t(channels), std::vector<float>(kFrames, 0.0f));
    output_.assign(size_t(channels), std::vector<float>(kFrames, 0.0f));
  }

  bool Valid() const { return module_ != nullptr; }
  RAudioPlugin& Module() { return *module_; }

  // Every parameter of the module's own table to one end, the default or a random place; the
  // processing value follows at once, as after a setup.
  void Set(Setting setting, std::mt19937& random) {
    std::uniform_real_distribution<double> place(0.0, 1.0);
    for (int32_t i = 0; i < module_->GetParameterCount(); ++i) {
      RValue* value = module_->GetParameterValue(i);
      if (!value || value->GetName() == RString("Bypass") || value->GetName() == RString("Enabled")) continue;
      double normalised = value->GetDefaultNormalised();
      if (setting == Setting::kMinimum) normalised = 0.0;
      if (setting == Setting::kMaximum) normalised = 1.0;
      if (setting == Setting::kRandom) normalised = place(random);
      value->SetNormalised(normalised);
      value->SyncProcessing();
    }
    module_->Update();
  }

  // Runs the module's Process on one block whose every channel holds fill(channel, i); returns
  // whether every output sample is finite.
  template <typename Fill>
  bool Run(Fill fill) {
    float* inputs[16] = {};
    float* outputs[16] = {};
    for (size_t c = 0; c < input_.size() && c < 16; ++c) {
      for (int32_t i = 0; i < kFrames; ++i) input_[c][size_t(i)] = fill(int32_t(c), i);
      inputs[c] = input_[c].data();
      outputs[c] = output_[c].data();
    }
    module_->Process(inputs, outputs, kFrames);
    for (int32_t c = 0; c < module_->GetProcessChannels(); ++c) {
      for (float sample : output_[size_t(c)]) {
        if (!std::isfinite(sample)) return false;
      }
    }
    return true;
  }

private:
  std::unique_ptr<RGraphFixture> fixture_;
  RAudioPlugin* module_ = nullptr;
  std::vector<std::vector<float>> input_;
  std::vector<std::vector<float>> output_;
};

class ModuleAbuse : public ::testing::TestWithParam<const char*> {};

TEST_P(ModuleAbuse, EverySettingGivesFiniteOutputForHostileInputAndRecovers) {
  ModuleUnderAbuse subject(GetParam());
  ASSERT_TRUE(subject.Valid());
  std::mt19937 random(7);
  std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
  int32_t block = 0;
  for (Setting setting : {Setting::kDefault, Setting::kMaximum, Setting::kMinimum, Setting::kRandom,
                          Setting::kRandom, Setting::kDefault}) {
    subject.Set(setting, random);
    const int32_t settingIndex = int32_t(setting);
    for (int32_t round = 0; round < 8; ++round, ++block) {
      ASSERT_TRUE(subject.Run([&](int32_t, int32_t) { return kLoud * noise(random); }))
          << "loud noise, setting " << settingIndex << ", block " << block;
      ASSERT_TRUE(subject.Run([&](int32_t c, int32_t i) { return ((i / 17 + c) & 1) ? kLoud : -kLoud; }))
          << "loud square, setting " << settingIndex << ", block " << block;
      ASSERT_TRUE(subject.Run([&](int32_t, int32_t i) { return (i & 1) ? 1e-40f : -1e-40f; }))
          << "denormals, setting " << settingIndex << ", block " << block;
      ASSERT_TRUE(subject.Run([&](int32_t, int32_t) { return 0.0f; }))
          << "silence, setting " << settingIndex << ", block " << block;
    }
  }
  // Whatever the abuse left in delay lines and filters, a plain sine comes out finite.
  const double step = 2.0 * M_PI * 1000.0 / subject.Module().GetSampleRate();
  int64_t n = 0;
  for (int32_t round = 0; round < 200; ++round) {
    ASSERT_TRUE(subject.Run([&](int32_t c, int32_t) { return c == 0 ? float(0.5 * std::sin(step * double(n++))) : 0.0f; }))
        << "sine after the abuse, block " << round;
  }
}

INSTANTIATE_TEST_SUITE_P(EveryModule, ModuleAbuse, ::testing::ValuesIn(kModuleIds),
                         [](const ::testing::TestParamInfo<const char*>& info) { return std::string(info.param); });

TEST(ModuleRegistration, EveryModuleOfTheBuildIsInTheCatalogueWithItsParameters) {
  RegisterModules();
  RAudioPluginModular graph(RString("Graph"), 6, true);
  for (const char* id : kModuleIds) {
    const PluginDescriptor* row = graph.FindDescriptor(RString::FromUTF8(id));
    ASSERT_NE(row, nullptr) << id;
    std::unique_ptr<RAudioPlugin> module = row->Creator(graph);
    ASSERT_NE(module, nullptr) << id;
    module->InitParameters();
    // Every module has its own values besides the kernel's Bypass.
    EXPECT_GT(module->GetParameterCount(), 1) << id;
  }
}

} // namespace
