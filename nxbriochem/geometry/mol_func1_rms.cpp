// RMS deviations and superpositions of molecules and of bare points, by the fit of superposition_internal.h.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>

#include <nxbriochem/geometry/instruction_set_internal.h>
#include <nxbriochem/geometry/mol_func1.h>
#include <nxbriochem/geometry/mol_func1_atoms_internal.h>
#include <nxbriochem/geometry/superposition_internal.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_internal.h>

namespace mol_func1 {
namespace {

using instruction_set::InstructionSet;
using superposition::Fit;

constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();

// The modes come in pairs, first without and then with hydrogens.
enum class Action { rms, superimpose, matrix };

Action action_of(int mode) { return static_cast<Action>(mode / 2); }

float rms_of(double sum_of_squares, int count) { return static_cast<float>(std::sqrt(sum_of_squares / count)); }

// Copies the points of the atoms that are no hydrogens, in order, and returns their number. `to` may be `from`. It has
// no branch, which would be mispredicted.
int gather(const float* from, const unsigned char* hydrogens, int natoms, float* to) {
  const float* start = to;
  for (const float* end = from + std::ptrdiff_t{3} * natoms; from != end; from += 3) {
    const float x = from[0];
    const float y = from[1];
    const float z = from[2];
    to[0] = x;
    to[1] = y;
    to[2] = z;
    to += *hydrogens++ == 0 ? 3 : 0;
  }
  return static_cast<int>((to - start) / 3);
}

// Copies the `width` values of each atom from an array by atom index, without the gaps of deleted atoms. Returns the
// array itself when there are no gaps.
template <class T>
const T* packed(int mol, const T* values, std::ptrdiff_t width, T* work) {
  const NxChem::NxMolBase& molecule = briochem::model(mol);
  if (molecule.NumAtoms() == molecule.GetMaxAtomIdx()) {
    return values;
  }
  T* to = work;
  briochem::visit_stretches(molecule, [&](unsigned begin, unsigned end) {
    to = std::copy(values + width * begin, values + width * end, to);
  });
  return work;
}

// The points of the atoms that take part, of both molecules. When all atoms do, these are the molecules' own arrays,
// else copies in the first molecule's object memory.
class AtomPairs {
 public:
  AtomPairs(int first, int second) : first_(first), second_(second) {}

  // Reads the points. False when memory has no room.
  bool read(bool without_hydrogens) {
    const unsigned char* hydrogens = without_hydrogens ? hydrogens_of(first_) : nullptr;
    const int natoms = nx_get_molecule_atom_number(first_);
    points_ = {stored(first_), stored(second_), natoms};
    if (hydrogens == nullptr && is_whole(first_) && is_whole(second_)) {
      return true;
    }
    const WorkArray<float>& work = coord_.emplace(first_, natoms, 6, "coord", Contents::undefined);
    const WorkArray<unsigned char> marks(first_, natoms, 1, "name_index", Contents::undefined);
    if (!work || !marks) {
      return false;
    }
    float* const firsts = work.data();
    float* const seconds = firsts + std::ptrdiff_t{3} * natoms;
    points_.first = read_points(first_, firsts);
    points_.second = read_points(second_, seconds);
    if (hydrogens != nullptr) {
      const unsigned char* left_out = packed(first_, hydrogens, 1, marks.data());
      points_.count = gather(points_.first, left_out, natoms, firsts);
      gather(points_.second, left_out, natoms, seconds);
      points_.first = firsts;
      points_.second = seconds;
    }
    return true;
  }

  const superposition::PointPairs& points() const { return points_; }

  // Moves all atoms of the second molecule. False when memory has no room.
  bool move_second(const Fit& fit) const {
    const WorkArray<float> work(second_, index_bound(second_), 3, "coord");
    if (!work) {
      return false;
    }
    float* points = work.data();
    const std::ptrdiff_t floats = nx_get_molecule_coordinates_length(second_);
    nx_get_molecule_coordinates(points, second_);
    for (std::ptrdiff_t at = 0; at < floats; at += 3) {
      const superposition::Vector moved = fit.moved(points + at);
      std::transform(moved.begin(), moved.end(), points + at, rounded);
    }
    nx_set_molecule_coordinates(points, second_);  // which leaves the places of deleted atoms alone
    return true;
  }

