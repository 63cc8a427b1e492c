// quillon_defaultstate OUT.xml [REVIEW.txt]: builds the product's default state through the
// engine and writes it as XML text. The second file, when asked for, lists every control with
// its targets and the texts they read at both ends of the control: the sound design at a glance.
//
// The state is read back into a fresh graph before the program ends; a slot or target name that
// doesn't resolve there fails the build.

#include <cstdio>
#include <exception>
#include <string>

#include "base/exception.h"
#include "base/filestream.h"
#include "base/memorystream.h"
#include "base/string.h"
#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "modules/registermodules.h"
#include "resources/product/defaultstate/bitbanks.h"
#include "resources/product/defaultstate/multiparameters.h"
#include "resources/product/defaultstate/productgraph.h"
#include "resources/product/defaultstate/review.h"

namespace {

constexpr int32_t kLanes = 6;

std::unique_ptr<RAudioPluginModular> NewProductGraph() {
  auto product = std::make_unique<RAudioPluginModular>(RString("Switchyard"), kLanes, true);
  product->SetMultiParameterCount(defaultstate::kMultiParameterCount);
  product->InitParameters();
  return product;
}

// What the state's root carries besides the plug-in's own keys: the editor's sizes and the
// preset it shows.
void SetRootAttributes(RTagItem& root) {
  const std::pair<const char*, RString> attributes[] = {
      {"SelectedPlugin", RString("0,10")},
      {"MaxLFOBlockSize", RString("32")},
      {"MaxLFOBlockSizeOffline", RString("1")},
      {"EditorSize", RString("2725,1146")},
      {"EditorSizeEasy", RString("1205,773")},
      {"CurrentPresetID", RString("My Presets~VarnholtStudios~QUILLON")},
      {"CollapsedRightPanel", RString("0")},
      {"MultiParametersCollapsed", RString("0")},
      {"LRSplitterSize1", RString("2074.0")},
      {"LRSplitterSize2", RString("282.0")},
      {"Plugin", RString("Switchyard")},
  };
  for (const auto& [key, value] : attributes) root.SetAttribute(RHashedString(RShortString::FromLatin1(key)), value);
}

void WriteText(const RString& path, RMemoryStream& text) {
  RFileStream file(path, RFileStream::kWrite | RFileStream::kReplace);
  file.Write(text.GetData(), text.GetSize());
  file.Close();
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::fprintf(stderr, "usage: quillon_defaultstate OUT.xml [REVIEW.txt]\n");
    return 1;
  }
  try {
    RegisterModules();
    auto product = NewProductGraph();
    defaultstate::BuildProductGraph(*product);
    defaultstate::BuildBitBanks(*product);
    defaultstate::BuildMultiParameters(*product);

    RTagItem root(RString("Switchyardsettings"));
    product->SaveStateTree(root);
    SetRootAttributes(root);
    defaultstate::CheckReload(root, *NewProductGraph());

    RMemoryStream xml;
    root.WriteXML(xml);
    WriteText(RString::FromUTF8(argv[1]), xml);
    if (argc == 3) {
      RMemoryStream review;
      defaultstate::WriteReview(*product, review);
      WriteText(RString::FromUTF8(argv[2]), review);
    }
  } catch (const RException& e) {
    std::fprintf(stderr, "quillon_defaultstate: %s\n", e.GetMessage().ToUTF8().c_str());
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "quillon_defaultstate: %s\n", e.what());
    return 1;
  }
  return 0;
}
