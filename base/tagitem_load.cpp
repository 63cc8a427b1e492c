// Saving and loading a tagged tree in any of its stored forms. A stored form is told apart
// from its bytes, never from a file name: Load tries each form in a fixed order.

#include <atomic>
#include <cstring>

#include "base/exception.h"
#include "base/filestream.h"
#include "base/memorystream.h"
#include "base/stream.h"
#include "base/tagitem.h"
#include "base/zlibstream.h"

namespace {

// Set from the global settings; read by every Save. [any-thread]
std::atomic<bool> gDisableRTG{false};

constexpr int kQuality = 100;
constexpr int kReplaceMode = RFileStream::kWrite | RFileStream::kReplace;

// Writes through a compressing wrapper; a failure halfway gives zlib's state back without
// the throw of an unfinished stream.
template <typename Body>
void Compressed(RStream& stream, Body&& body) {
  RZlibStream zlib(&stream, RZlibStream::kCompress, kQuality);
  try {
    body(static_cast<RStream&>(zlib));
    zlib.Finish();
  } catch (...) {
    zlib.Abort();
    throw;
  }
}

void ReadBinaryInPlace(RTagItem& item, RMemoryStream& memory) {
  // The image is already in memory: no copy of it is made.
  const int64_t at = memory.GetPosition();
  const int64_t size = memory.GetSize();
  item.ReadBinary(memory.GetData() + at, size - at);
  memory.Seek(0, RStream::kEnd);
}

void ClearAll(RTagItem& item) {
  item.Clear();
  item.SetName(RString());
}

// The attempts in their order; each throws RException when its form does not match.
void LoadAttempts(RTagItem& item, RMemoryStream& memory) {
  using Attempt = void (*)(RTagItem&, RMemoryStream&);
  static constexpr Attempt kAttempts[] = {
      [](RTagItem& t, RMemoryStream& s) {
        RZlibStream zlib(&s, RZlibStream::kExpand, kQuality);
        t.ReadBinary(zlib);
      },
      [](RTagItem& t, RMemoryStream& s) { ReadBinaryInPlace(t, s); },
      [](RTagItem& t, RMemoryStream& s) {
        RZlibStream zlib(&s, RZlibStream::kExpand, kQuality);
        t.ReadXML(zlib);
      },
      [](RTagItem& t, RMemoryStream& s) { t.ReadXML(s); },
  };
  const int64_t start = memory.GetPosition();
  for (Attempt attempt : kAttempts) {
    ClearAll(item);
    try {
      attempt(item, memory);
      return;
    } catch (const RException&) {
      memory.Seek(start);
    }
  }
  ClearAll(item);
  // The last resort: a line of base-64 behind '$', as a buffer value prints. The end of the
  // stream here is the one failure that goes out.
  if (memory.ReadUInt8() != '$') return;
  const RString line = memory.ReadTextLine();
  RMemoryStream decoded;
  RVariant::DecodeBase64(line, 0, decoded);
  decoded.Seek(0);
  item.Load(decoded);
}

} // namespace

bool RTagItem::GetDisableRTG() noexcept { return gDisableRTG.load(std::memory_order_relaxed); }
void RTagItem::SetDisableRTG(bool disable) noexcept { gDisableRTG.store(disable, std::memory_order_relaxed); }

void RTagItem::Save(RStream& stream, bool compress) const {
  if (GetDisableRTG()) {
    if (compress) Compressed(stream, [this](RStream& s) { WriteXML(s, true); });
    else WriteXML(stream);
    return;
  }
  if (compress) Compressed(stream, [this](RStream& s) { WriteBinary(s); });
  else WriteBinary(stream);
}

void RTagItem::Save(const RString& path, bool compress) const {
  if (GetDisableRTG()) {
    RFileStream file;
    file.Open(path, kReplaceMode);
    Save(file, compress);
    file.Close();
    return;
  }
  // Composed in memory first: a failure there leaves an old file untouched.
  RMemoryStream memory;
  Save(memory, compress);
  RFileStream file;
  file.Open(path, kReplaceMode);
  const uint8_t* data = memory.GetData();
  const int64_t size = memory.GetSize();
  for (int64_t done = 0; done < size; done += RStream::kCopyBlock) {
    const int64_t count = size - done < RStream::kCopyBlock ? size - done : RStream::kCopyBlock;
    file.Write(data + done, count);
  }
  file.Close();
}

// A memory stream is loaded in place, seeking back to where it stood before each attempt.
// Any other stream is first read from its position to its end into memory: the attempts
// need to rewind, which a compressing stream or a stream without a position cannot do, and
// the binary reader takes the whole image into memory anyway. Either way the stream is
// consumed to its end.
void RTagItem::Load(RStream& stream) {
  if (auto* memory = dynamic_cast<RMemoryStream*>(&stream)) return LoadAttempts(*this, *memory);
  RMemoryStream copy;
  CopyStream(stream, copy);
  copy.Seek(0);
  LoadAttempts(*this, copy);
}

void RTagItem::Load(const RString& path) {
  RFileStream file;
  file.Open(path, RFileStream::kRead);
  Load(file);
}
