#include <benchmark/benchmark.h>

#include <string>

#include "base/memorystream.h"
#include "base/tagitem.h"

namespace {

// A preset-like tree: modules with a dozen parameters each, mixed integers, doubles and
// text, some values. About 10 MB in binary form.
void MakeTree(RTagItem& root) {
  root.SetName(RString("State"));
  root.SetAttribute("Version", int32_t(7));
  for (int m = 0; m < 4400; ++m) {
    RTagItem* module = root.AddSubItem(RString("Module"));
    module->SetAttribute("Name", RString::FromLatin1("WordMangler " + std::to_string(m)));
    module->SetAttribute("Slot", int32_t(m));
    for (int p = 0; p < 24; ++p) {
      RTagItem* param = module->AddSubItem(RString("Parameter"));
      param->SetAttribute("Key", RString::FromLatin1("Shift" + std::to_string(p)));
      param->SetAttribute("Value", double(m * 24 + p) / 1000.0);
      param->SetAttribute("Steps", int32_t(p * 100));
      param->SetAttribute("Label", RString("Feedback filter"));
      param->SetAttribute("Automated", p % 2 == 0);
      if (p % 6 == 0) param->Value().SetText(RString("1 / 8 of a beat, synced to the host tempo"));
    }
  }
}

const std::string& BinaryImage() {
  static const std::string image = [] {
    RTagItem root;
    MakeTree(root);
    RMemoryStream m;
    root.Save(m);
    return std::string(reinterpret_cast<const char*>(m.GetData()), size_t(m.GetSize()));
  }();
  return image;
}

const std::string& XmlImage() {
  static const std::string image = [] {
    RTagItem root;
    MakeTree(root);
    RMemoryStream m;
    root.WriteXML(m);
    return std::string(reinterpret_cast<const char*>(m.GetData()), size_t(m.GetSize()));
  }();
  return image;
}

void BM_TagItemBinaryLoad(benchmark::State& state) {
  const std::string& image = BinaryImage();
  for (auto _ : state) {
    RMemoryStream input;
    input.Write(image.data(), int64_t(image.size()));
    input.Seek(0);
    RTagItem item;
    item.Load(input);
    benchmark::DoNotOptimize(item.GetSubItemCount());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(image.size()));
  state.counters["MB"] = double(image.size()) / 1e6;
}
BENCHMARK(BM_TagItemBinaryLoad)->Unit(benchmark::kMillisecond);

void BM_TagItemBinarySave(benchmark::State& state) {
  RTagItem root;
  MakeTree(root);
  int64_t bytes = 0;
  for (auto _ : state) {
    RMemoryStream output;
    root.Save(output);
    bytes = output.GetSize();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * bytes);
}
BENCHMARK(BM_TagItemBinarySave)->Unit(benchmark::kMillisecond);

void BM_TagItemXmlLoad(benchmark::State& state) {
  const std::string& image = XmlImage();
  for (auto _ : state) {
    RMemoryStream input;
    input.Write(image.data(), int64_t(image.size()));
    input.Seek(0);
    RTagItem item;
    item.ReadXML(input);
    benchmark::DoNotOptimize(item.GetSubItemCount());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(image.size()));
  state.counters["MB"] = double(image.size()) / 1e6;
}
BENCHMARK(BM_TagItemXmlLoad)->Unit(benchmark::kMillisecond);

void BM_TagItemXmlSave(benchmark::State& state) {
  RTagItem root;
  MakeTree(root);
  int64_t bytes = 0;
  for (auto _ : state) {
    RMemoryStream output;
    root.WriteXML(output);
    bytes = output.GetSize();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * bytes);
}
BENCHMARK(BM_TagItemXmlSave)->Unit(benchmark::kMillisecond);

} // namespace
