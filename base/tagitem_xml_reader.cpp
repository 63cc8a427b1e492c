// XML text input of a tagged tree. This is a small parser of our own with an event handler,
// not a conforming XML parser: it reads what our writer and a hand editing those files
// produce, and it refuses the rest with a message that names the offending character.
//
// Characters fall in three classes: space (below 33), special (! " / < = >) and name
// (everything else, '?' and the apostrophe included). Only the six entities the writer uses
// are decoded.

#include <memory>
#include <string>

#include "base/exception.h"
#include "base/format.h"
#include "base/stream.h"
#include "base/tagitem.h"
#include "base/tagitem_forms.h"
#include "base/textcodec.h"

namespace {

constexpr int32_t kInvalidContentsCode = 256;
constexpr int kEnd = -1;

[[noreturn]] void Invalid(const RString& message) { throw RException(message, kInvalidContentsCode); }

// "{0}" of the messages: the offending character, or a blank at the end of the input.
RString Offending(int unit) {
  const char16_t u = unit < 0 ? u' ' : char16_t(unit);
  return RString(&u, 1);
}
[[noreturn]] void InvalidAt(const RString& messageTemplate, int unit) {
  Invalid(RFormat(messageTemplate) << Offending(unit));
}

bool IsSpace(int u) noexcept { return u >= 0 && u < 33; }
bool IsSpecial(int u) noexcept { return u == '!' || u == '"' || u == '/' || u == '<' || u == '=' || u == '>'; }
bool IsNameUnit(int u) noexcept { return u >= 33 && !IsSpecial(u); }

// The input as units, decoded a piece at a time so that a declared encoding can take over
// the bytes behind the declaration.
class RXmlSource {
public:
  explicit RXmlSource(tagitem_forms::RImage&& image) : image_(std::move(image)), codec_(&RTextCodec::Default()) {}

  int Peek() {
    if (index_ == units_.size() && !Refill()) return kEnd;
    return units_[index_];
  }
  int Get() {
    const int u = Peek();
    if (u != kEnd) ++index_;
    return u;
  }
  void SwitchCodec(const RString& name);

private:
  bool Refill();
  int64_t BytePositionOfIndex() const noexcept;

  tagitem_forms::RImage image_;
  const RTextCodec* codec_;
  int64_t bytePos_ = 0;     // bytes decoded into units_
  int64_t pieceStart_ = 0;  // the byte where units_ began
  std::u16string units_;
  size_t index_ = 0;
};

bool RXmlSource::Refill() {
  if (bytePos_ >= image_.size) return false;
  constexpr int64_t kPiece = 4096;
  units_.clear();
  index_ = 0;
  pieceStart_ = bytePos_;
  const int64_t stop = bytePos_ + kPiece < image_.size ? bytePos_ + kPiece : image_.size;
  char16_t out[2];
  while (bytePos_ < stop) {
    const int k = codec_->DecodeChar(image_.data.get(), image_.size, bytePos_, out);
    if (k == 0) break;
    units_.append(out, size_t(k));
  }
  return !units_.empty();
}

int64_t RXmlSource::BytePositionOfIndex() const noexcept {
  int64_t i = pieceStart_;
  size_t units = 0;
  char16_t out[2];
  while (units < index_) {
    const int k = codec_->DecodeChar(image_.data.get(), image_.size, i, out);
    if (k == 0) break;
    units += size_t(k);
  }
  return i;
}

void RXmlSource::SwitchCodec(const RString& name) {
  const RTextCodec& codec = RTextCodec::Find(name);
  if (&codec == codec_) return;
  bytePos_ = BytePositionOfIndex();
  pieceStart_ = bytePos_;  // nothing of the old piece is left to count
  codec_ = &codec;
  units_.clear();
  index_ = 0;
}

// Replaces the six known entities; the character behind a name is taken to be the ';'
// without a look, so "&ampx" reads as "&".
void DecodeEntities(std::u16string& text) {
  struct Entity {
    const char* name;
    int length;
    char16_t unit;
  };
  static constexpr Entity kEntities[] = {{"amp", 3, u'&'},   {"lt", 2, u'<'},    {"gt", 2, u'>'},
                                         {"apos", 4, u'\''}, {"quot", 4, u'"'}, {"#10", 3, u'\n'}};
  size_t amp = text.find(u'&');
  if (amp == std::u16string::npos) return;
  std::u16string out(text, 0, amp);
  const size_t n = text.size();
  size_t i = amp;
  while (i < n) {
    const char16_t u = text[i];
    if (u != u'&') {
      out.push_back(u);
      ++i;
      continue;
    }
    const Entity* found = nullptr;
    for (const Entity& e : kEntities) {
      if (n - i - 1 < size_t(e.length)) continue;
      bool same = true;
      for (int k = 0; k < e.length && same; ++k) same = rstring_detail::FoldUnit(text[i + 1 + size_t(k)]) == char16_t(e.name[k]);
      if (same) {
        found = &e;
        break;
      }
    }
    if (!found) {
      out.push_back(u);
      ++i;
      continue;
    }
    out.push_back(found->unit);
    i += size_t(found->length) + 2;
  }
  text.swap(out);
}

RString ToRString(const std::u16string& text) { return RString(text.data(), int(text.size())); }

// Drops units of 32 and below at either end.
void TrimUnits(std::u16string& text) {
  size_t end = text.size();
  while (end > 0 && text[end - 1] <= 32) --end;
  size_t start = 0;
  while (start < end && text[start] <= 32) ++start;
  text.erase(end);
  text.erase(0, start);
}

struct RXmlAttribute {
  std::u16string key;
  std::u16string value;
};

class RXmlHandler {
public:
  virtual ~RXmlHandler() = default;
  // Each returns false to stop the parse in an orderly way.
  virtual bool Open(const std::u16string& name, const RXmlAttribute* attributes, size_t count) = 0;
  virtual bool Close(const std::u16string& name) = 0;
  virtual void Text(const std::u16string& text) = 0;
};

class RXmlParser {
public:
  RXmlParser(RXmlSource& source, RXmlHandler& handler) : in_(source), handler_(handler) {}
  // True when the handler stopped the parse; false when the input simply ran out.
  bool Run();

private:
  void SkipSpace() {
    while (IsSpace(in_.Peek())) in_.Get();
  }
  void Token(std::u16string& to) {
    to.clear();
    SkipSpace();
    while (IsNameUnit(in_.Peek())) to.push_back(char16_t(in_.Get()));
  }
  // Reads up to and past the terminator; false at the end of the input.
  bool SkipPast(const char16_t* terminator, size_t length, std::u16string* keep);
  bool SkipMarkup();
  void Text() {
    if (text_.empty()) return;
    DecodeEntities(text_);
    handler_.Text(text_);
  }
  // Returns false when the handler stops the parse.
  bool Element();
  // A '?' element is no element: only its encoding counts.
  bool Declaration(size_t count) {
    for (size_t k = 0; k < count; ++k)
      if (ToRString(attributes_[k].key) == RString("encoding")) in_.SwitchCodec(ToRString(attributes_[k].value));
    return true;
  }

