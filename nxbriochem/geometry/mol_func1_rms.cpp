// RMS deviations and superpositions of molecules and of bare points, by the fit of superposition.h.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include <nxbriochem/geometry/instruction_set.h>
#include <nxbriochem/geometry/mol_func1.h>
#include <nxbriochem/geometry/mol_func1_atoms.h>
#include <nxbriochem/geometry/superposition.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_model.h>

namespace mol_func1 {
namespace {

using instruction_set::InstructionSet;
using superposition::Fit;

constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();

// The modes come in pairs, first without and then with hydrogens.
enum class Action { rms, superimpose, matrix };

Action action_of(int mode) { return static_cast<Action>(mode / 2); }

float rms_of(double sum_of_squares, int count) { return static_cast<float>(std::sqrt(sum_of_squares / count)); }

// Copies the points of the atoms that take part, in their order, where `to` may be `from`. Their number. Without a
// branch, since no processor foresees which atoms are hydrogens.
int gather(const float* from, const int* marks, int natoms, float* to) {
  const float* start = to;
  for (const float* end = from + std::ptrdiff_t{3} * natoms; from != end; from += 3) {
    const float x = from[0];
    const float y = from[1];
    const float z = from[2];
    to[0] = x;
    to[1] = y;
    to[2] = z;
    to += *marks++ == kTakesPart ? 3 : 0;
  }
  return static_cast<int>((to - start) / 3);
}

// Closes the gaps that deleted atoms leave in an array of places with `width` values each, so that atom i has place i.
template <class T>
void close_gaps(T* values, int width, const int* marks, int length) {
  T* to = values;
  for (std::ptrdiff_t i = 0; i < length; ++i) {
    if (marks[i] != kAbsent) {
      to = std::copy_n(values + width * i, width, to);
    }
  }
}

bool has_gaps(int mol) { return index_bound(mol) != nx_get_molecule_atom_number(mol); }

// The molecule's own coordinates where there are such and no gaps between them, so that they are read where they lie;
// else `work`, with the coordinates of all places.
const float* coordinates_of(int mol, float* work) {
  const float* stored = briochem::model(mol).CoordData();
  if (stored != nullptr && !has_gaps(mol)) {
    return stored;
  }
  nx_get_molecule_coordinates(work, mol);
  return work;
}

// Both sets of points and the marks of the first molecule's atoms, in the first molecule's object memory.
class AtomPairs {
 public:
  AtomPairs(int first, int second)
      : first_(first),
        second_(second),
        length_(std::max(index_bound(first), index_bound(second))),
        coord_(first, length_, 6, "coord", Contents::undefined),
        marks_(first, length_, 1, "name_index", Contents::undefined) {}

  // Reads the points of the atoms that take part. False when memory has no room.
  bool read(bool without_hydrogens) {
    if (!coord_ || !marks_) {
      return false;
    }
    const float* first = coordinates_of(first_, first_points());
    const float* second = coordinates_of(second_, second_points());
    if (has_gaps(second_)) {
      mark_atoms(second_, false, marks_.data());
      close_gaps(second_points(), 3, marks_.data(), index_bound(second_));
    }
    mark_atoms(first_, without_hydrogens, marks_.data());
    if (has_gaps(first_)) {
      const int length = index_bound(first_);
      close_gaps(first_points(), 3, marks_.data(), length);
      close_gaps(marks_.data(), 1, marks_.data(), length);
    }
    const int natoms = nx_get_molecule_atom_number(first_);
    count_ = gather(first, marks_.data(), natoms, first_points());
    gather(second, marks_.data(), natoms, second_points());
    return true;
  }

  int count() const { return count_; }
  superposition::PointPairs points() const { return {first_points(), second_points(), count_}; }

  // Moves all atoms of the second molecule.
  void move_second(const Fit& fit) const {
    float* points = second_points();
    const std::ptrdiff_t floats = nx_get_molecule_coordinates_length(second_);
    std::fill_n(points, floats, 0.0F);  // for the places of deleted atoms
    nx_get_molecule_coordinates(points, second_);
    for (std::ptrdiff_t at = 0; at < floats; at += 3) {
      const superposition::Vector moved = fit.moved(points + at);
      std::transform(moved.begin(), moved.end(), points + at, rounded);
    }
    nx_set_molecule_coordinates(points, second_);  // which leaves the places of deleted atoms alone
  }

 private:
  float* first_points() const { return coord_.data(); }
  float* second_points() const { return coord_.data() + std::ptrdiff_t{3} * length_; }

  int first_;
  int second_;
  int length_;
  int count_ = 0;
  WorkArray<float> coord_;
  WorkArray<int> marks_;
};

// The translation belongs to the rotation as it is written: far from the origin a rounding of that moves points.
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

// The least RMS deviation, of which the absolute value is that of a float; programs see that in the last digit.
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
    *out = superposition::sum_of_squares(pairs.points(), set, sum) ? molecule_rms(sum, pairs.count()) : kNotANumber;
    return 1;
  }
  Fit fit;
  const bool is_fitted = superposition::fit(pairs.points(), set, fit);
  if (action == Action::superimpose) {
    *out = is_fitted ? rms_of(std::fabs(fit.sum_of_squares), pairs.count()) : kNotANumber;
  }
  if (!is_fitted) {
    return 0;
  }
  if (action == Action::superimpose) {
    pairs.move_second(fit);
  } else {
    write_motion(fit, out);
  }
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
      // Of a number and what is not one, std::fmin takes the number.
      smallest = std::fmin(smallest, rms_between(first + i * floats, second + j * floats, n));
    }
  }
  *rms = smallest;
  return 1;
}
