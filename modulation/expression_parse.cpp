// Compiling an expression: a lexer over the UTF-8 form of the text and a recursive-descent
// parser that writes the postfix program as it goes, folding operations on constants on the
// spot. Runs on the editor thread only, so it may allocate and throw.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>
#include <string_view>

#include "base/exception.h"
#include "base/format.h"
#include "modulation/expression.h"

namespace {

// Deep enough for any formula a person writes; keeps a hostile text from exhausting the stack
// of the recursive parser.
constexpr int kMaxNesting = 200;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsNameStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool IsNamePart(char c) { return IsNameStart(c) || IsDigit(c); }
bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
char Lower(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

struct Token {
  enum Kind { kEnd, kNumber, kName, kSymbol };
  Kind kind = kEnd;
  std::string_view text;
  double number = 0;

  bool Is(std::string_view symbol) const { return kind == kSymbol && text == symbol; }
};

struct Function {
  const char* name;
  int32_t minArguments;
  int32_t maxArguments;  // -1: any number from minArguments on
  const char* argumentText;
};

// min and max chain their arguments pairwise; the rest map to one operation each.
constexpr Function kFunctions[] = {
    {"min", 2, -1, "2 or more"}, {"max", 2, -1, "2 or more"}, {"abs", 1, 1, "1"},   {"sqrt", 1, 1, "1"},
    {"exp", 1, 1, "1"},          {"log", 1, 1, "1"},          {"sin", 1, 1, "1"},   {"cos", 1, 1, "1"},
    {"pow", 2, 2, "2"},          {"clamp", 3, 3, "3"},        {"if", 3, 3, "3"},
};

}  // namespace

class RExpression::Compiler {
public:
  Compiler(const RString& text, RExpression& target) : text_(text), utf8_(text.ToUTF8()), target_(target) {}

  void Run() {
    Next();
    Ternary();
    if (token_.kind != Token::kEnd) Unexpected();
  }

private:
  // ---- failures ----
  [[noreturn]] void Fail(const RString& message) const { throw RException(message); }
  [[noreturn]] void TerminatedEarly() const {
    Fail(RFormat("Expression '{0}' terminated before ending.") << text_);
  }
  [[noreturn]] void Unexpected() const {
    if (token_.kind == Token::kEnd) TerminatedEarly();
    Fail(RFormat("Unexpected '{0}' in expression '{1}'.") << RString::FromUTF8(token_.text) << text_);
  }
  [[noreturn]] void TooComplex() const { Fail(RFormat("Expression '{0}' is too complex.") << text_); }

  // ---- lexer ----
  void Next() {
    while (pos_ < utf8_.size() && IsSpace(utf8_[pos_])) ++pos_;
    token_ = Token();
    if (pos_ >= utf8_.size()) return;
    const char c = utf8_[pos_];
    if (IsDigit(c) || (c == '.' && pos_ + 1 < utf8_.size() && IsDigit(utf8_[pos_ + 1]))) return LexNumber();
    if (IsNameStart(c)) {
      size_t end = pos_ + 1;
      while (end < utf8_.size() && IsNamePart(utf8_[end])) ++end;
      Take(Token::kName, end);
      return;
    }
    static constexpr std::string_view kPairs[] = {"<=", ">=", "==", "!=", "&&", "||"};
    for (std::string_view pair : kPairs) {
      if (std::string_view(utf8_).substr(pos_, 2) == pair) return Take(Token::kSymbol, pos_ + 2);
    }
    if (std::string_view("+-*/^(){},?:<>!").find(c) != std::string_view::npos) return Take(Token::kSymbol, pos_ + 1);
    // Anything else is reported as the whole character it starts.
    const auto lead = uint8_t(c);
    size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : lead >= 0xc0 ? 2 : 1;
    Take(Token::kSymbol, std::min(pos_ + length, utf8_.size()));
    Unexpected();
  }

