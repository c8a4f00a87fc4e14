#include <nxbriochem/util/parser.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <nxbriochem/objects/memory.h>
#include <nxbriochem/util/parser_state.h>

#include "tests/support/split_lines.h"

namespace {

using Random = std::mt19937;

double next_value() { return *static_cast<double*>(nxi_GetDataElement("double")); }

double value_of(const char* text) {
  nxi_SetScanLine(text);
  return next_value();
}

double value_of(const std::string& text) { return value_of(text.c_str()); }

// The first n values of a text.
std::vector<double> values_of(const std::string& text, int n) {
  nxi_SetScanLine(text.c_str());
  std::vector<double> values;
  for (int i = 0; i < n; ++i) {
    values.push_back(next_value());
  }
  return values;
}

using Values = std::vector<double>;

struct Token {
  int type;
  std::string text;
  bool operator==(const Token&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Token& token) {
  return out << token.type << " \"" << token.text << "\"";
}

// The tokens of a text without the end, up to one that is not consumed.
std::vector<Token> tokens_of(const std::string& text) {
  std::vector<Token> tokens;
  const char* position = text.c_str();
  char buffer[NXI_TOKEN_LENGTH + 1];
  int type = 0;
  while ((type = nxi_ScanLine(&position, buffer)) != NXI_TOKEN_END) {
    tokens.push_back({type, buffer});
    if (type == NXI_TOKEN_OTHER) {
      break;
    }
  }
  return tokens;
}

using Tokens = std::vector<Token>;

// ---- Lines

std::vector<std::string> read_lines(const std::string& text, int size) {
  std::FILE* file = std::tmpfile();
  std::fwrite(text.data(), 1, text.size(), file);
  std::rewind(file);
  std::vector<std::string> lines;
  // A character beyond the size must stay; NULs within the line do not end it, the last one written does.
  std::vector<char> buffer(static_cast<std::size_t>(size) + 1);
  for (;;) {
    std::fill(buffer.begin(), buffer.end(), '#');
    if (nxi_ReadLine(file, buffer.data(), size) == 0) {
      EXPECT_EQ(buffer[0], '\0');
      break;
    }
    std::size_t length = buffer.size() - 1;
    while (length > 0 && buffer[length] == '#') {
      --length;
    }
    EXPECT_EQ(buffer[length], '\0');
    EXPECT_LT(length, static_cast<std::size_t>(size));
    lines.emplace_back(buffer.data(), length);
  }
  std::fclose(file);
  return lines;
}

TEST(ParserLines, AgreeWithASplitOfTheWholeText) {
  Random random(1);
  const char alphabet[] = {'a', 'b', ' ', '\0', '\n', '\n', '\r', '\r', '\xFF'};
  for (int round = 0; round < 3000; ++round) {
    std::string text(random() % 40, '\0');
    for (char& c : text) {
      c = alphabet[random() % sizeof alphabet];
    }
    const int size = static_cast<int>(2 + random() % 12);
    ASSERT_EQ(read_lines(text, size), test_support::split_lines(text, static_cast<std::size_t>(size)))
        << testing::PrintToString(text) << " with size " << size;
  }
}

TEST(ParserLines, EndsAndLengths) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(read_lines("one\ntwo\r\nthree\rfour", 80), (Lines{"one", "two", "three", "four"}));
  EXPECT_EQ(read_lines("\r\r\n\n\n", 80), (Lines{"", "", "", ""}));
  EXPECT_EQ(read_lines("abcd\nef", 5), (Lines{"abcd", "ef"}));  // a line that just fits takes its end along
  EXPECT_EQ(read_lines("abcde\nf", 5), (Lines{"abcd", "e", "f"}));
  EXPECT_EQ(read_lines("", 80), Lines{});
  const std::string large(3000000, 'x');
  EXPECT_EQ(read_lines(large + "\n" + large, 4000000), (Lines{large, large}));
}

TEST(ParserLines, NothingIsReadWithoutAStreamOrRoom) {
  std::FILE* file = std::tmpfile();
  std::fputs("line\n", file);
  std::rewind(file);
  char buffer[] = "as before";
  EXPECT_EQ(nxi_ReadLine(file, buffer, 0), 0);
  EXPECT_EQ(nxi_ReadLine(file, buffer, -1), 0);
  EXPECT_EQ(nxi_ReadLine(file, nullptr, 80), 0);
  EXPECT_STREQ(buffer, "as before");
  EXPECT_EQ(nxi_ReadLine(file, buffer, 1), 0);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(nxi_ReadLine(nullptr, buffer, 9), 0);
  EXPECT_EQ(nxi_ReadLine(file, buffer, 9), 1);
  EXPECT_STREQ(buffer, "line");
  std::fclose(file);
}

// ---- Tokens

TEST(ParserTokens, EveryTypeHasItsCode) {
  EXPECT_EQ(tokens_of("a_1B 12 3.5e-2 \"a b\" ( ) ; : , . ' + - * / ^ = @"), (Tokens{{1, "a_1B"},
                                                                                     {2, "12"},
                                                                                     {3, "3.5e-2"},
                                                                                     {4, "a b"},
                                                                                     {5, "("},
                                                                                     {6, ")"},
                                                                                     {7, ";"},
                                                                                     {8, ":"},
                                                                                     {9, ","},
                                                                                     {10, "."},
                                                                                     {11, "'"},
                                                                                     {12, "+"},
                                                                                     {13, "-"},
                                                                                     {14, "*"},
                                                                                     {15, "/"},
                                                                                     {16, "^"},
                                                                                     {17, "="},
                                                                                     {0, "@"}}));
  // What is of no type is not consumed, and white space is blanks, tabs and newlines.
  const char* position = " \t\n\r5";
  char buffer[NXI_TOKEN_LENGTH + 1];
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(nxi_ScanLine(&position, buffer), 0);
    EXPECT_STREQ(position, "\r5");
    EXPECT_EQ(parser::nspace, i == 0 ? 3U : 0U);
  }
  EXPECT_EQ(tokens_of("_a"), (Tokens{{0, "_"}}));
  EXPECT_EQ(tokens_of("\xE9"), (Tokens{{0, "\xE9"}}));
}

