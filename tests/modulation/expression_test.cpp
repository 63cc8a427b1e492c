// Expressions: the grammar's precedence and associativity, every function, variables and their
// slots, the messages of a text that doesn't compile, and finite results whatever comes in.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "base/exception.h"
#include "modulation/expression.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

RString Text(const std::string& utf8) { return RString::FromUTF8(utf8); }

double Eval(const std::string& text, double x = 0) { return RExpression(Text(text)).Evaluate(x); }

// The message of the failure that compiling text throws; empty when it compiles.
std::string CompileFailure(const std::string& text) {
  RExpression expression;
  try {
    expression.Compile(Text(text));
  } catch (const RException& failure) {
    EXPECT_FALSE(expression.IsCompiled()) << text;
    return failure.GetMessage().ToUTF8();
  }
  return {};
}

struct Case {
  const char* text;
  double x;
  double expected;
};

void ExpectCases(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    try {
      EXPECT_NEAR(Eval(c.text, c.x), c.expected, 1e-12) << c.text << " at x = " << c.x;
    } catch (const RException& failure) {
      ADD_FAILURE() << c.text << ": " << failure.GetMessage().ToUTF8();
    }
  }
}

TEST(RExpressionGrammar, OperatorsBindAndAssociateAsDocumented) {
  ExpectCases({
      {"1+2*3", 0, 7},
      {"(1+2)*3", 0, 9},
      {"{1+2}*3", 0, 9},
      {"1-2-3", 0, -4},
      {"8/4/2", 0, 1},
      {"2^3^2", 0, 512},
      {"-2^2", 0, -4},
      {"(-2)^2", 0, 4},
      {"2^-1", 0, 0.5},
      {"2*3^2", 0, 18},
      {"-x^2", 3, -9},
      {"--x", 3, 3},
      {"+x", 3, 3},
      {"-x*2", 3, -6},
      {"x-1", 3, 2},
      {"x - -1", 3, 4},
      {"1 + 1 < 3", 0, 1},
      {"1 < 2 == 1", 0, 1},
      {"2 > 1 == 0", 0, 0},
      {"1 || 0 && 0", 0, 1},
      {"0 && 1 || 1", 0, 1},
      {"!0", 0, 1},
      {"!x", 5, 0},
      {"!x + 1", 0, 2},
      {"0 ? 1 : 0 ? 2 : 3", 0, 3},
      {"1 ? 0 ? 5 : 6 : 7", 0, 6},
      {"x > 0.5 ? x * 2 : x / 2", 0.75, 1.5},
      {"x > 0.5 ? x * 2 : x / 2", 0.25, 0.125},
      {"x ? 1 : 2", 0, 2},
      {"x ? 1 : 2", -0.1, 1},
  });
}

TEST(RExpressionGrammar, ComparisonsGiveOneOrZero) {
  ExpectCases({
      {"x < 0.5", 0.4, 1},  {"x < 0.5", 0.5, 0},  {"x <= 0.5", 0.5, 1}, {"x <= 0.5", 0.6, 0},
      {"x > 0.5", 0.6, 1},  {"x > 0.5", 0.5, 0},  {"x >= 0.5", 0.5, 1}, {"x >= 0.5", 0.4, 0},
      {"x == 0.5", 0.5, 1}, {"x == 0.5", 0.4, 0}, {"x != 0.5", 0.4, 1}, {"x != 0.5", 0.5, 0},
      {"x && 2", 3, 1},     {"x || 0", 0, 0},     {"x || 0", -2, 1},
  });
}

