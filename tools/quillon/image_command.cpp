// quillon image IN [-o OUT.png]    any image the editor reads (RPIC, PNG, JPEG, MASK) to PNG
// quillon skin DIR                 every registered image of the skin as DIR/NAME.png
// The format is told from the first bytes, so a file's name doesn't have to say it.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "base/exception.h"
#include "base/filestream.h"
#include "base/memorystream.h"
#include "editor/alphamask.h"
#include "editor/imageloader.h"
#include "editor/imageresource.h"
#include "editor/jpegcodec.h"
#include "editor/pngcodec.h"
#include "editor/rpic.h"
#include "resources/skin/productimages.h"
#include "tools/quillon/commands.h"

namespace quillon_cli {
namespace {

struct ImageOptions {
  std::string input;
  std::string output;
};

// A mask is coverage only: black ink whose alpha is the coverage.
RBitmap MaskToBitmap(const RAlphaMask& mask) {
  RBitmap bitmap(mask.GetWidth(), mask.GetHeight());
  for (int32_t y = 0; y < mask.GetHeight(); ++y) {
    for (int32_t x = 0; x < mask.GetWidth(); ++x) bitmap.SetPixel(x, y, RPixel::Make(0, 0, 0, mask.Get(x, y)));
  }
  return bitmap;
}

struct RDecoded {
  RBitmap bitmap;
  RPngColour colour = RPngColour::kRGBA;
};

RDecoded Decode(RMemoryStream& input) {
  RDecoded out;
  switch (DetectImageFormat(input.GetData(), size_t(input.GetSize()))) {
    case RImageFormat::kRPIC: out.bitmap = LoadImage(input); break;
    case RImageFormat::kPNG: out.bitmap = LoadPNG(input); break;
    case RImageFormat::kJPEG: out.bitmap = LoadJPEG(input); break;
    case RImageFormat::kMask:
    case RImageFormat::kCompressedMask: {
      RAlphaMask mask;
      if (input.GetData()[0] == 'M') mask.Load(input);
      else mask.LoadCompressed(input);
      out.bitmap = MaskToBitmap(mask);
      out.colour = RPngColour::kGrayAlpha;
      break;
    }
    case RImageFormat::kUnknown: throw CommandError("not an image the editor reads (RPIC, PNG, JPEG or MASK)");
  }
  return out;
}

// The output is written only once it is complete, so a failure leaves an old file alone.
void WritePNG(const RBitmap& bitmap, RPngColour colour, const std::string& path) {
  RMemoryStream png;
  SavePNG(bitmap, png, RPngWriteOptions{colour});
  RFileStream file(RString::FromUTF8(path), RFileStream::kWrite | RFileStream::kReplace);
  file.Write(png.GetData(), png.GetSize());
  file.Close();
}

std::string DefaultOutput(const std::string& input) {
  std::filesystem::path path(input);
  path.replace_extension(".png");
  if (path == std::filesystem::path(input)) path.replace_extension(".decoded.png");
  return path.string();
}

void RunImage(const ImageOptions& options) {
  RMemoryStream input;
  RDecoded decoded;
  try {
    RFileStream file(RString::FromUTF8(options.input), RFileStream::kRead);
    CopyStream(file, input);
    input.Seek(0);
    decoded = Decode(input);
  } catch (const RException& e) {
    throw CommandError(options.input + ": " + e.GetMessage().ToUTF8());
  } catch (const CommandError& e) {
    throw CommandError(options.input + ": " + e.what());
  }
  const std::string output = options.output.empty() ? DefaultOutput(options.input) : options.output;
  try {
    WritePNG(decoded.bitmap, decoded.colour, output);
  } catch (const RException& e) {
    throw CommandError(output + ": " + e.GetMessage().ToUTF8());
  }
  std::printf("%s: %d x %d\n", output.c_str(), decoded.bitmap.GetWidth(), decoded.bitmap.GetHeight());
}

void RunSkin(const std::string& folder) {
  RegisterProductImages();
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error || !std::filesystem::is_directory(folder)) throw CommandError(folder + ": cannot make the folder");
  int written = 0;
  for (const auto& [name, record] : RImageRegistry::Get().GetRecords()) {
    const std::string path = (std::filesystem::path(folder) / (name.ToUTF8() + ".png")).string();
    try {
      WritePNG(GetBitmap(*record), RPngColour::kRGBA, path);
    } catch (const RException& e) {
      throw CommandError(name.ToUTF8() + ": " + e.GetMessage().ToUTF8());
    }
    ++written;
  }
  std::printf("wrote %d images to %s\n", written, folder.c_str());
}

} // namespace

void AddImageCommands(CLI::App& app) {
  auto options = std::make_shared<ImageOptions>();
  CLI::App* image = app.add_subcommand("image", "Decode an image (RPIC, PNG, JPEG or MASK) to PNG");
  image->add_option("IN", options->input, "Image file")->required();
  image->add_option("-o,--output", options->output, "PNG to write (default: IN with .png)");
  image->callback([options] { RunImage(*options); });

  auto folder = std::make_shared<std::string>();
  CLI::App* skin = app.add_subcommand("skin", "Write every registered image of the skin as DIR/NAME.png");
  skin->add_option("DIR", *folder, "Folder to write into (made if missing)")->required();
  skin->callback([folder] { RunSkin(*folder); });
}

} // namespace quillon_cli