  void Take(Token::Kind kind, size_t end) {
    token_.kind = kind;
    token_.text = std::string_view(utf8_).substr(pos_, end - pos_);
    pos_ = end;
  }

  void LexNumber() {
    const std::string_view s(utf8_);
    size_t end = pos_;
    while (end < s.size() && IsDigit(s[end])) ++end;
    if (end < s.size() && s[end] == '.') {
      ++end;
      while (end < s.size() && IsDigit(s[end])) ++end;
    }
    bool good = true;
    if (end < s.size() && (s[end] == 'e' || s[end] == 'E')) {
      ++end;
      if (end < s.size() && (s[end] == '+' || s[end] == '-')) ++end;
      const size_t digits = end;
      while (end < s.size() && IsDigit(s[end])) ++end;
      good = end > digits;
    }
    // A number runs into nothing else: "2x", "1.2.3" and "1e" are one bad word, not a number
    // and a remainder.
    if (end < s.size() && (IsNamePart(s[end]) || s[end] == '.')) good = false;
    if (!good) {
      while (end < s.size() && (IsNamePart(s[end]) || s[end] == '.')) ++end;
      Take(Token::kNumber, end);
      BadNumber();
    }
    Take(Token::kNumber, end);
    const char* first = token_.text.data();
    const char* last = first + token_.text.size();
    const auto [stop, error] = std::from_chars(first, last, token_.number, std::chars_format::general);
    if (error == std::errc::result_out_of_range && Underflows(token_.text)) {
      token_.number = 0;
    } else if (error != std::errc() || stop != last) {
      BadNumber();
    }
  }

  // Whether a literal out of the double's range is too small rather than too large: the decimal
  // exponent of its first significant digit is negative.
  static bool Underflows(std::string_view number) {
    const size_t e = std::min(number.find_first_of("eE"), number.size());
    const std::string_view mantissa = number.substr(0, e);
    const size_t point = std::min(mantissa.find('.'), mantissa.size());
    const size_t first = mantissa.find_first_of("123456789");
    if (first == std::string_view::npos) return true;
    long magnitude = first < point ? long(point - first) - 1 : -long(first - point);
    long exponent = 0;
    size_t i = e + 1;
    const bool negative = i < number.size() && number[i] == '-';
    if (i < number.size() && (number[i] == '-' || number[i] == '+')) ++i;
    for (; i < number.size() && exponent < 100000; ++i) exponent = exponent * 10 + (number[i] - '0');
    return magnitude + (negative ? -exponent : exponent) < 0;
  }

  [[noreturn]] void BadNumber() const {
    Fail(RFormat("Bad number '{0}' in expression '{1}'.") << RString::FromUTF8(token_.text) << text_);
  }

  // ---- program ----
  void Push(const Instruction& instruction) {
    program_.push_back(instruction);
    if (++depth_ > kMaxStackDepth) TooComplex();
  }

  // Appends an operation; when all its operands are constants it is done here instead. The
  // operand of a postfix program ends with the operation that made it, so k constants at the end
  // are exactly the k operands.
  void Emit(Op op) {
    const size_t arity = size_t(Arity(op));
    bool constant = program_.size() >= arity;
    for (size_t i = 0; constant && i < arity; ++i) constant = program_[program_.size() - 1 - i].op == Op::kConstant;
    depth_ -= int32_t(arity) - 1;
    if (op == Op::kPower && !constant && program_.back().op == Op::kConstant && program_.back().value == 2) {
      // Squares are the common curve; a multiply costs a small part of pow and rounds the same.
      program_.back() = {0, 0, Op::kSquare};
      return;
    }
    if (!constant) {
      program_.push_back({0, 0, op});
      return;
    }
    Instruction folded[4];
    for (size_t i = 0; i < arity; ++i) folded[i] = program_[program_.size() - arity + i];
    folded[arity] = {0, 0, op};
    const double value = RExpression::Run(folded, arity + 1, 0, nullptr);
    program_.resize(program_.size() - arity);
    program_.push_back({value, 0, Op::kConstant});
  }

