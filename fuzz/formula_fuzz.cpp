// Formulas of the command line and of parameter files. The input's first line is given to options, the rest is a file
// of parameters. Whatever they hold, the program must not let the library end the process.
#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "apps/nxbrio/failure.h"
#include "apps/nxbrio/formula.h"
#include "fuzz/memory_file.h"

namespace {

using fuzz::check;

// A run of the program: parameters are read and an option is evaluated. The first refusal ends it.
template <typename Evaluate>
void run(const std::string& parameters, Evaluate evaluate) {
  nxbrio::Formulas formulas;
  try {
    formulas.read_parameters(parameters);
    evaluate(formulas);
  } catch (const nxbrio::Failure&) {
  } catch (const nxbrio::UsageError&) {
  }
}

// Seven values are a transform, if the library takes them for one.
void transform(const std::vector<float>& values) {
  constexpr int kAtoms = 2;
  const int molecule = nx_make_molecule();
  const float places[3 * kAtoms] = {0.0F, 1.0F, 2.0F, -3.0F, 4.0F, 0.5F};
  check(nx_set_molecule_atom_number(kAtoms, molecule) == 1, "a molecule has atoms");
  check(nx_set_molecule_coordinates(places, molecule) == 1, "a molecule has places");
  if (nx_set_molecule_transform(values.data(), molecule) == 1) {
    nx_transform_molecule(molecule);
    nx_untransform_molecule(molecule);
  }
  nx_delete_molecule(molecule);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t end = std::min(input.find('\n'), size);
  // A command line's values have no NUL bytes.
  const std::string option = input.substr(0, std::min(end, input.find('\0')));
  const fuzz::MemoryFile file(std::string_view(input).substr(std::min(end + 1, size)));
  run(file.path(), [&](nxbrio::Formulas& formulas) {
    check(std::isfinite(formulas.value("--option", option)), "a value is finite");
    check(std::isfinite(formulas.value("--option", option)), "and can be had again");
  });
  run(file.path(), [&](nxbrio::Formulas& formulas) {
    check(formulas.positive_value("--option", option) > 0.0F, "a value is positive");
  });
  run(file.path(), [&](nxbrio::Formulas& formulas) {
    const std::vector<float> values = formulas.values("--transform", option);
    for (const float value : values) {
      check(std::isfinite(value), "every value is finite");
    }
    if (values.size() == 7) {
      transform(values);
    }
  });
  return 0;
}