TEST(RExpressionGrammar, EveryFunction) {
  ExpectCases({
      {"min(3, x, 2)", 1, 1},
      {"min(3, x, 2)", 5, 2},
      {"min(x, 0.25)", 0.5, 0.25},
      {"max(3, x, 2)", 5, 5},
      {"max(x, 0.25, -1, 0.5)", 0, 0.5},
      {"abs(x)", -0.75, 0.75},
      {"abs(x)", 0.75, 0.75},
      {"sqrt(x)", 9, 3},
      {"exp(x)", 1, std::exp(1.0)},
      {"log(x)", std::exp(2.0), 2},
      {"pow(x, 10)", 2, 1024},
      {"pow(x, 0.5)", 2, std::sqrt(2.0)},
      {"pow(x, 2)", -3, 9},
      {"x^2", -0.5, 0.25},
      {"(x + 1)^2^1", 2, 9},
      {"2^x", 3, 8},
      {"sin(x)", 0.5, std::sin(0.5)},
      {"sin(pi / 2)", 0, 1},
      {"cos(x)", 0.5, std::cos(0.5)},
      {"cos(pi)", 0, -1},
      {"clamp(x, 0, 1)", 1.5, 1},
      {"clamp(x, 0, 1)", -0.5, 0},
      {"clamp(x, 0, 1)", 0.3, 0.3},
      {"clamp(0.5, 1, 0)", 0, 0},
      {"if(x, 2, 3)", 1, 2},
      {"if(x, 2, 3)", 0, 3},
      {"if(x > 1, x - 1, 1 - x)", 3, 2},
  });
}

TEST(RExpressionGrammar, NumbersNamesAndSpacing) {
  ExpectCases({
      {".5", 0, 0.5},
      {"1.", 0, 1},
      {"1e3", 0, 1000},
      {"1.5E-2", 0, 0.015},
      {"2e+2", 0, 200},
      {"0.000", 0, 0},
      {"1e-400", 0, 0},
      {"0.00000000000000000000000000000000000000000000000000000000000000000000000000000000000"
       "000000000000000000000000000000000000000000000000000000000000000000000000000000000000"
       "000000000000000000000000000000000000000000000000000000000000000000000000000000000000"
       "000000000000000000000000000000000000000000000000000000000000000000000000000000000001",
       0, 0},
      {"SIN(X) + Pi - PI", 1, std::sin(1.0)},
      {"Clamp(x,0,1)", 2, 1},
      {" \t\n x\r\n *\t2 ", 0.25, 0.5},
      {"x*2", 0.25, 0.5},
  });
}

TEST(RExpressionGrammar, FoldedConstantsMatchTheSameOperationsAtRunTime) {
  const char* operations[][2] = {
      {"2^0.5", "x^0.5"}, {"1/0", "x/0"},     {"sqrt(2)", "sqrt(x)"}, {"log(2)", "log(x)"},
      {"exp(2)", "exp(x)"}, {"sin(2)", "sin(x)"}, {"2*2-1/3", "x*x-1/3"}, {"clamp(2, 0, 1)", "clamp(x, 0, 1)"},
  };
  for (const auto& pair : operations) EXPECT_EQ(Eval(pair[0]), Eval(pair[1], 2)) << pair[0];
}

TEST(RExpressionObject, StartsAsTheIdentityOfX) {
  RExpression expression;
  EXPECT_TRUE(expression.IsCompiled());
  EXPECT_EQ(expression.GetText().ToUTF8(), "x");
  EXPECT_EQ(expression.GetVariableCount(), 0);
  for (double x : {-3.0, 0.0, 0.3, 1.0}) EXPECT_EQ(expression.Evaluate(x), x);
}

TEST(RExpressionObject, AFailedCompileKeepsTheTextAndPassesXThrough) {
  RExpression expression(Text("p1 * 2"));
  ASSERT_EQ(expression.GetVariableCount(), 1);
  EXPECT_THROW(expression.Compile(Text("p2 * (x")), RException);
  EXPECT_FALSE(expression.IsCompiled());
  EXPECT_EQ(expression.GetText().ToUTF8(), "p2 * (x");
  EXPECT_EQ(expression.GetVariableCount(), 0);
  EXPECT_EQ(expression.Evaluate(0.25), 0.25);
  EXPECT_EQ(expression.Evaluate(kNaN), 0);
  expression.Compile(Text("x * 2"));
  EXPECT_TRUE(expression.IsCompiled());
  EXPECT_EQ(expression.Evaluate(0.25), 0.5);
}

