// Atoms with radii, which of them take part in a principal frame, and that frame in long double.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_EXACT_FRAMES_H
#define NXBRIOCHEM_TESTS_SUPPORT_EXACT_FRAMES_H

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "tests/support/flat_molecule.h"
#include "tests/support/frames.h"

namespace test_support {

struct Atom {
  std::string name;
  std::array<float, 3> at;
  float radius;
};
using Atoms = std::vector<Atom>;

inline int molecule_of(const Atoms& atoms) {
  std::vector<FlatAtom> flat;
  std::vector<float> radii;
  for (const Atom& atom : atoms) {
    flat.push_back({atom.name, "", atom.at[0], atom.at[1], atom.at[2], 0});
    radii.push_back(atom.radius);
  }
  const int mol = make_molecule(flat);
  nx_set_molecule_radii(radii.data(), mol);
  return mol;
}

// Which atoms take part, by the rules as they are written down, and how often each warning comes.
struct Expected {
  std::vector<bool> in;
  int warnings_of_hydrogen = 0;
  int warnings_of_radii = 0;
  bool weighted = false;

  Expected(const Atoms& atoms, bool without_hydrogens, bool weight, bool use_radii) {
    const bool named = std::any_of(atoms.begin(), atoms.end(), [](const Atom& a) { return !a.name.empty(); });
    const bool has_radii =
        use_radii && std::any_of(atoms.begin(), atoms.end(), [](const Atom& a) { return a.radius != 0; });
    for (const Atom& atom : atoms) {
      in.push_back(!(without_hydrogens && named && !atom.name.empty() && (atom.name[0] == 'H' || atom.name[0] == 'h')));
    }
    warnings_of_hydrogen = fall_back();
    for (std::size_t i = 0; has_radii && i < atoms.size(); ++i) {
      in[i] = in[i] && atoms[i].radius != 0;
    }
    warnings_of_radii = has_radii ? fall_back() : 0;
    weighted = weight && has_radii;
  }

 private:
  int fall_back() {
    if (std::find(in.begin(), in.end(), true) != in.end()) {
      return 0;
    }
    in.assign(in.size(), true);
    return 1;
  }
};

// The centre and the second moments of the atoms that take part, in long double.
struct ExactFrame {
  std::array<long double, 3> centre{};
  ExactMatrix<3> second_moments{};
  long double count = 0;

  ExactFrame(const Atoms& atoms, const Expected& expected) {
    long double weights = 0;
    const auto weight = [&](std::size_t i) {
      const long double r = expected.weighted ? atoms[i].radius : 1;
      return expected.in[i] ? r * r * r : 0;
    };
    for (std::size_t i = 0; i < atoms.size(); ++i) {
      count += expected.in[i] ? 1 : 0;
      weights += weight(i);
      for (std::size_t k = 0; k < 3; ++k) {
        centre[k] += weight(i) * atoms[i].at[k];
      }
    }
    for (long double& x : centre) {
      x /= weights;
    }
    for (std::size_t i = 0; i < atoms.size(); ++i) {
      for (std::size_t j = 0; j < 3; ++j) {
        for (std::size_t k = 0; k < 3; ++k) {
          second_moments[j][k] += weight(i) * (atoms[i].at[j] - centre[j]) * (atoms[i].at[k] - centre[k]);
        }
      }
    }
  }
  std::array<double, 3> moments() const {
    std::array<double, 3> out{};
    const auto values = exact_eigenvalues(second_moments);
    std::transform(values.begin(), values.end(), out.begin(),
                   [this](long double x) { return static_cast<double>(std::sqrt(std::fabs(x) / count)); });
    return out;
  }
};

}  // namespace test_support

#endif
