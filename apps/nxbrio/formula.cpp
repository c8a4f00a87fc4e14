#include "formula.h"

#include <nxbriochem/nxbriochem.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include "failure.h"
#include "formula_check.h"
#include "nxbriofiles/text.h"

namespace nxbrio {
namespace {

constexpr int kMostCharacters = 4000;

// The library reads blanks within a formula only in parentheses. It would read a parenthesis right after a decimal
// point as part of the number; the blank prevents that.
std::string in_parentheses(const std::string& formula) { return "(" + formula + " )"; }

// Lets the library read n values from a line.
std::vector<double> read_values(const std::string& line, std::size_t n) {
  std::vector<double> values;
  nxi_SetScanLine(line.c_str());
  while (values.size() < n) {
    values.push_back(*static_cast<const double*>(nxi_GetDataElement("double")));
  }
  nxi_SetScanLine(nullptr);
  return values;
}

// Splits at blanks outside parentheses.
std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> formulas(1);
  int depth = 0;
  for (const char c : text) {
    depth += c == '(' ? 1 : c == ')' ? -1 : 0;
    const bool blank = c == ' ' || c == '\t' || c == '\n';
    if (!blank || depth > 0) {
      formulas.back() += c;
    } else if (!formulas.back().empty()) {
      formulas.emplace_back();
    }
  }
  if (formulas.back().empty()) {
    formulas.pop_back();
  }
  return formulas;
}

// Reads the next line. Throws Failure for one that is too long or holds a NUL byte.
bool read_line(std::FILE* file, const std::string& path, std::size_t number, std::string& line) {
  // No line contains '\n': filling the buffer with it shows where a line with NUL bytes ends.
  line.assign(kMostCharacters + 3, '\n');
  errno = 0;
  if (nxi_ReadLine(file, line.data(), static_cast<int>(line.size())) == 0) {
    if (std::ferror(file) != 0) {
      throw Failure(path, std::strerror(errno));
    }
    return false;
  }
  line.resize(line.find_last_not_of('\n'));
  if (line.find('\0') != std::string::npos) {
    throw Failure(path, number, "a NUL byte");
  }
  if (line.size() > kMostCharacters) {
    throw Failure(path, number, formatted("more than %d characters", kMostCharacters));
  }
  return true;
}

void check_option(const std::string& option, const std::string& text, Definitions& defined) {
  try {
    check_formula(text, option, defined);
  } catch (const FormulaFault& fault) {
    throw UsageError(option + ": " + in_quotes(text) + ": " + fault.what());
  }
}

float finite(const std::string& option, const std::string& text, double value) {
  const auto single = static_cast<float>(value);
  if (!std::isfinite(single)) {
    throw UsageError(option + ": " + in_quotes(text) + " is not a finite number");
  }
  return single;
}

}  // namespace

void Formulas::read_parameters(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) {
    throw Failure(path, std::strerror(errno));
  }
  std::string line;
  for (std::size_t number = 1; read_line(file.get(), path, number, line); ++number) {
    const std::string_view content = trimmed(line);
    if (content.empty() || content[0] == '#') {
      continue;
    }
    try {
      check_formula(line, path + ":" + std::to_string(number), defined_);
    } catch (const FormulaFault& fault) {
      throw Failure(path, number, fault.what());
    }
    const std::string name = defined_name(line);
    if (name.empty()) {
      throw Failure(path, number, "not of the form name = formula");
    }
    if (const double value = read_values(in_parentheses(line), 1)[0]; !std::isfinite(value)) {
      throw Failure(path, number, name + " is not a finite number");
    }
  }
}

float Formulas::value(const std::string& option, const std::string& text) {
  check_option(option, text, defined_);
  return finite(option, text, read_values(in_parentheses(text), 1)[0]);
}

float Formulas::positive_value(const std::string& option, const std::string& text) {
  std::string fault;
  std::optional<float> plain = parse_real(text, fault);
  if (!plain && fault == kNotANumber && !trimmed(text).empty()) {
    plain = value(option, text);
  }
  if (!plain || *plain <= 0.0F) {
    throw UsageError(option + ": " + in_quotes(text) + " is not a finite number above 0");
  }
  return *plain;
}

std::vector<float> Formulas::values(const std::string& option, const std::string& text) {
  const std::vector<std::string> formulas = split(text);
  std::string line;
  for (const std::string& formula : formulas) {
    check_option(option, formula, defined_);
    line += in_parentheses(formula) + " ";
  }
  std::vector<float> values;
  for (const double value : read_values(line, formulas.size())) {
    values.push_back(finite(option, formulas[values.size()], value));
  }
  return values;
}

void forget_variables() { nx_free_all_memory(); }

}  // namespace nxbrio