TEST(ParserTokens, NumbersWithAndWithoutAPoint) {
  EXPECT_EQ(tokens_of("1E5"), (Tokens{{2, "1"}, {1, "E5"}}));
  EXPECT_EQ(tokens_of("1.5E+3 1.5e 1.5E-x"), (Tokens{{3, "1.5E+3"}, {3, "1.5e"}, {3, "1.5E-"}, {1, "x"}}));
  EXPECT_EQ(tokens_of(".5"), (Tokens{{10, "."}, {2, "5"}}));
  // The character behind the point belongs to the number, the end of the text does not.
  EXPECT_EQ(tokens_of("(1.)"), (Tokens{{5, "("}, {3, "1.)"}}));
  EXPECT_EQ(tokens_of("1. 2"), (Tokens{{3, "1. 2"}}));
  EXPECT_EQ(tokens_of("1.+2e3"), (Tokens{{3, "1.+2e3"}}));
  EXPECT_EQ(tokens_of("1.E+5"), (Tokens{{3, "1.E"}, {12, "+"}, {2, "5"}}));
  EXPECT_EQ(tokens_of("1..5.5"), (Tokens{{3, "1..5"}, {10, "."}, {2, "5"}}));
  EXPECT_EQ(tokens_of("1."), (Tokens{{3, "1."}}));
}

