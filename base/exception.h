#pragma once
// RException: the one type the system throws on purpose, always caught by reference.
// The title is empty and the code 0 at nearly every throw site; a message composed from a
// template holds the finished text.

#include "base/string.h"

class RException {
public:
  explicit RException(const RString& message, int32_t code = 0) : message_(message), code_(code) {}
  RException(const RString& title, const RString& message, int32_t code)
      : title_(title), message_(message), code_(code) {}

  const RString& GetTitle() const noexcept { return title_; }
  const RString& GetMessage() const noexcept { return message_; }
  int32_t GetCode() const noexcept { return code_; }

private:
  RString title_;
  RString message_;
  int32_t code_ = 0;
};