  RXmlSource& in_;
  RXmlHandler& handler_;
  std::u16string text_;
  std::u16string token_;
  std::u16string name_;
  std::unique_ptr<RXmlAttribute[]> attributes_;
  size_t attributeCapacity_ = 0;
};

bool RXmlParser::SkipPast(const char16_t* terminator, size_t length, std::u16string* keep) {
  // The last units read, enough to hold the longest terminator (3 units).
  char16_t window[3] = {0, 0, 0};
  size_t seen = 0;
  if (keep) keep->clear();
  for (;;) {
    const int u = in_.Get();
    if (u == kEnd) return false;
    if (keep) keep->push_back(char16_t(u));
    window[0] = window[1];
    window[1] = window[2];
    window[2] = char16_t(u);
    if (++seen >= length && std::char_traits<char16_t>::compare(window + 3 - length, terminator, length) == 0) {
      if (keep) keep->erase(keep->end() - std::ptrdiff_t(length), keep->end());
      return true;
    }
  }
}

bool RXmlParser::SkipMarkup() {
  bool quoted = false;
  for (;;) {
    const int u = in_.Get();
    if (u == kEnd) return false;
    if (u == '"') quoted = !quoted;
    else if (u == '>' && !quoted) return true;
  }
}

bool RXmlParser::Run() {
  for (;;) {
    // Text goes to the handler line by line, so that the lines of a wrapped value are
    // joined by one blank however they were indented.
    text_.clear();
    int u;
    while ((u = in_.Get()) != kEnd && u != '<') {
      if (u != '\n') {
        text_.push_back(char16_t(u));
        continue;
      }
      Text();
      text_.clear();
    }
    Text();
    if (u == kEnd) return false;
    SkipSpace();
    const int next = in_.Peek();
    if (next == '/') {
      in_.Get();
      Token(token_);
      SkipSpace();
      const int close = in_.Get();
      if (close != '>') InvalidAt("Invalid file contents. Invalid closing element syntax. '{0}'", close);
      if (!handler_.Close(token_)) return true;
      continue;
    }
    if (next == '!') {
      in_.Get();
      SkipSpace();
      const int kind = in_.Peek();
      bool complete;
      if (kind == '-') {
        complete = SkipPast(u"-->", 3, nullptr);
      } else if (kind == '[') {
        in_.Get();
        complete = SkipPast(u"[", 1, &token_);
        if (complete) complete = SkipPast(u"]]>", 3, &text_);
        if (complete && ToRString(token_) == RString("CDATA")) {
          TrimUnits(text_);
          if (!text_.empty()) handler_.Text(text_);
        }
      } else {
        complete = SkipMarkup();
      }
      if (!complete) return false;
      continue;
    }
    if (IsSpecial(next)) {
      in_.Get();
      continue;
    }
    if (!Element()) return true;
  }
}

bool RXmlParser::Element() {
  Token(name_);
  if (name_.empty()) InvalidAt("Invalid file contents. No element name found. '{0}'", in_.Peek());
  const bool declaration = name_[0] == u'?';
  size_t count = 0;
  for (;;) {
    SkipSpace();
    if (!IsNameUnit(in_.Peek())) break;
    Token(token_);
    if (token_ == u"?") {
      const int close = in_.Get();
      if (close != '>') InvalidAt("Invalid file contents. Invalid special element sequence. '{0}'", close);
      if (declaration) return Declaration(count);
      return handler_.Open(name_, attributes_.get(), count);
    }
    SkipSpace();
    const int equals = in_.Get();
    if (equals != '=') InvalidAt("Invalid file contents. Invalid character found where attribute was expected. '{0}'", equals);
    if (count == attributeCapacity_) {
      const size_t grown = attributeCapacity_ ? attributeCapacity_ * 2 : 8;
      std::unique_ptr<RXmlAttribute[]> bigger(new RXmlAttribute[grown]);
      for (size_t k = 0; k < count; ++k) bigger[k] = std::move(attributes_[k]);
      attributes_ = std::move(bigger);
      attributeCapacity_ = grown;
    }
    RXmlAttribute& attribute = attributes_[count++];
    attribute.key = token_;
    SkipSpace();
    if (in_.Peek() == '"') {
      in_.Get();
      if (!SkipPast(u"\"", 1, &attribute.value)) Invalid("Invalid file contents. No ending delimiter found.");
    } else {
      Token(attribute.value);
    }
    DecodeEntities(attribute.value);
  }
  const int end = in_.Get();
  if (end == kEnd) return true;  // the input ends inside the element: an unfinished parse
  bool open = true;
  if (end == '/') {
    const int after = in_.Get();
    if (after != '>') InvalidAt("Invalid file contents. Invalid element finishing sequence. '{0}'", after);
    open = false;
  } else if (end != '>') {
    InvalidAt("Invalid file contents. Special character found where attribute was expected. '{0}'", end);
  }
  if (declaration) return Declaration(count);
  if (!handler_.Open(name_, attributes_.get(), count)) return false;
  return open || handler_.Close(name_);
}

// Builds the tree: the first element names the root, later ones are appended under the
// current item.
class RTreeBuilder final : public RXmlHandler {
public:
  explicit RTreeBuilder(RTagItem& root) : root_(root) {}