TEST(ParserTokens, LongOnesAreSplitAndLongStringsCut) {
  const std::string letters(45, 'n');
  EXPECT_EQ(tokens_of(letters), (Tokens{{1, letters.substr(5)}, {1, "nnnnn"}}));
  const std::string digits(40, '7');
  EXPECT_EQ(tokens_of(digits + "7"), (Tokens{{2, digits}, {2, "7"}}));
  EXPECT_EQ(tokens_of(digits + ".25"), (Tokens{{2, digits}, {10, "."}, {2, "25"}}));
  EXPECT_EQ(tokens_of(digits.substr(1) + ".25"), (Tokens{{3, digits.substr(1) + "."}, {2, "25"}}));
  EXPECT_EQ(tokens_of(digits.substr(3) + ".5E+6"), (Tokens{{3, digits.substr(3) + ".5E"}, {12, "+"}, {2, "6"}}));
  EXPECT_EQ(tokens_of("\"" + letters + "\"5"), (Tokens{{4, letters.substr(5)}, {2, "5"}}));
  EXPECT_EQ(tokens_of("\"\" \"open"), (Tokens{{4, ""}, {4, "open"}}));
}

TEST(ParserTokens, NullsAreTheEnd) {
  char buffer[] = "x";
  const char* position = nullptr;
  EXPECT_EQ(nxi_ScanLine(&position, buffer), NXI_TOKEN_END);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(nxi_ScanLine(nullptr, buffer), NXI_TOKEN_END);
  position = "5";
  EXPECT_EQ(nxi_ScanLine(&position, nullptr), NXI_TOKEN_END);
  EXPECT_EQ(next_value(), 0.0);  // no text was ever set
  nxi_SetScanLine(nullptr);
  EXPECT_EQ(next_value(), 0.0);
  EXPECT_STREQ(static_cast<char*>(nxi_GetDataElement("char")), "");
}

TEST(ParserTokens, NumbersConvertAsInTheStandardLibrary) {
  Random random(2);
  for (int round = 0; round < 50000; ++round) {
    std::string text = std::to_string(random() % 100000).append(".").append(std::to_string(random()));
    if (round % 3 != 0) {
      text.append(random() % 2 == 0 ? "e" : "E").append(1, "+-"[random() % 2]).append(std::to_string(random() % 340));
    }
    ASSERT_EQ(value_of(text), std::strtod(text.c_str(), nullptr)) << text;
  }
  for (const char* text : {"1.0E-400", "1.0E400", "0.0E999", "0.0E-999", "0.00000000000000000001E320", "4.9E-324",
                           "2.0E-324", "2.5E-324", "1.7976931348623159E308", "2.2250738585072011E-308", "1.E999",
                           "1.e5", "1.E", "1.5E+", "1.+2", "1. 2", "0.x1", "1.0E99999999999999999999999999"}) {
    EXPECT_EQ(value_of(text), std::strtod(text, nullptr)) << text;
  }
  EXPECT_EQ(value_of("9223372036854775807"), static_cast<double>(LONG_MAX));
  EXPECT_EQ(value_of("99999999999999999999"), static_cast<double>(LONG_MAX));
  EXPECT_EQ(value_of("007"), 7.0);
}

// ---- Values

TEST(ParserValues, ComeInTheTypeAskedFor) {
  nxi_SetScanLine("-7/2 7/2 1/3 1/3 \"a text\" name + 3.0E9 (0-1)^2 4");
  EXPECT_EQ(*static_cast<int*>(nxi_GetDataElement("int")), -3);
  EXPECT_EQ(*static_cast<int*>(nxi_GetDataElement("int")), 3);
  EXPECT_EQ(*static_cast<float*>(nxi_GetDataElement("float")), static_cast<float>(1.0 / 3.0));
  EXPECT_EQ(*static_cast<double*>(nxi_GetDataElement("double")), 1.0 / 3.0);
  for (const char* text : {"a text", "name", "+"}) {
    EXPECT_STREQ(static_cast<char*>(nxi_GetDataElement("char")), text);
  }
  EXPECT_EQ(*static_cast<int*>(nxi_GetDataElement("int")), INT_MAX);
  EXPECT_EQ(*static_cast<int*>(nxi_GetDataElement("int")), 0);  // no number
  EXPECT_EQ(*static_cast<int*>(nxi_GetDataElement("int")), 4);
  nxi_SetScanLine("-3.0E9");
  EXPECT_EQ(*static_cast<int*>(nxi_GetDataElement("int")), INT_MIN);
}

