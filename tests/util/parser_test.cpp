#include <nxbriochem/util/parser.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/util/parser_state.h>

#include "tests/support/printed.h"
#include "tests/support/split_lines.h"

namespace {

using test_support::printed;

using Random = std::mt19937;

double next_value() { return *static_cast<double*>(nxi_GetDataElement("double")); }

using Values = std::vector<double>;

// The first n values of a text.
Values values_of(const std::string& text, std::size_t n) {
  nxi_SetScanLine(text.c_str());
  Values values(n);
  std::generate(values.begin(), values.end(), next_value);
  return values;
}

double value_of(const std::string& text) { return values_of(text, 1)[0]; }

using Tokens = std::vector<std::pair<int, std::string>>;

// The tokens of a text without the end, up to one that is not consumed.
Tokens tokens_of(const std::string& text) {
  Tokens tokens;
  const char* position = text.c_str();
  char buffer[NXI_TOKEN_LENGTH + 1];
  int type = 0;
  while ((type = nxi_ScanLine(&position, buffer)) != NXI_TOKEN_END) {
    tokens.emplace_back(type, buffer);
    if (type == NXI_TOKEN_OTHER) {
      break;
    }
  }
  return tokens;
}

void expect_same(double value, double expected, const std::string& text) {
  ASSERT_TRUE(value == expected || (std::isnan(value) && std::isnan(expected)))
      << text << " gives " << value << ", not " << expected;
}

// ---- Lines

TEST(ParserLines, AgreeWithASplitOfTheWholeText) {
  Random random(1);
  const char alphabet[] = {'a', 'b', ' ', '\0', '\n', '\n', '\r', '\r', '\xFF'};
  for (int round = 0; round < 3000; ++round) {
    std::string text(1 + random() % 40, '\0');
    for (char& c : text) {
      c = alphabet[random() % sizeof alphabet];
    }
    const std::size_t size = 2 + random() % 12;
    ASSERT_TRUE(test_support::reads_as_split(text, size)) << testing::PrintToString(text) << " with size " << size;
  }
  const std::string large(3000000, 'x');
  EXPECT_TRUE(test_support::reads_as_split(large + "\n" + large, 4000000));
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
  Tokens expected = {{1, "a_1B"}, {2, "12"}, {3, "3.5e-2"}, {4, "a b"}, {4, ""}};
  for (const char sign : std::string("();:,.'+-*/^=")) {
    expected.push_back({static_cast<int>(expected.size()), std::string(1, sign)});
  }
  expected.push_back({0, "@"});
  EXPECT_EQ(tokens_of("a_1B 12 3.5e-2 \"a b\" \"\"();:,. ' + - * / ^ = @"), expected);
  // A character of no type is not consumed. White space is blanks, tabs and newlines only.
  const char* position = " \t\n\r5";
  char buffer[NXI_TOKEN_LENGTH + 1];
  for (const std::size_t blanks : {3U, 0U}) {
    EXPECT_EQ(nxi_ScanLine(&position, buffer), 0);
    EXPECT_STREQ(position, "\r5");
    EXPECT_EQ(parser::nspace, blanks);
  }
}

TEST(ParserTokens, NamesNumbersAndStringsEndWhereTheyDo) {
  const std::string letters(45, 'n');
  const std::string digits(40, '7');
  const std::vector<std::pair<std::string, Tokens>> cases = {
      {"_a", {{0, "_"}}},
      {"\xE9", {{0, "\xE9"}}},
      {"1E5", {{2, "1"}, {1, "E5"}}},
      {"1.5E+3 1.5e 1.5E-x", {{3, "1.5E+3"}, {3, "1.5e"}, {3, "1.5E-"}, {1, "x"}}},
      {".5", {{10, "."}, {2, "5"}}},
      // The character behind the point belongs to the number, unless the text ends there.
      {"(1.)", {{5, "("}, {3, "1.)"}}},
      {"1. 2", {{3, "1. 2"}}},
      {"1.E+5", {{3, "1.E"}, {12, "+"}, {2, "5"}}},
      {"1..5.5", {{3, "1..5"}, {10, "."}, {2, "5"}}},
      {"1.", {{3, "1."}}},
      // Long names and numbers are split, long strings cut.
      {letters, {{1, letters.substr(5)}, {1, "nnnnn"}}},
      {digits + "7", {{2, digits}, {2, "7"}}},
      {digits + ".25", {{2, digits}, {10, "."}, {2, "25"}}},
      {digits.substr(1) + ".25", {{3, digits.substr(1) + "."}, {2, "25"}}},
      {digits.substr(3) + ".5E+6", {{3, digits.substr(3) + ".5E"}, {12, "+"}, {2, "6"}}},
      {"\"" + letters + "\"5", {{4, letters.substr(5)}, {2, "5"}}},
      {"\"open", {{4, "open"}}},
  };
  for (const auto& [text, tokens] : cases) {
    EXPECT_EQ(tokens_of(text), tokens) << text;
  }
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
  for (const char* text :
       {"1.0E-400", "1.E400E-5", "1.0E400", "0.0E999", "0.0E-999", "0.00000000000000000001E320", "4.9E-324", "2.0E-324",
        "2.5E-324", "1.7976931348623159E308", "2.2250738585072011E-308", "1.E999", "1.e5", "1.E", "1.5E+", "1.+2",
        "1. 2", "0.x1", "1.0E99999999999999999999999999"}) {
    EXPECT_EQ(value_of(text), std::strtod(text, nullptr)) << text;
  }
  EXPECT_EQ(value_of("9223372036854775807"), static_cast<double>(LONG_MAX));
  EXPECT_EQ(value_of("99999999999999999999"), static_cast<double>(LONG_MAX));
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

TEST(ParserValues, AreReadByTheGrammarWithItsOddities) {
  const double nan = std::nan("");
  const std::vector<std::pair<std::string, Values>> cases = {
      // White space ends an expression only right after its first summand.
      {"3\t-4\n5", {3, -4, 5}},
      {"1E5 6", {1, 6}},  // the name E5 was consumed as look-ahead
      // Powers are taken from left to right and through logarithms; a sign belongs to the base.
      {"2^3^2", {std::exp(2.0 * std::log(std::exp(3.0 * std::log(2.0))))}},
      {"-2^2 0^0", {nan, nan}},
      // Signs, and missing operands.
      {"\"-x\"5", {-5}},
      {") ) 7", {0, 0, 7}},
      {"\"text\" 7", {0, 7}},
      // A variable keeps its first value.
      {"b = (b = 3) + 1", {4}},
      {"b", {3}},
  };
  for (const auto& [text, expected] : cases) {
    const Values values = values_of(text, expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      expect_same(values[i], expected[i], text);
    }
  }
}

TEST(ParserValues, EachPartReadsAsFarAsItGoes) {
  using Result = std::pair<double, std::string>;
  const auto read = [](double (*part)(), const char* text) {
    nxi_SetScanLine(text);
    const double value = part();
    return Result(value, parser::token);
  };
  EXPECT_EQ(read(nxi_Factor, "-3^1*2"), Result(0.0, "-"));
  EXPECT_EQ(read(nxi_SignedFactor, "-3^1*2"), Result(-3.0, "^"));
  EXPECT_EQ(read(nxi_SimpleExpression, "6*2+(1 + 4)"), Result(12.0, "+"));
  EXPECT_EQ(read(nxi_Expression, "6*2+(1 + 4);"), Result(17.0, ";"));
  EXPECT_EQ(read(nxi_Factor, "(1 + 4) * 2"), Result(5.0, "*"));
  EXPECT_EQ(nxi_Expression(), 0.0);  // it goes on from the current token
  EXPECT_STREQ(parser::token, "");
  EXPECT_EQ(parser::level, 0U);
}

// ---- The grammar against a model

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
  // Scans the characters that the test's texts consist of: one-letter names, one-digit numbers, signs, '@' and blanks.
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
      // Names and numbers must not touch, or they would join.
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
  constexpr std::size_t kDeep = 1000000;
  const std::string left(kDeep, '(');
  std::string sums;
  std::string names;
  for (std::size_t i = 0; i < kDeep; ++i) {
    sums += "(1+1*";
    names.append("n").append(std::to_string(i % 50000)).append("=");
  }
  EXPECT_EQ(value_of(left + "7" + std::string(kDeep, ')') + "+1"), 8.0);
  EXPECT_EQ(value_of(left), 0.0);
  EXPECT_EQ(value_of(sums + "1"), kDeep + 1.0);
  EXPECT_EQ(value_of(names + "3"), 3.0);
  EXPECT_EQ(value_of("n0+n49999"), 6.0);
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

TEST(ParserVariables, ArePrintedAndRefusedInTheirWords) {
  const std::string heading = " entries in Variable Table \nNo.      NAME                 Value\n\n";
  EXPECT_EQ(printed(nxi_PrintVariableTable), "There are    0" + heading);
  nxi_AddVariableToTable("alpha", 1.5);
  nxi_AddVariableToTable("a_name_of_more_than_twenty", -12345.67891);
  EXPECT_EQ(printed([] { EXPECT_EQ(nxi_AddVariableToTable("alpha", 3.0), 0); }),
            "Multiple defintion of variable alpha requested \nrequest ignored \n");
  EXPECT_EQ(printed([] { value_of("alpha = 7"); }), "");  // not so in an expression
  EXPECT_EQ(printed(nxi_PrintVariableTable), "There are    2" + heading +
                                                 "   0  alpha                   1.5000 \n"
                                                 "   1  a_name_of_more_than_twenty  -12345.6789 \n");
}

TEST(ParserVariables, StartAnewAfterAllMemoryWasFreed) {
  value_of("a = 2");
  nx_free_all_memory();
  EXPECT_EQ(nxi_FindVariable("a"), -1);
  EXPECT_EQ(values_of("a = 3 a", 2), (Values{3, 3}));
  EXPECT_EQ(parser::VarTab.count, 1);
  clear_memory_system();
  EXPECT_EQ(values_of("a = 4 a", 2), (Values{4, 4}));
}

// ---- The end of the process

void expect_closing(const char* text, const char* type, const std::string& words) {
  test_support::expect_exit(objects::kUndefined, "^" + words + "$", [&] {
    nxi_SetScanLine(text);
    nxi_GetDataElement(type);
  });
}

TEST(ParserClosing, UndefinedVariablesAndUnknownTypesEndTheProcessWithStatus0) {
  expect_closing("(2*(1+rate))", "int", "Undefined variable: rate \n");
  expect_closing("a = a + 1", "float", "Undefined variable: a \n");
  expect_closing("b", "no such type", "Undefined variable: b \n");
  expect_closing(std::string(45, 'n').c_str(), "double", "Undefined variable: " + std::string(40, 'n') + " \n");
  const std::string closing = "Invalid request for data element \nClosing down code \n";
  expect_closing("5", "long", "type is long \n" + closing);
  expect_closing("5", "", "type is  \n" + closing);
  expect_closing("", nullptr, "type is \\(null\\) \n" + closing);
}

}  // namespace