  // ---- grammar, loosest first ----
  struct Nest {
    explicit Nest(Compiler& c) : compiler(c) {
      if (++compiler.nesting_ > kMaxNesting) compiler.TooComplex();
    }
    ~Nest() { --compiler.nesting_; }
    Compiler& compiler;
  };

  void Ternary() {
    Nest nest(*this);
    Or();
    if (!token_.Is("?")) return;
    Next();
    Ternary();
    if (!token_.Is(":")) Unexpected();
    Next();
    Ternary();
    Emit(Op::kSelect);
  }

  void Or() {
    And();
    while (token_.Is("||")) {
      Next();
      And();
      Emit(Op::kOr);
    }
  }

  void And() {
    Equality();
    while (token_.Is("&&")) {
      Next();
      Equality();
      Emit(Op::kAnd);
    }
  }

  void Equality() {
    Order();
    for (;;) {
      const Op op = token_.Is("==") ? Op::kEqual : token_.Is("!=") ? Op::kNotEqual : Op::kConstant;
      if (op == Op::kConstant) return;
      Next();
      Order();
      Emit(op);
    }
  }

  void Order() {
    Additive();
    for (;;) {
      const Op op = token_.Is("<")    ? Op::kLess
                    : token_.Is("<=") ? Op::kLessEqual
                    : token_.Is(">")  ? Op::kGreater
                    : token_.Is(">=") ? Op::kGreaterEqual
                                      : Op::kConstant;
      if (op == Op::kConstant) return;
      Next();
      Additive();
      Emit(op);
    }
  }

  void Additive() {
    Multiplicative();
    for (;;) {
      const Op op = token_.Is("+") ? Op::kAdd : token_.Is("-") ? Op::kSubtract : Op::kConstant;
      if (op == Op::kConstant) return;
      Next();
      Multiplicative();
      Emit(op);
    }
  }

  void Multiplicative() {
    Unary();
    for (;;) {
      const Op op = token_.Is("*") ? Op::kMultiply : token_.Is("/") ? Op::kDivide : Op::kConstant;
      if (op == Op::kConstant) return;
      Next();
      Unary();
      Emit(op);
    }
  }

  void Unary() {
    Nest nest(*this);
    if (token_.Is("-") || token_.Is("!")) {
      const Op op = token_.Is("-") ? Op::kNegate : Op::kNot;
      Next();
      Unary();
      Emit(op);
    } else if (token_.Is("+")) {
      Next();
      Unary();
    } else {
      Power();
    }
  }

  void Power() {
    Primary();
    if (!token_.Is("^")) return;
    Next();
    Unary();
    Emit(Op::kPower);
  }

  void Primary() {
    if (token_.kind == Token::kNumber) {
      Push({token_.number, 0, Op::kConstant});
      Next();
    } else if (token_.kind == Token::kName) {
      Name();
    } else if (token_.Is("(")) {
      Next();
      Ternary();
      if (!token_.Is(")")) Unexpected();
      Next();
    } else if (token_.Is("{")) {
      Next();
      Ternary();
      if (!token_.Is("}")) Fail(RFormat("Missing '}}'"));  // "}}" writes one brace
      Next();
    } else {
      Unexpected();
    }
  }

  void Name() {
    std::string name(token_.text);
    for (char& c : name) c = Lower(c);
    const RString original = RString::FromUTF8(token_.text);
    Next();
    if (name == "x") return Push({0, 0, Op::kInput});
    if (name == "pi") return Push({3.14159265358979323846, 0, Op::kConstant});
    for (const Function& function : kFunctions) {
      if (name == function.name) return Call(function, original);
    }
    if ((name[0] == 'p' || name[0] == 't') && name.size() > 1 &&
        name.find_first_not_of("0123456789", 1) == std::string::npos) {
      return Variable(name[0] == 'p' ? RExpressionVariable::kMultiParameter : RExpressionVariable::kTarget, name,
                      original);
    }
    Fail(RFormat("Unknown name '{0}' in expression '{1}'.") << original << text_);
  }