TEST(ParserValues, WhiteSpaceEndsAnExpressionBehindItsFirstSummandOnly) {
  EXPECT_EQ(values_of("3 4", 3), (Values{3, 4, 0}));
  EXPECT_EQ(values_of("3 -4", 2), (Values{3, -4}));
  EXPECT_EQ(values_of("3 +4", 2), (Values{3, 4}));
  EXPECT_EQ(values_of("3\t-4\n5", 3), (Values{3, -4, 5}));
  EXPECT_EQ(values_of("1+2 3 4", 2), (Values{3, 4}));  // the 3 went as look-ahead
  EXPECT_EQ(values_of("1+2 +3", 2), (Values{6, 0}));
  EXPECT_EQ(values_of("1+ 2", 1), (Values{3}));
  EXPECT_EQ(values_of("2 * 3 4", 2), (Values{6, 4}));  // only the end of the first summand is looked at
  EXPECT_EQ(values_of("(1 + 2 + 3) 4", 2), (Values{6, 4}));
  EXPECT_EQ(values_of("1,2", 2), (Values{1, 2}));
  EXPECT_EQ(values_of("1E5 6", 2), (Values{1, 6}));  // and so did the name
  EXPECT_EQ(values_of("a = 1 + 2 3", 2), (Values{3, 3}));
}

TEST(ParserValues, PowersBindLeftToRightAndHaveNoNegativeBase) {
  EXPECT_NEAR(value_of("2^3^2"), 64.0, 1e-12);
  EXPECT_NEAR(value_of("2*3^2*4"), 72.0, 1e-12);
  EXPECT_NEAR(value_of("2^-1"), 0.5, 1e-15);
  EXPECT_NEAR(value_of("8/2^2/2"), 1.0, 1e-15);
  EXPECT_TRUE(std::isnan(value_of("(-2)^2")));
  EXPECT_TRUE(std::isnan(value_of("-2^2")));  // the sign belongs to the base
  EXPECT_TRUE(std::isnan(value_of("0^0")));
  EXPECT_EQ(value_of("0^2"), 0.0);
}

TEST(ParserValues, SignsAndMissingOperands) {
  EXPECT_EQ(value_of("2--3"), 5.0);
  EXPECT_EQ(value_of("2*-3"), -6.0);
  EXPECT_EQ(value_of("+5"), 5.0);
  EXPECT_EQ(values_of(" + 5 6", 2), (Values{5, 0}));
  EXPECT_EQ(value_of("--5"), -5.0);  // -0, less 5
  EXPECT_EQ(value_of("\"-x\"5"), -5.0);
  EXPECT_EQ(value_of("3+"), 3.0);
  EXPECT_EQ(value_of("(3+)*2"), 6.0);
  EXPECT_EQ(value_of("()"), 0.0);
  EXPECT_EQ(value_of("(1+2"), 3.0);
  EXPECT_EQ(values_of("(1 2) 5", 3), (Values{1, 2, 5}));
  EXPECT_EQ(values_of(") ) 7", 3), (Values{0, 0, 7}));
  EXPECT_EQ(values_of("\"text\" 7", 2), (Values{0, 7}));
  EXPECT_EQ(values_of("1@ 7", 3), (Values{1, 0, 0}));
}