  bool Open(const std::u16string& name, const RXmlAttribute* attributes, size_t count) override {
    if (!current_) {
      if (rootSeen_) return false;
      root_.SetName(ToRString(name));
      current_ = &root_;
      rootSeen_ = true;
    } else {
      current_ = current_->AddSubItem(ToRString(name));
    }
    for (size_t k = 0; k < count; ++k) {
      RVariant value;
      value.SetText(RShortString(attributes[k].value.data(), int(attributes[k].value.size())));
      current_->AppendAttribute(RHashedString(RShortString(attributes[k].key.data(), int(attributes[k].key.size()))),
                                std::move(value));
    }
    return true;
  }

  bool Close(const std::u16string& name) override {
    if (!current_ || !(current_->GetName() == ToRString(name)))
      Invalid("Invalid file contents. Invalid closing element name.");
    if (current_ == &root_) {
      current_ = nullptr;
      finished_ = true;
      return false;  // nothing behind the root is read
    }
    current_ = current_->GetParent();
    return true;
  }

  void Text(const std::u16string& text) override {
    std::u16string units(text);
    TrimUnits(units);
    if (units.empty()) return;
    const RString trimmed = ToRString(units);
    if (!current_) throw RException(RFormat("Text outside of any element. '{0}'") << trimmed.Left(32));
    RVariant& value = current_->Value();
    if (value.IsEmpty()) {
      value.SetText(trimmed);
      return;
    }
    // The writer's wrapped lines come back joined by one blank.
    RString joined = value.ToText();
    joined.Append(u' ');
    joined.Append(trimmed);
    value.SetText(joined);
  }

  bool SawRoot() const noexcept { return rootSeen_; }
  bool Finished() const noexcept { return finished_; }

private:
  RTagItem& root_;
  RTagItem* current_ = nullptr;
  bool rootSeen_ = false;
  bool finished_ = false;
};

} // namespace

void RTagItem::ReadXML(RStream& stream) {
  RXmlSource source(tagitem_forms::ReadWholeStream(stream));
  RTreeBuilder builder(*this);
  RXmlParser parser(source, builder);
  parser.Run();
  if (!builder.SawRoot()) throw RException("The XML does not contain any elements.");
  if (!builder.Finished()) throw RException("Error parsing a XML file.");
}
