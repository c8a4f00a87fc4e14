#include "formula_check.h"

#include <nxbriochem/nxbriochem.h>

#include <array>
#include <cctype>
#include <charconv>
#include <vector>

#include "nxbriofiles/text.h"

namespace nxbrio {
namespace {

constexpr std::string_view kDigits = "0123456789";

struct Token {
  int type = NXI_TOKEN_END;
  std::string text;
  // Its place in the scanned text.
  const char* begin = nullptr;
  const char* end = nullptr;
};

Token scan(const char*& at) {
  Token token;
  while (*at == ' ' || *at == '\t' || *at == '\n') {
    ++at;
  }
  token.begin = at;
  std::array<char, NXI_TOKEN_LENGTH + 1> text{};
  token.type = nxi_ScanLine(&at, text.data());
  token.end = at;
  token.text = text.data();
  return token;
}

bool is_operator(int type) { return type >= NXI_TOKEN_PLUS && type <= NXI_TOKEN_POWER; }

bool is_value(int type) {
  return type == NXI_TOKEN_NAME || type == NXI_TOKEN_INTEGER || type == NXI_TOKEN_REAL ||
         type == NXI_TOKEN_LEFT_PARENTHESIS;
}

// The library reads a longer name or number as two.
void check_length(const Token& token) {
  const bool goes_on = std::isalnum(static_cast<unsigned char>(*token.end)) != 0 || *token.end == '_';
  if (token.text.size() == NXI_TOKEN_LENGTH && goes_on) {
    throw FormulaFault(formatted("%s... has more than %d characters", token.text.c_str(), NXI_TOKEN_LENGTH));
  }
}

// The library takes any character after a decimal point as part of the number, converts as much of it as is valid, and
// replaces a number that is too large by the largest one. All of these are refused here.
void check_number(const Token& token) {
  check_length(token);
  const std::string_view text = trimmed(token.text);
  const std::size_t point = text.find('.');
  if (point != std::string_view::npos && point + 1 < text.size() &&
      kDigits.find(text[point + 1]) == std::string_view::npos) {
    throw FormulaFault("a digit must follow the decimal point in " + in_quotes(text));
  }
  std::string fault;
  const char* const end = text.data() + text.size();
  double real = 0.0;
  long integer = 0;
  const auto [at, error] = point != std::string_view::npos ? std::from_chars(text.data(), end, real)
                                                           : std::from_chars(text.data(), end, integer);
  if (error == std::errc::result_out_of_range) {
    throw FormulaFault("number " + in_quotes(text) + " is out of range");
  }
  if (at != end) {
    throw FormulaFault("digits must follow the exponent mark in " + in_quotes(text));
  }
}

// Refuses two values, or a value and a parenthesis, without an operator between them. Often it is one number that the
// library would read as two.
[[noreturn]] void refuse_second_value(const Token& first, const Token& second) {
  const bool touching = first.end == second.begin;
  const bool exponent = touching && first.type == NXI_TOKEN_INTEGER && second.type == NXI_TOKEN_NAME &&
                        (second.text[0] == 'e' || second.text[0] == 'E') &&
                        second.text.find_first_not_of(kDigits, 1) == std::string::npos;
  if (exponent) {
    std::string marked = second.text;
    if (marked.size() == 1 && (*second.end == '-' || *second.end == '+')) {
      const std::string_view rest = std::string_view(second.end).substr(1);
      marked.append(1, *second.end).append(rest.substr(0, rest.find_first_not_of(kDigits)));
    }
    throw FormulaFault("an exponent needs a decimal point before it: " + first.text + ".0" + marked + " in place of " +
                       first.text + marked);
  }
  throw FormulaFault("no operator between " + in_quotes(trimmed(first.text)) + " and " +
                     in_quotes(trimmed(second.text)));
}

// Checks a formula, in which values and operators must alternate.
class Checker {
 public:
  Checker(std::string place, Definitions& defined) : place_(std::move(place)), defined_(defined) {}

  void check(const char* text) {
    for (bool more = true; more;) {
      const Token token = scan(text);
      more = token.type != NXI_TOKEN_END;
      if (value_due_) {
        take_value(token, text);
      } else {
        take_operator(token);
      }
      last_ = token;
    }
  }