 private:
  static const float* stored(int mol) { return briochem::model(mol).CoordData(); }
  static bool is_whole(int mol) {
    return stored(mol) != nullptr && index_bound(mol) == nx_get_molecule_atom_number(mol);
  }
  // All atoms' points; zero without conformers.
  static const float* read_points(int mol, float* work) {
    if (stored(mol) != nullptr) {
      return packed(mol, stored(mol), 3, work);
    }
    std::fill_n(work, std::ptrdiff_t{3} * nx_get_molecule_atom_number(mol), 0.0F);
    return work;
  }

  int first_;
  int second_;
  superposition::PointPairs points_{};
  std::optional<WorkArray<float>> coord_;
};

// The translation is computed for the rotation as rounded to floats: far from the origin that rounding would move
// points.
void write_motion(Fit fit, float* out) {
  out = std::transform(fit.rotation.begin(), fit.rotation.end(), out, rounded);
  std::copy(out - 9, out, fit.rotation.begin());
  const superposition::Vector translation = fit.translation();
  std::transform(translation.begin(), translation.end(), out, rounded);
}

bool are_usable(const float* first, const float* second, int n, const float* rms) {
  return first != nullptr && second != nullptr && n >= 1 && rms != nullptr;
}

float rms_between(const float* first, const float* second, int n) {
  double sum = 0.0;
  return superposition::sum_of_squares({first, second, n}, instruction_set::best(), sum) ? rms_of(std::fabs(sum), n)
                                                                                         : kNotANumber;
}

// The least RMS deviation. The sum is rounded to float before its absolute value is taken. Kept: programs rely on the
// last digit.
float molecule_rms(double sum, int count) {
  return rms_of(std::fabs(static_cast<double>(static_cast<float>(sum))), count);
}

}  // namespace
}  // namespace mol_func1

using namespace mol_func1;

int nx_rms_base(int first, int second, int mode, float* out) {
  if (nx_get_molecule_atom_number(first) != nx_get_molecule_atom_number(second) || mode < 0 || mode > 5 ||
      out == nullptr) {
    return 0;
  }
  AtomPairs pairs(first, second);
  if (!pairs.read(mode % 2 == 0)) {
    return 0;
  }
  const Action action = action_of(mode);
  const InstructionSet set = instruction_set::best();
  if (action == Action::rms) {
    double sum = 0.0;
    *out =
        superposition::sum_of_squares(pairs.points(), set, sum) ? molecule_rms(sum, pairs.points().count) : kNotANumber;
    return 1;
  }
  Fit fit;
  const bool is_fitted = superposition::fit(pairs.points(), set, fit);
  if (action == Action::superimpose) {
    *out = is_fitted ? rms_of(std::fabs(fit.sum_of_squares), pairs.points().count) : kNotANumber;
  }
  if (!is_fitted) {
    return 0;
  }
  if (action == Action::superimpose) {
    return static_cast<int>(pairs.move_second(fit));
  }
  write_motion(fit, out);
  return 1;
}

int nx_get_rms(int first, int second, float* rms) { return nx_rms_base(first, second, 0, rms); }

int nx_get_rms_using_hydrogens(int first, int second, float* rms) { return nx_rms_base(first, second, 1, rms); }

int nx_superimpose_second_onto_first(int first, int second, float* rms) { return nx_rms_base(first, second, 2, rms); }

int nx_superimpose_second_onto_first_with_hydrogens(int first, int second, float* rms) {
  return nx_rms_base(first, second, 3, rms);
}

int nx_get_superimpose_matrix(int first, int second, float* matrix) { return nx_rms_base(first, second, 4, matrix); }

int nx_get_superimpose_matrix_using_hydrogens(int first, int second, float* matrix) {
  return nx_rms_base(first, second, 5, matrix);
}

int nx_rms_between_points(const float* first, const float* second, int n, float* rms) {
  if (!are_usable(first, second, n, rms)) {
    return 0;
  }
  *rms = rms_between(first, second, n);
  return 1;
}

int nx_minimum_pair_rms(const float* first, int nfirst, const float* second, int nsecond, int n, float* rms) {
  if (!are_usable(first, second, n, rms) || nfirst < 1 || nsecond < 1) {
    return 0;
  }
  const std::ptrdiff_t floats = std::ptrdiff_t{3} * n;
  float smallest = kNotANumber;
  for (std::ptrdiff_t i = 0; i < nfirst; ++i) {
    for (std::ptrdiff_t j = 0; j < nsecond; ++j) {
      // std::fmin ignores values that are not numbers.
      smallest = std::fmin(smallest, rms_between(first + i * floats, second + j * floats, n));
    }
  }
  *rms = smallest;
  return 1;
}