TEST(RExpressionVariables, SlotsFollowFirstAppearanceAndAreFilledByTheCaller) {
  RExpression expression(Text("p3 * t2 + P03 - t12"));
  ASSERT_EQ(expression.GetVariableCount(), 3);
  EXPECT_EQ(expression.GetVariable(0), (RExpressionVariable{RExpressionVariable::kMultiParameter, 3}));
  EXPECT_EQ(expression.GetVariable(1), (RExpressionVariable{RExpressionVariable::kTarget, 2}));
  EXPECT_EQ(expression.GetVariable(2), (RExpressionVariable{RExpressionVariable::kTarget, 12}));
  EXPECT_EQ(expression.GetVariable(3).number, 0);
  EXPECT_EQ(expression.GetVariable(-1).number, 0);
  EXPECT_EQ(expression.FindVariable({RExpressionVariable::kTarget, 12}), 2);
  EXPECT_EQ(expression.FindVariable({RExpressionVariable::kMultiParameter, 2}), -1);

  // Slots start at 0.
  EXPECT_EQ(expression.Evaluate(0), 0);
  expression.SetVariable(0, 0.5);
  expression.SetVariable(1, 4);
  expression.SetVariable(2, 0.25);
  expression.SetVariable(3, 100);  // no such slot: ignored
  expression.SetVariable(-1, 100);
  EXPECT_DOUBLE_EQ(expression.Evaluate(0), 0.5 * 4 + 0.5 - 0.25);
  expression.SetVariable(1, kNaN);
  EXPECT_DOUBLE_EQ(expression.Evaluate(0), 0.5 - 0.25);
  expression.SetVariable(1, -kInf);
  EXPECT_DOUBLE_EQ(expression.Evaluate(0), 0.5 - 0.25);

  // A new program starts with empty slots again.
  expression.Compile(Text("t12"));
  ASSERT_EQ(expression.GetVariableCount(), 1);
  EXPECT_EQ(expression.Evaluate(0), 0);
}

TEST(RExpressionVariables, NumbersAndCountsHaveLimits) {
  EXPECT_EQ(CompileFailure("p0"), "Variable 'p0' is out of range in expression 'p0'.");
  EXPECT_EQ(CompileFailure("x + T10000"), "Variable 'T10000' is out of range in expression 'x + T10000'.");
  EXPECT_EQ(CompileFailure("p99999999999999999999"),
            "Variable 'p99999999999999999999' is out of range in expression 'p99999999999999999999'.");
  EXPECT_EQ(CompileFailure("p9999"), "");

  std::string sixteen = "p1";
  for (int i = 2; i <= 16; ++i) sixteen += "+p" + std::to_string(i);
  RExpression expression(Text(sixteen + "+p16+p1"));  // repeats take no slot of their own
  EXPECT_EQ(expression.GetVariableCount(), RExpression::kMaxVariables);
  for (int i = 0; i < 16; ++i) expression.SetVariable(i, i + 1);
  EXPECT_EQ(expression.Evaluate(0), 136 + 16 + 1);
  EXPECT_EQ(CompileFailure(sixteen + "+t1"), "Expression '" + sixteen + "+t1' reads more than 16 variables.");
}

TEST(RExpressionMessages, TextsThatEndTooSoon) {
  for (const char* text : {"", "   ", "1 +", "(x + 1", "((x)", "min(x, ", "min(x", "x ? 1", "x ? 1 :", "sin", "-",
                           "2^"}) {
    EXPECT_EQ(CompileFailure(text), std::string("Expression '") + text + "' terminated before ending.");
  }
  // A wrong closing bracket is not an early end.
  EXPECT_EQ(CompileFailure("{(x}"), "Unexpected '}' in expression '{(x}'.");
}

TEST(RExpressionMessages, AnUnclosedBrace) {
  EXPECT_EQ(CompileFailure("{x + 1"), "Missing '}'");
  EXPECT_EQ(CompileFailure("{x + 1)"), "Missing '}'");
  EXPECT_EQ(CompileFailure("2 * {x + {1}"), "Missing '}'");
  EXPECT_EQ(CompileFailure("{x + {1}}"), "");
}