 private:
  void take_value(const Token& token, const char*& text);
  void take_operator(const Token& token);
  void take_name(const Token& token, const char*& text);
  void start_formula();
  void end_definitions();

  // A plus sign may precede the first value of a formula or parenthesis; a minus sign may precede any factor.
  bool value_due_ = true;
  bool may_be_plus_ = true;
  bool may_be_minus_ = true;
  // The open parentheses, as empty names, and the definitions that are not complete yet.
  std::vector<std::string> open_;
  Token last_;
  std::string place_;
  Definitions& defined_;
};

void Checker::start_formula() { value_due_ = may_be_plus_ = may_be_minus_ = true; }

void Checker::take_value(const Token& token, const char*& text) {
  const bool plus = token.type == NXI_TOKEN_PLUS && may_be_plus_;
  const bool minus = token.type == NXI_TOKEN_MINUS && may_be_minus_;
  if (plus || minus) {
    may_be_plus_ = false;
    may_be_minus_ = plus;
  } else if (token.type == NXI_TOKEN_NAME) {
    take_name(token, text);
  } else if (token.type == NXI_TOKEN_INTEGER || token.type == NXI_TOKEN_REAL) {
    check_number(token);
    value_due_ = false;
  } else if (token.type == NXI_TOKEN_LEFT_PARENTHESIS) {
    open_.emplace_back();
    start_formula();
  } else if (token.type == NXI_TOKEN_END) {
    throw FormulaFault(last_.begin == nullptr ? "no formula" : "a value is missing at the end");
  } else if (is_operator(token.type) || token.type == NXI_TOKEN_RIGHT_PARENTHESIS || token.type == NXI_TOKEN_EQUALS) {
    throw FormulaFault("a value is missing before '" + token.text + "'");
  } else if (token.type == NXI_TOKEN_POINT) {
    throw FormulaFault("a digit must stand before the decimal point");
  } else {
    throw FormulaFault("unexpected character " + in_quotes({token.begin, 1}));
  }
}

// Takes a name: a definition if '=' follows, else a variable.
void Checker::take_name(const Token& token, const char*& text) {
  check_length(token);
  const char* after = text;
  if (scan(after).type == NXI_TOKEN_EQUALS) {
    text = after;
    open_.push_back(token.text);
    start_formula();
    return;
  }
  if (nxi_FindVariable(token.text.c_str()) < 0 && defined_.count(token.text) == 0) {
    throw FormulaFault("undefined variable " + token.text);
  }
  value_due_ = false;
}

void Checker::take_operator(const Token& token) {
  if (is_operator(token.type)) {
    value_due_ = may_be_minus_ = true;
    may_be_plus_ = false;
  } else if (token.type == NXI_TOKEN_RIGHT_PARENTHESIS || token.type == NXI_TOKEN_END) {
    end_definitions();
    const bool closes = token.type == NXI_TOKEN_RIGHT_PARENTHESIS;
    if (closes == open_.empty()) {
      throw FormulaFault(closes ? "')' without '('" : "'(' without ')'");
    }
    if (closes) {
      open_.pop_back();
    }
  } else if (is_value(token.type)) {
    refuse_second_value(last_, token);
  } else if (token.type == NXI_TOKEN_EQUALS) {
    throw FormulaFault("only a name can stand before '='");
  } else {
    throw FormulaFault("unexpected character " + in_quotes({token.begin, 1}));
  }
}

// A variable is defined when the formula after its '=' ends. A second definition is refused, since the library would
// ignore it.
void Checker::end_definitions() {
  while (!open_.empty() && !open_.back().empty()) {
    const auto [before, is_new] = defined_.emplace(open_.back(), place_);
    if (!is_new) {
      throw FormulaFault(open_.back() + " is defined already, at " + before->second);
    }
    open_.pop_back();
  }
}

}  // namespace

void check_formula(const std::string& text, const std::string& place, Definitions& defined) {
  Definitions extended = defined;
  Checker(place, extended).check(text.c_str());
  defined = std::move(extended);
}

std::string defined_name(const std::string& text) {
  const char* at = text.c_str();
  const Token name = scan(at);
  return name.type == NXI_TOKEN_NAME && scan(at).type == NXI_TOKEN_EQUALS ? name.text : "";
}

}  // namespace nxbrio
