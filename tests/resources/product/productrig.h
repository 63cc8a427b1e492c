#pragma once
// The product as a host plays it, for the tests of its sound: a fresh instance (the default
// state) at 48 kHz stereo with a side-chain, blocks of 512, controls moved by their host names,
// and the measures the tests read: level, the amplitude of one frequency, balance.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "graph/product/quillon.h"
#include "modulation/multiparameter.h"

namespace producttest {

constexpr double kRate = 48000.0;
constexpr int32_t kBlock = 512;
constexpr double kPi = 3.14159265358979323846;

// A signal by its sample index: f(n) for both channels of a bus.
using Signal = std::function<double(int64_t)>;

inline Signal Sine(double hertz, double amplitude) {
  return [=](int64_t n) { return amplitude * std::sin(2.0 * kPi * hertz * double(n) / kRate); };
}
inline Signal Silence() {
  return [](int64_t) { return 0.0; };
}

class ProductRig {
public:
  ProductRig() : product_(RQuillon::Create()) {
    product_->SetHostFormat(kRate, kBlock, 2, 2, 1);
    product_->Setup();
  }

  RQuillon& Product() { return *product_; }

  // Chooses the factor the product runs at (item index: 0 is 1x, 7 is 8x) and its filters,
  // and lets the host side set it up, as a host does between blocks.
  void Oversample(int32_t index, bool hq = true) {
    product_->GetOversamplingValue(false)->SetValueNow(double(index));
    product_->GetHQOversamplingValue()->SetValueNow(hq ? 1.0 : 0.0);
    product_->DeliverPendingChanges();
  }

  // The multi-parameter the host sees under name.
  RMultiParameter& Control(const char* name) {
    const int32_t index = product_->GetParameterIndex(RString::FromUTF8(name));
    EXPECT_GE(index, 0) << name;
    EXPECT_LT(index, product_->GetAutomatableCount()) << name;
    for (int32_t i = 0; i < product_->GetMultiParameterCount(); ++i) {
      RMultiParameter* multi = product_->GetMultiParameter(i);
      if (&multi->GetValue() == product_->GetParameterValue(index)) return *multi;
    }
    ADD_FAILURE() << name << " is no multi-parameter";
    return *product_->GetMultiParameter(0);
  }
  // Moves a control as a user does, to a normalised position; what it switches in the graph
  // takes effect as the editor's timer would make it.
  void Set(const char* name, double normalised) {
    Control(name).SetValueNow(normalised);
    product_->DeliverSlotChanges();
  }
  // Moves a control to the position that reads as text.
  void SetText(const char* name, const char* text) {
    RMultiParameter& multi = Control(name);
    double normalised = 0.0;
    ASSERT_TRUE(multi.ParseValueText(RString::FromUTF8(text), normalised)) << name << " = " << text;
    multi.SetValueNow(normalised);
    product_->DeliverSlotChanges();
  }
  // A table parameter's text, for what a control did to a module.
  RString TextOf(const char* parameter) {
    const int32_t index = product_->GetParameterIndex(RString::FromUTF8(parameter));
    return index >= 0 ? product_->GetParameterValue(index)->GetText() : RString("?");
  }

  // Plays seconds of a on the main bus and b on the side-chain, each from its sample 0; keeps
  // the output's last `keep` seconds (channel 0 and 1), by default the second half, after the
  // morph's glide and the modules' ramps have settled.
  void Play(const Signal& a, const Signal& b, double seconds, double keep = -1.0) {
    if (keep < 0.0) keep = seconds / 2.0;
    std::vector<std::vector<float>> in(4, std::vector<float>(kBlock)), out(2, std::vector<float>(kBlock));
    float* inputs[4] = {in[0].data(), in[1].data(), in[2].data(), in[3].data()};
    float* outputs[2] = {out[0].data(), out[1].data()};
    const int64_t total = int64_t(seconds * kRate), kept = int64_t(keep * kRate);
    left_.clear();
    right_.clear();
    for (int64_t done = 0; done < total; done += kBlock) {
      for (int32_t i = 0; i < kBlock; ++i) {
        in[0][size_t(i)] = in[1][size_t(i)] = float(a(done + i));
        in[2][size_t(i)] = in[3][size_t(i)] = float(b(done + i));
      }
      product_->ProcessCycle(inputs, outputs, kBlock, nullptr);
      if (done + kBlock > total - kept) {
        left_.insert(left_.end(), out[0].begin(), out[0].end());
        right_.insert(right_.end(), out[1].begin(), out[1].end());
      }
    }
  }

  const std::vector<float>& Left() const { return left_; }
  const std::vector<float>& Right() const { return right_; }

  // RMS of the kept output, both channels, in dB.
  double LevelDb() const {
    double sum = 0.0;
    for (size_t i = 0; i < left_.size(); ++i) sum += double(left_[i]) * left_[i] + double(right_[i]) * right_[i];
    return 10.0 * std::log10(sum / double(2 * left_.size()) + 1e-30);
  }
  // Amplitude of one frequency in the kept left channel, in dB of full scale.
  double ToneDb(double hertz, bool right = false) const {
    const std::vector<float>& x = right ? right_ : left_;
    double re = 0.0, im = 0.0;
    for (size_t i = 0; i < x.size(); ++i) {
      // A Hann window keeps a neighbour tone from leaking in.
      const double w = 0.5 - 0.5 * std::cos(2.0 * kPi * double(i) / double(x.size()));
      re += w * x[i] * std::cos(2.0 * kPi * hertz * double(i) / kRate);
      im += w * x[i] * std::sin(2.0 * kPi * hertz * double(i) / kRate);
    }
    return 20.0 * std::log10(4.0 * std::hypot(re, im) / double(x.size()) + 1e-30);
  }
  // RMS of the kept left channel between two times (seconds from the start of what was kept),
  // in dB.
  double WindowDb(double from, double to) const {
    const size_t begin = std::min(left_.size(), size_t(from * kRate)), end = std::min(left_.size(), size_t(to * kRate));
    double sum = 0.0;
    for (size_t i = begin; i < end; ++i) sum += double(left_[i]) * left_[i];
    return 10.0 * std::log10(sum / double(std::max<size_t>(end - begin, 1)) + 1e-30);
  }
  // Largest distance between the kept output (left) and another take of it.
  static double Distance(const std::vector<float>& x, const std::vector<float>& y) {
    double most = 0.0;
    for (size_t i = 0; i < std::min(x.size(), y.size()); ++i) most = std::max(most, std::fabs(double(x[i]) - y[i]));
    return most;
  }

private:
  std::unique_ptr<RQuillon> product_;
  std::vector<float> left_, right_;
};

} // namespace producttest