TEST(ParserValues, AVariableKeepsItsFirstValue) {
  EXPECT_EQ(value_of("a = 2"), 2.0);
  EXPECT_EQ(values_of("a = 5 a", 2), (Values{5, 2}));
  EXPECT_EQ(value_of("3*b=4+a"), 18.0);
  EXPECT_EQ(value_of("b"), 6.0);
  EXPECT_EQ(value_of("c=d=7"), 7.0);
  EXPECT_EQ(value_of("c-d"), 0.0);
  EXPECT_EQ(value_of("(e=3)*e^2"), 3.0 * std::exp(2.0 * std::log(3.0)));
  EXPECT_EQ(value_of("f = (f = 3) + 1"), 4.0);
  EXPECT_EQ(value_of("f"), 3.0);
  EXPECT_EQ(value_of("g ="), 0.0);
  EXPECT_EQ(nxi_FindVariable("g"), 6);
}

TEST(ParserValues, EachPartReadsAsFarAsItGoes) {
  const auto read = [](double (*part)(), const char* text) {
    nxi_SetScanLine(text);
    const double value = part();
    return std::pair<double, std::string>{value, parser::token};
  };
  using Result = std::pair<double, std::string>;
  const char* text = "-3^1*2+(1 + 4)";
  EXPECT_EQ(read(nxi_Factor, text), (Result{0.0, "-"}));
  EXPECT_EQ(read(nxi_SignedFactor, text), (Result{-3.0, "^"}));
  EXPECT_EQ(read(nxi_SimpleExpression, "6*2+(1 + 4)"), (Result{12.0, "+"}));
  EXPECT_EQ(read(nxi_Expression, "6*2+(1 + 4);"), (Result{17.0, ";"}));
  EXPECT_EQ(read(nxi_Factor, "(1 + 4) * 2"), (Result{5.0, "*"}));
  EXPECT_EQ(nxi_Expression(), 0.0);  // it goes on from the current token
  EXPECT_STREQ(parser::token, "");
  EXPECT_EQ(parser::level, 0U);
}

// ---- The grammar against a model

void expect_same(double value, double expected, const std::string& text) {
  ASSERT_TRUE(value == expected || (std::isnan(value) && std::isnan(expected)))
      << text << " gives " << value << ", not " << expected;
}

// The grammar with all its oddities as functions that call one another. An undefined variable is thrown.
class Model {
 public:
  std::map<std::string, double> variables;

  void set(const std::string& text) {
    text_ = text;
    at_ = 0;
  }
  std::size_t position() const { return at_; }

  double next() {
    scan();
    const std::size_t start = at_;
    return expression(true, start);
  }

 private:
  // Of the characters that the test's texts are made of: one-letter names, one-digit numbers, signs, '@' and blanks.
  void scan() {
    before_ = at_;
    while (at_ < text_.size() && text_[at_] == ' ') {
      ++at_;
    }
    white_ = at_ > before_;
    token_ = at_ < text_.size() ? text_[at_] : '\0';
    at_ += static_cast<std::size_t>(token_ != '\0' && token_ != '@');
  }

  double expression(bool outermost, std::size_t start) {
    double value = simple_expression();
    if (outermost && white_ && at_ != start) {
      at_ = before_;
      return value;
    }
    while (token_ == '+' || token_ == '-') {
      const double sign = token_ == '+' ? 1.0 : -1.0;
      scan();
      value += sign * simple_expression();
    }
    return value;
  }

  double simple_expression() {
    double value = power();
    while (token_ == '*' || token_ == '/') {
      const bool times = token_ == '*';
      scan();
      const double right = power();
      value = times ? value * right : value / right;
    }
    return value;
  }

  double power() {
    double value = signed_factor();
    while (token_ == '^') {
      scan();
      const double exponent = signed_factor();
      value = std::exp(exponent * std::log(value));
    }
    return value;
  }

  double signed_factor() {
    if (token_ != '-') {
      return factor();
    }
    scan();
    return -factor();
  }

