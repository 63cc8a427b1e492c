// XML text output of a tagged tree: one element per item, values on lines of their own,
// indented by tabs. The compact form (used under compression) drops the tabs and the
// wrapping, which only serve a human reader.

#include <string>

#include "base/exception.h"
#include "base/stream.h"
#include "base/tagitem.h"
#include "base/textcodec.h"

namespace {

constexpr int kMaxTabs = 32;
// A value line is cut at the first blank at or after this many units.
constexpr int kWrapColumn = 60;
// Text is handed to the codec in pieces of about this many units, always at a line end.
constexpr size_t kFlushUnits = 32768;

// Through the "utf-8" codec, without a byte-order mark.
void Encode(RStream& stream, const std::u16string& text) {
  static const RTextCodec& utf8 = RTextCodec::Find(RString("utf-8"));
  std::string bytes;
  bytes.reserve(text.size() + text.size() / 8);
  utf8.EncodeUnits(text.data(), int(text.size()), bytes);
  stream.Write(bytes.data(), int64_t(bytes.size()));
}

bool IsSelfClosing(const RTagItem& item) noexcept {
  return item.Value().IsEmpty() && !item.GetFirstSubItem();
}

class RXmlWriter {
public:
  RXmlWriter(RStream& stream, bool compact) : output_(stream), compact_(compact) {}

  void Item(const RTagItem& item, int depth);
  void Close(const RTagItem& item, int depth);
  void Flush() {
    if (!text_.empty()) Encode(output_, text_);
    text_.clear();
  }
  void Put(const char* literal) {
    while (*literal) text_.push_back(char16_t(uint8_t(*literal++)));
  }

private:
  void Tabs(int depth) {
    if (!compact_) text_.append(size_t(depth < kMaxTabs ? depth : kMaxTabs), u'\t');
  }
  void Raw(const RString& text) {
    const int n = text.Length();
    for (int i = 0; i < n; ++i) text_.push_back(text[i]);
  }
  void Escaped(const RString& text, std::u16string& to);
  void EndLine() {
    text_.push_back(u'\n');
    if (text_.size() >= kFlushUnits) Flush();
  }
  void ValueLines(const RString& value, int depth);

  RStream& output_;
  bool compact_;
  std::u16string text_;
  std::u16string escaped_;
};

void RXmlWriter::Escaped(const RString& text, std::u16string& to) {
  const int n = text.Length();
  for (int i = 0; i < n; ++i) {
    const char16_t u = text[i];
    switch (u) {
      case u'&': to.append(u"&amp;"); break;
      case u'<': to.append(u"&lt;"); break;
      case u'>': to.append(u"&gt;"); break;
      case u'\'': to.append(u"&apos;"); break;
      case u'"': to.append(u"&quot;"); break;
      case u'\n': to.append(u"&#10;"); break;
      default: to.push_back(u);
    }
  }
}

void RXmlWriter::ValueLines(const RString& value, int depth) {
  escaped_.clear();
  Escaped(value, escaped_);
  size_t start = 0;
  const size_t n = escaped_.size();
  for (;;) {
    size_t cut = n;
    if (!compact_ && n - start > size_t(kWrapColumn)) {
      const size_t blank = escaped_.find(u' ', start + kWrapColumn);
      if (blank != std::u16string::npos) cut = blank;
    }
    Tabs(depth);
    text_.append(escaped_, start, cut - start);
    EndLine();
    if (cut >= n) return;
    start = cut + 1;  // the blank at the cut is dropped
  }
}

void RXmlWriter::Item(const RTagItem& item, int depth) {
  if (compact_ && item.GetName().IsEmpty()) throw RException("XML entity cannot have empty name.");
  Tabs(depth);
  text_.push_back(u'<');
  Raw(item.GetName());
  for (const RTagAttribute* a = item.GetFirstAttribute(); a; a = a->next) {
    text_.push_back(u' ');
    Raw(RString(a->key.Text()));
    text_.append(u"=\"");
    Escaped(a->value.ToText(), text_);
    text_.push_back(u'"');
  }
  const bool hasValue = !item.Value().IsEmpty();
  if (IsSelfClosing(item)) {
    text_.append(u"/>");
    EndLine();
    return;
  }
  text_.push_back(u'>');
  EndLine();
  if (hasValue) ValueLines(item.Value().ToText(), depth + 1);
}

void RXmlWriter::Close(const RTagItem& item, int depth) {
  Tabs(depth);
  text_.append(u"</");
  Raw(item.GetName());
  text_.push_back(u'>');
  EndLine();
}

} // namespace

void RTagItem::WriteXML(RStream& stream, bool compact) const {
  RXmlWriter out(stream, compact);
  out.Put("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n");
  // Depth first without recursion, like the binary writer.
  const RTagItem* item = this;
  int depth = 0;
  out.Item(*item, depth);
  for (;;) {
    if (const RTagItem* first = item->GetFirstSubItem()) {
      item = first;
      out.Item(*item, ++depth);
      continue;
    }
    for (;;) {
      if (!IsSelfClosing(*item)) out.Close(*item, depth);
      if (item == this) {
        out.Flush();
        return;
      }
      if (const RTagItem* next = item->GetNext()) {
        item = next;
        out.Item(*item, depth);
        break;
      }
      item = item->GetParent();
      --depth;
    }
  }
}
