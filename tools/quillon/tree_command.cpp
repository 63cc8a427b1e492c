// quillon tree IN [--to xml|rtg|rtgz|base64] [-o OUT]
// Loads a stored tree in any form (told apart from its bytes) and writes the chosen form.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <string>

#include "base/filestream.h"
#include "base/memorystream.h"
#include "base/tagitem.h"
#include "tools/quillon/commands.h"
#include "tools/quillon/treeoutput.h"

namespace quillon_cli {
namespace {

struct TreeOptions {
  std::string input;
  std::string form = "xml";
  std::string output;
};

// Standard input or a file, read whole into memory so that Load can seek between attempts.
void ReadInput(const std::string& path, RMemoryStream& into) {
  if (path == "-") {
    char block[65536];
    size_t n;
    while ((n = std::fread(block, 1, sizeof block, stdin)) > 0) into.Write(block, int64_t(n));
  } else {
    RFileStream file(RString::FromUTF8(path), RFileStream::kRead);
    CopyStream(file, into);
  }
  into.Seek(0);
}

void RunTree(const TreeOptions& options) {
  RMemoryStream input;
  ReadInput(options.input, input);
  if (input.GetSize() == 0) throw CommandError(options.input + ": the file is empty");
  RTagItem tree;
  tree.Load(input);
  if (tree.GetName().IsEmpty()) throw CommandError(options.input + ": no stored tree in any known form");

  RMemoryStream result;
  WriteTreeForm(tree, options.form, result);
  WriteOutput(result, options.output);
}

} // namespace

void AddTreeCommand(CLI::App& app) {
  auto options = std::make_shared<TreeOptions>();
  CLI::App* tree = app.add_subcommand("tree", "Convert a stored tree between its forms (xml, rtg, rtgz, base64)");
  tree->add_option("IN", options->input, "Stored tree in any form, or - for standard input")->required();
  tree->add_option("--to", options->form, "Form to write")
      ->check(CLI::IsMember({"xml", "rtg", "rtgz", "base64"}))
      ->capture_default_str();
  tree->add_option("-o,--output", options->output, "Output file (default: standard output)");
  tree->callback([options] { RunTree(*options); });
}

} // namespace quillon_cli
