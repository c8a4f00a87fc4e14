// Parameters given as formulas, evaluated by the library's reader of values. The library ends the process at an
// undefined variable and accepts many faults silently, so each formula is checked token by token before the library
// evaluates it.
//
// A formula is made of numbers, names, + - * / ^ and parentheses; "name = formula" defines a variable. '^' binds before
// '*' and '/', a sign before '^', a^b^c is (a^b)^c, and a^b is exp(b log a), so that a negative base gives no number.
#ifndef NXBRIOCHEM_APPS_NXBRIO_FORMULA_H
#define NXBRIOCHEM_APPS_NXBRIO_FORMULA_H

#include <map>
#include <string>
#include <vector>

namespace nxbrio {

// Where each variable was defined, for messages: "FILE:LINE" or the option.
using Definitions = std::map<std::string, std::string>;

// The variables of one run. The library's table of variables is process-wide: there is one Formulas at a time.
class Formulas {
 public:
  Formulas() = default;
  Formulas(const Formulas&) = delete;
  Formulas& operator=(const Formulas&) = delete;

  // Reads lines "name = formula"; blank lines, and lines whose first character other than a blank is '#', are passed
  // over. Throws Failure with file and line: for a fault in a formula, a variable that is not defined, or defined
  // twice, or that is no finite number, a line of more than 4000 characters, a NUL byte, or a file that cannot be read.
  void read_parameters(const std::string& path);

  // The value of one formula given to an option. Throws UsageError for a fault and for a value beyond the range of a
  // float.
  float value(const std::string& option, const std::string& text);
  // A value above 0, of a formula or a plain number of any notation. Throws UsageError for anything else.
  float positive_value(const std::string& option, const std::string& text);
  // The values of formulas that are separated by blanks; a formula with blanks in it stands in parentheses.
  std::vector<float> values(const std::string& option, const std::string& text);

 private:
  Definitions defined_;
};

// Deletes all variables. The library does so only by freeing all tracked memory: call this when the formulas are
// evaluated and before anything else is made.
void forget_variables();

}  // namespace nxbrio

#endif