  void Variable(RExpressionVariable::Kind kind, const std::string& name, const RString& original) {
    int32_t number = 0;
    for (size_t i = 1; i < name.size() && number <= kMaxVariableNumber; ++i) number = number * 10 + (name[i] - '0');
    if (number < 1 || number > kMaxVariableNumber) {
      Fail(RFormat("Variable '{0}' is out of range in expression '{1}'.") << original << text_);
    }
    const RExpressionVariable variable{kind, number};
    int32_t slot = 0;
    while (slot < target_.variableCount_ && !(target_.variables_[slot] == variable)) ++slot;
    if (slot == target_.variableCount_) {
      if (slot == kMaxVariables) {
        Fail(RFormat("Expression '{0}' reads more than {1} variables.") << text_ << kMaxVariables);
      }
      target_.variables_[target_.variableCount_++] = variable;
    }
    Push({0, slot, Op::kVariable});
  }

  void Call(const Function& function, const RString& name) {
    if (!token_.Is("(")) {
      if (token_.kind == Token::kEnd) TerminatedEarly();
      Fail(RFormat("Missing '(' after '{0}' in expression '{1}'.") << name << text_);
    }
    Next();
    int32_t count = 0;
    for (;;) {
      Ternary();
      ++count;
      // Chaining as the arguments come keeps the stack of min(a, b, c, ...) at two.
      if (count > 1 && function.maxArguments < 0) Emit(std::string_view(function.name) == "min" ? Op::kMin : Op::kMax);
      if (!token_.Is(",")) break;
      Next();
    }
    if (!token_.Is(")")) Unexpected();
    Next();
    if (count < function.minArguments || (function.maxArguments >= 0 && count > function.maxArguments)) {
      Fail(RFormat("'{0}' takes {1} arguments in expression '{2}'.") << name << RString::FromUTF8(function.argumentText)
                                                                      << text_);
    }
    const std::string_view which(function.name);
    if (function.maxArguments < 0) return;
    const Op op = which == "abs"    ? Op::kAbs
                  : which == "sqrt" ? Op::kSqrt
                  : which == "exp"  ? Op::kExp
                  : which == "log"  ? Op::kLog
                  : which == "sin"  ? Op::kSin
                  : which == "cos"  ? Op::kCos
                  : which == "pow"  ? Op::kPower
                  : which == "clamp" ? Op::kClamp
                                     : Op::kSelect;
    Emit(op);
  }

  const RString& text_;
  const std::string utf8_;
  RExpression& target_;
  size_t pos_ = 0;
  Token token_;
  int nesting_ = 0;
  int32_t depth_ = 0;

public:
  std::vector<Instruction> program_;
};

RExpression::RExpression() { Compile(RString("x")); }

RExpression::RExpression(const RString& text) { Compile(text); }

void RExpression::Compile(const RString& text) {
  text_ = text;
  compiled_ = false;
  variableCount_ = 0;
  program_.clear();
  Compiler compiler(text_, *this);
  try {
    compiler.Run();
  } catch (...) {
    variableCount_ = 0;
    throw;
  }
  program_ = std::move(compiler.program_);
  for (double& slot : slots_) slot = 0;
  compiled_ = true;
}

RExpressionVariable RExpression::GetVariable(int32_t slot) const noexcept {
  if (slot < 0 || slot >= variableCount_) return {};
  return variables_[slot];
}

int32_t RExpression::FindVariable(RExpressionVariable variable) const noexcept {
  for (int32_t slot = 0; slot < variableCount_; ++slot) {
    if (variables_[slot] == variable) return slot;
  }
  return -1;
}