TEST(RExpressionMessages, OtherMalformedTexts) {
  EXPECT_EQ(CompileFailure("y + 1"), "Unknown name 'y' in expression 'y + 1'.");
  EXPECT_EQ(CompileFailure("x + p"), "Unknown name 'p' in expression 'x + p'.");
  EXPECT_EQ(CompileFailure("x + p1a"), "Unknown name 'p1a' in expression 'x + p1a'.");
  EXPECT_EQ(CompileFailure("1e + x"), "Bad number '1e' in expression '1e + x'.");
  EXPECT_EQ(CompileFailure("1e+"), "Bad number '1e+' in expression '1e+'.");
  EXPECT_EQ(CompileFailure("1.2.3"), "Bad number '1.2.3' in expression '1.2.3'.");
  EXPECT_EQ(CompileFailure("2x"), "Bad number '2x' in expression '2x'.");
  EXPECT_EQ(CompileFailure("1e999"), "Bad number '1e999' in expression '1e999'.");
  EXPECT_EQ(CompileFailure("x 1"), "Unexpected '1' in expression 'x 1'.");
  EXPECT_EQ(CompileFailure("x)"), "Unexpected ')' in expression 'x)'.");
  EXPECT_EQ(CompileFailure("x}"), "Unexpected '}' in expression 'x}'.");
  EXPECT_EQ(CompileFailure("1 + * 2"), "Unexpected '*' in expression '1 + * 2'.");
  EXPECT_EQ(CompileFailure("x = 1"), "Unexpected '=' in expression 'x = 1'.");
  EXPECT_EQ(CompileFailure("x & 1"), "Unexpected '&' in expression 'x & 1'.");
  EXPECT_EQ(CompileFailure("x # 2"), "Unexpected '#' in expression 'x # 2'.");
  EXPECT_EQ(CompileFailure("x \xc3\x97 2"), "Unexpected '\xc3\x97' in expression 'x \xc3\x97 2'.");
  EXPECT_EQ(CompileFailure("min(x, 1 2)"), "Unexpected '2' in expression 'min(x, 1 2)'.");
  EXPECT_EQ(CompileFailure("()"), "Unexpected ')' in expression '()'.");
  EXPECT_EQ(CompileFailure("sin x"), "Missing '(' after 'sin' in expression 'sin x'.");
  EXPECT_EQ(CompileFailure("clamp(x, 0)"), "'clamp' takes 3 arguments in expression 'clamp(x, 0)'.");
  EXPECT_EQ(CompileFailure("Sqrt(x, 0)"), "'Sqrt' takes 1 arguments in expression 'Sqrt(x, 0)'.");
  EXPECT_EQ(CompileFailure("min(x)"), "'min' takes 2 or more arguments in expression 'min(x)'.");
  EXPECT_EQ(CompileFailure("if(x, 1)"), "'if' takes 3 arguments in expression 'if(x, 1)'.");
}

TEST(RExpressionMessages, DepthHasALimitAndDeepTextsFailCleanly) {
  // Right-nested sums keep one value per level on the stack.
  auto nested = [](int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i) text += "x+(";
    text += "x";
    text += std::string(size_t(levels), ')');
    return text;
  };
  RExpression fits(Text(nested(RExpression::kMaxStackDepth - 2)));
  EXPECT_DOUBLE_EQ(fits.Evaluate(0.5), 0.5 * (RExpression::kMaxStackDepth - 1));
  const std::string deep = nested(RExpression::kMaxStackDepth);
  EXPECT_EQ(CompileFailure(deep), "Expression '" + deep + "' is too complex.");

  // Left-nested sums and chained min take no more stack however long.
  std::string chain = "x";
  std::string minimum = "min(x";
  for (int i = 0; i < 500; ++i) chain += "+x", minimum += ", x";
  EXPECT_DOUBLE_EQ(Eval(chain, 1), 501);
  EXPECT_DOUBLE_EQ(Eval(minimum + ")", 1), 1);

  // Brackets, signs and conditionals ten thousand deep: a message, not a crashed parser.
  const std::string brackets = std::string(10000, '(') + "x" + std::string(10000, ')');
  EXPECT_EQ(CompileFailure(brackets), "Expression '" + brackets + "' is too complex.");
  EXPECT_NE(CompileFailure(std::string(10000, '-') + "x"), "");
  std::string conditionals;
  for (int i = 0; i < 10000; ++i) conditionals += "x?1:";
  EXPECT_NE(CompileFailure(conditionals + "0"), "");
}

