// quillon_defaultstate OUT.xml: writes the product's default state.
#include <cstdio>
#include <exception>

#include "base/exception.h"
#include "base/filestream.h"
#include "base/memorystream.h"
#include "base/string.h"
#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "modules/registermodules.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: quillon_defaultstate OUT.xml\n");
    return 1;
  }
  try {
    RegisterModules();
    RAudioPluginModular graph(RString("Switchyard"), 6, true);
    graph.SetMultiParameterCount(81);
    graph.InitParameters();
    RTagItem root;
    graph.SaveStateTree(root);
    RMemoryStream xml;
    root.WriteXML(xml);
    RFileStream file(RString::FromUTF8(argv[1]), RFileStream::kWrite | RFileStream::kReplace);
    file.Write(xml.GetData(), xml.GetSize());
    file.Close();
  } catch (const RException& e) {
    std::fprintf(stderr, "quillon_defaultstate: %s\n", e.GetMessage().ToUTF8().c_str());
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "quillon_defaultstate: %s\n", e.what());
    return 1;
  }
  return 0;
}