  double factor() {
    const char first = token_;
    if (first >= '0' && first <= '9') {
      scan();
      return first - '0';
    }
    if (first == '(') {
      scan();
      const double value = expression(false, 0);
      if (token_ == ')') {
        scan();
      }
      return value;
    }
    if (first < 'a' || first > 'z') {
      return 0.0;
    }
    const std::string name(1, first);
    scan();
    if (token_ == '=') {
      scan();
      const double value = expression(false, 0);
      variables.insert({name, value});
      return value;
    }
    return variables.at(name);
  }

  std::string text_;
  std::size_t at_ = 0;
  std::size_t before_ = 0;
  bool white_ = false;
  char token_ = '\0';
};

TEST(ParserGrammar, AnyOrderOfTokensIsReadAsByTheGrammar) {
  Random random(4);
  Model model;
  int read = 0;
  for (int round = 0; round < 60000; ++round) {
    std::string text;
    for (std::size_t n = random() % 14; n > 0; --n) {
      // Names and numbers are kept apart, or they would grow.
      const char next = "123abc  ((()))++--**/^^==,@"[random() % 27];
      const bool word = !text.empty() && std::isalnum(text.back()) != 0 && std::isalnum(next) != 0;
      text += word ? '+' : next;
    }
    if (round % 100 == 0) {
      nx_free_all_memory();
      model.variables.clear();
    }
    Model before = model;
    model.set(text);
    try {
      for (int i = 0; i < 5; ++i) {
        model.next();
      }
    } catch (const std::out_of_range&) {
      model = before;
      continue;
    }
    before.set(text);
    nxi_SetScanLine(text.c_str());
    for (int i = 0; i < 5; ++i, ++read) {
      ASSERT_NO_FATAL_FAILURE(expect_same(next_value(), before.next(), text));
      ASSERT_EQ(parser::sp - text.c_str(), static_cast<std::ptrdiff_t>(before.position())) << text << ", value " << i;
    }
    ASSERT_EQ(parser::VarTab.count, static_cast<int>(model.variables.size())) << text;
    for (const auto& [name, value] : model.variables) {
      const int index = nxi_FindVariable(name.c_str());
      ASSERT_GE(index, 0) << name;
      ASSERT_NO_FATAL_FAILURE(expect_same(parser::VarTab.entries[index].value, value, text));
    }
  }
  EXPECT_GT(read, 50000);
}

TEST(ParserGrammar, TextsMayNestAsDeepAsMemoryGoes) {
  for (const std::size_t depth : {10000U, 1000000U}) {
    std::string text = std::string(depth, '(') + "7" + std::string(depth, ')') + "+1";
    EXPECT_EQ(value_of(text), 8.0);
    EXPECT_EQ(value_of(std::string(depth, '(')), 0.0);
    text.clear();
    for (std::size_t i = 0; i < depth; ++i) {
      text += "(1+1*";
    }
    EXPECT_EQ(value_of(text + "1"), static_cast<double>(depth) + 1.0);
    text.clear();
    for (std::size_t i = 0; i < depth; ++i) {
      text.append("n").append(std::to_string(i % 50000)).append("=");
    }
    EXPECT_EQ(value_of(text + "3"), 3.0);
    EXPECT_EQ(value_of("n0+n9999"), 6.0);
  }
  EXPECT_EQ(parser::VarTab.count, 50000);
}

// ---- Variables

