// Finds the faults of a formula before the library evaluates it.
#ifndef NXBRIOCHEM_APPS_NXBRIO_FORMULA_CHECK_H
#define NXBRIOCHEM_APPS_NXBRIO_FORMULA_CHECK_H

#include <stdexcept>
#include <string>

#include "formula.h"

namespace nxbrio {

// What is wrong with a formula, without saying where it stands.
class FormulaFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws FormulaFault unless the text is one formula that the library reads as intended. The variables that it
// defines are added to `defined`, as standing at `place`; those of a formula with a fault are not.
void check_formula(const std::string& text, const std::string& place, Definitions& defined);

// The name that a text "name = ..." starts with; empty for another text.
std::string defined_name(const std::string& text);

}  // namespace nxbrio

#endif
