// quillon editor-preview OUT.png [--state FILE] [--set NAME=VALUE ...]
// The editor as the product's values make it stand, painted without a window (see
// tools/quillon/editorpreview.h), written as a PNG.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <string>

#include "base/exception.h"
#include "base/filestream.h"
#include "base/memorystream.h"
#include "editor/pngcodec.h"
#include "graph/product/quillon.h"
#include "tools/quillon/commands.h"
#include "tools/quillon/editorpreview.h"
#include "tools/quillon/offlinehost.h"

namespace quillon_cli {
namespace {

struct PreviewOptions {
  std::string output;
  HostOptions host;
};

void RunPreview(const PreviewOptions& options) {
  std::unique_ptr<ROfflineHost> host = OpenHost();
  ApplyHostOptions(*host, options.host);
  auto* product = dynamic_cast<RQuillon*>(&host->GetPlugin());
  if (!product) throw CommandError("the plug-in has no editor layout");
  // Slot switches and the mode's panels follow the settings, as an editor's timer makes them.
  product->DeliverPendingChanges();
  const RBitmap picture = PaintEditorPreview(*product);
  RMemoryStream png;
  SavePNG(picture, png);
  // Written only once complete, so a failure leaves an old file alone.
  RFileStream file(RString::FromUTF8(options.output), RFileStream::kWrite | RFileStream::kReplace);
  file.Write(png.GetData(), png.GetSize());
  file.Close();
  std::printf("%s: the editor, %d x %d\n", options.output.c_str(), picture.GetWidth(), picture.GetHeight());
}

} // namespace

void AddEditorPreviewCommand(CLI::App& app) {
  auto options = std::make_shared<PreviewOptions>();
  CLI::App* command = app.add_subcommand("editor-preview", "Paint the editor, as the settings make it stand, to a PNG");
  command->add_option("OUT", options->output, "PNG to write")->required();
  AddHostOptions(*command, options->host);
  command->callback([options] { RunPreview(*options); });
}

} // namespace quillon_cli