TEST(ParserVariables, AreFoundInTheOrderOfAdding) {
  EXPECT_EQ(nxi_FindVariable("x"), -1);
  EXPECT_EQ(parser::VarTabAll, 40);
  Random random(5);
  std::map<std::string, int> model;
  for (int i = 0; i < 5000; ++i) {
    std::string name(1 + random() % 60, 'a');
    name[random() % name.size()] = static_cast<char>('a' + random() % 26);
    const auto [at, added] = model.insert({name, static_cast<int>(model.size())});
    if (added) {
      EXPECT_EQ(nxi_AddVariableToTable(name.c_str(), at->second * 0.5), 0);
      name.assign(name.size(), '#');  // the table has a copy of its own
      ASSERT_EQ(parser::VarTabAll, (at->second / 40 + 1) * 40);
    }
  }
  ASSERT_GT(model.size(), 1000U);
  for (const auto& [name, index] : model) {
    ASSERT_EQ(nxi_FindVariable(name.c_str()), index);
    ASSERT_EQ(parser::VarTab.entries[index].value, index * 0.5);
    ASSERT_EQ(nxi_FindVariable((name + "#").c_str()), -1);
  }
  EXPECT_EQ(nxi_FindVariable(nullptr), -1);
  EXPECT_EQ(nxi_AddVariableToTable(nullptr, 1.0), 0);
  EXPECT_EQ(parser::VarTab.count, static_cast<int>(model.size()));
}

std::string printed(void (*call)()) {
  testing::internal::CaptureStdout();
  call();
  return testing::internal::GetCapturedStdout();
}

TEST(ParserVariables, ArePrintedAndRefusedInTheirWords) {
  const std::string heading = " entries in Variable Table \nNo.      NAME                 Value\n\n";
  EXPECT_EQ(printed(nxi_PrintVariableTable), "There are    0" + heading);
  nxi_AddVariableToTable("alpha", 1.5);
  nxi_AddVariableToTable("a_name_of_more_than_twenty", -12345.67891);
  EXPECT_EQ(printed([] { EXPECT_EQ(nxi_AddVariableToTable("alpha", 3.0), 0); }),
            "Multiple defintion of variable alpha requested \nrequest ignored \n");
  EXPECT_EQ(printed([] { value_of("alpha = 7"); }), "");
  EXPECT_EQ(printed(nxi_PrintVariableTable), "There are    2" + heading +
                                                 "   0  alpha                   1.5000 \n"
                                                 "   1  a_name_of_more_than_twenty  -12345.6789 \n");
}

TEST(ParserVariables, StartAnewAfterAllMemoryWasFreed) {
  value_of("a = 2");
  nx_free_all_memory();
  EXPECT_EQ(nxi_FindVariable("a"), -1);
  EXPECT_EQ(value_of("a = 3"), 3.0);
  EXPECT_EQ(parser::VarTab.count, 1);
  clear_memory_system();
  EXPECT_EQ(value_of("a = 4"), 4.0);
  EXPECT_EQ(value_of("a"), 4.0);
}

// ---- The end of the process

// Standard output goes where the exit assertions look.
template <class Call>
void on_standard_error(Call call) {
  dup2(STDERR_FILENO, STDOUT_FILENO);
  call();
}

void expect_closing(const char* text, const char* type, const std::string& words) {
  EXPECT_EXIT(on_standard_error([&] {
                nxi_SetScanLine(text);
                nxi_GetDataElement(type);
              }),
              testing::ExitedWithCode(0), testing::Eq(words))
      << text;
}

TEST(ParserClosing, AnUndefinedVariableEndsTheProcessWithStatus0) {
  expect_closing("x", "double", "Undefined variable: x \n");
  expect_closing("(2*(1+rate))", "int", "Undefined variable: rate \n");
  expect_closing("a = a + 1", "float", "Undefined variable: a \n");
  expect_closing("b", "no such type", "Undefined variable: b \n");
  expect_closing(std::string(45, 'n').c_str(), "double", "Undefined variable: " + std::string(40, 'n') + " \n");
}

TEST(ParserClosing, AnUnknownTypeEndsTheProcessWithStatus0) {
  const std::string closing = "Invalid request for data element \nClosing down code \n";
  expect_closing("5", "long", "type is long \n" + closing);
  expect_closing("5", "", "type is  \n" + closing);
  expect_closing("", nullptr, "type is (null) \n" + closing);
}

}  // namespace