TEST(RExpressionFinite, TheRuleGivesZeroWhereAResultWouldNotBeFinite) {
  ExpectCases({
      {"1/0", 0, 0},
      {"x/0", 1, 0},
      {"1/x", 0, 0},
      {"0/x", 0, 0},
      {"log(0)", 0, 0},
      {"log(x)", -1, 0},
      {"sqrt(x)", -1, 0},
      {"pow(-8, 1/3)", 0, 0},
      {"x^-1", 0, 0},
      {"exp(x)", 1000, 0},
      {"1e300 * 1e300", 0, 0},
      {"x * x", 1e300, 0},
      {"x ^ 2", 1e300, 0},
      {"x * 2", -1.7e308, 0},
      {"x", kNaN, 0},
      {"x", kInf, 0},
      {"x + 1", -kInf, 1},
  });
}

TEST(RExpressionFinite, PathologicalTextsOverAwkwardInputsStayFinite) {
  const char* texts[] = {
      "x",          "1/x",         "x/x",           "log(x)",        "sqrt(x)",        "exp(x)",
      "exp(exp(x))", "x^x",        "(-x)^0.5",      "pow(x, -x)",    "x*1e308*10",     "1e308+x*1e308",
      "sin(x*1e308)", "cos(1/x)",  "log(abs(x))/x", "clamp(1/x, x, 1/x)", "x ? 1/x : log(x)", "min(1/x, -1/x)",
      "p1 / t1",    "(x - x) / (x - x)", "-x^-x",  "1e308 - -1e308",
  };
  const double inputs[] = {kNaN, kInf, -kInf, 0.0, -0.0, 1.0, -1.0, 0.5, 1e308, -1e308, 5e-324, -5e-324, DBL_MAX};
  for (const char* text : texts) {
    RExpression expression(Text(text));
    expression.SetVariable(0, kNaN);
    expression.SetVariable(1, 0);
    for (double x : inputs) EXPECT_TRUE(std::isfinite(expression.Evaluate(x))) << text << " at " << x;
  }
}

TEST(RExpressionBlock, BlocksMatchSingleValuesInPlaceAndInFloats) {
  RExpression expression(Text("x < 0 ? 1/x : x * 1e300"));
  std::vector<double> in = {-2, -0.5, 0, 0.5, 2, kNaN, kInf};
  std::vector<double> out(in.size());
  expression.EvaluateBlock(in.data(), out.data(), int32_t(in.size()));
  for (size_t i = 0; i < in.size(); ++i) EXPECT_EQ(out[i], expression.Evaluate(in[i])) << i;
  std::vector<double> same = in;
  expression.EvaluateBlock(same.data(), same.data(), int32_t(same.size()));
  EXPECT_EQ(same, out);

  std::vector<float> samples = {-2.f, -0.5f, 0.f, 0.5f, std::numeric_limits<float>::quiet_NaN()};
  std::vector<float> result(samples.size());
  expression.EvaluateBlock(samples.data(), result.data(), int32_t(samples.size()));
  EXPECT_FLOAT_EQ(result[0], -0.5f);
  EXPECT_FLOAT_EQ(result[1], -2.f);
  EXPECT_EQ(result[2], 0.f);
  EXPECT_EQ(result[3], FLT_MAX);  // 5e299 is finite as a double, not as a float
  EXPECT_EQ(result[4], 0.f);

  RExpression loud(Text("x * 1e300"));
  float extremes[] = {-1.f, 1.f};
  loud.EvaluateBlock(extremes, extremes, 2);
  EXPECT_EQ(extremes[0], -FLT_MAX);
  EXPECT_EQ(extremes[1], FLT_MAX);
}

TEST(RExpressionBlock, EvaluationPromisesNoException) {
  const RExpression expression;
  double value = 0;
  float sample = 0;
  static_assert(noexcept(expression.Evaluate(0.0)));
  static_assert(noexcept(expression.EvaluateBlock(&value, &value, 1)));
  static_assert(noexcept(expression.EvaluateBlock(&sample, &sample, 1)));
  RExpression writable;
  static_assert(noexcept(writable.SetVariable(0, 0.0)));
}

}  // namespace
