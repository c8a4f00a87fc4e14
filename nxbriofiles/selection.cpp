// Selections: words for kinds of residues and texts in gemmi's language, joined by `not`, `and`, `or` and brackets.
#include <gemmi/resinfo.hpp>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "element.h"
#include "failure.h"
#include "gemmi_writers.h"
#include "molecule.h"
#include "nxbriofiles.h"
#include "reports.h"
#include "text.h"

namespace nxbrio::files {
namespace {

using Chosen = std::vector<bool>;

// A recursive-descent parser over words separated by blanks. `or` binds least, then `and`, then `not`. Any other word
// is passed to gemmi.
class Parser {
 public:
  Parser(const Structure& structure, std::string_view text)
      : structure_(structure), words_(fields(text, text.size())) {}

  Chosen parse() {
    Chosen chosen = any_of();
    if (at_ < words_.size()) {
      fail("unexpected " + in_quotes(words_[at_]));
    }
    return chosen;
  }

 private:
  static constexpr int kDeepest = 100;

  [[noreturn]] static void fail(const std::string& what) { throw Failure("selection: " + what); }

  bool take(std::string_view word) {
    const bool here = at_ < words_.size() && words_[at_] == word;
    at_ += here ? 1 : 0;
    return here;
  }

  Chosen any_of() {
    Chosen chosen = all_of();
    while (take("or")) {
      combine(chosen, all_of(), std::logical_or<>());
    }
    return chosen;
  }

  Chosen all_of() {
    Chosen chosen = one();
    while (take("and")) {
      combine(chosen, one(), std::logical_and<>());
    }
    return chosen;
  }

  template <class Combine>
  static void combine(Chosen& to, const Chosen& from, Combine combine_two) {
    std::transform(to.begin(), to.end(), from.begin(), to.begin(), combine_two);
  }

  Chosen one() {
    if (++depth_ > kDeepest) {
      fail("more than 100 brackets and nots within one another");
    }
    Chosen chosen;
    if (take("not")) {
      chosen = one();
      chosen.flip();
    } else if (take("(")) {
      chosen = any_of();
      if (!take(")")) {
        fail("a bracket is not closed");
      }
    } else if (at_ == words_.size()) {
      fail(words_.empty() ? "nothing is asked for" : "it ends where atoms are expected");
    } else {
      chosen = word(words_[at_++]);
    }
    --depth_;
    return chosen;
  }

  Chosen word(std::string_view text) const {
    if (text == "all") {
      return Chosen(structure_.atoms.size(), true);
    }
    if (text == "protein") {
      return by_atom([](const Atom& atom) { return is_amino_acid(atom.residue); });
    }
    if (text == "nucleic") {
      return by_atom([](const Atom& atom) { return is_nucleotide(atom.residue); });
    }
    if (text == "water") {
      return by_atom([](const Atom& atom) { return is_water(atom.residue); });
    }
    if (text == "hetero") {
      return by_atom([](const Atom& atom) { return atom.het; });
    }
    if (text == "and" || text == "or" || text == ")") {
      fail("unexpected " + in_quotes(text));
    }
    return select_by_gemmi(structure_, std::string(text));
  }

  template <class Test>
  Chosen by_atom(Test test) const {
    Chosen chosen;
    chosen.reserve(structure_.atoms.size());
    for (const Atom& atom : structure_.atoms) {
      chosen.push_back(test(atom));
    }
    return chosen;
  }

  const Structure& structure_;
  std::vector<std::string_view> words_;
  std::size_t at_ = 0;
  int depth_ = 0;
};

}  // namespace
}  // namespace nxbrio::files

using namespace nxbrio;
using namespace nxbrio::files;

int nxf_select(int* mask, const char* selection, int mol) {
  const NxChem::NxMolBase& molecule = model(mol);
  return reported("selection", 0, [&] {
    if (mask == nullptr || selection == nullptr) {
      throw Failure("selection: nothing is given");
    }
    const std::vector<bool> chosen = Parser(structure_of(molecule), selection).parse();
    std::size_t k = 0;
    for (const NxChem::NxAtomBase& atom : molecule.GetAtoms()) {
      mask[atom.GetIdx()] = chosen[k++] ? 1 : 0;
    }
    return 1;
  });
}
