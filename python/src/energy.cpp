// Coulombic energies of two molecules, and the energy of a rigid ligand at a target with its refinement.
#include <nxbriodock/nxbriodock.h>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <limits>

#include "atom_records.h"
#include "core.h"
#include "energy_handle.h"

namespace nxpy {
namespace {

using Place = std::array<float, 3>;

const Place* places_of(const Molecule& molecule) {
  return reinterpret_cast<const Place*>(molecule.model().CoordData());
}

// Calls visit(i) for every place in a box.
template <class Visit>
void visit_box(const Place* places, int n, const Place& low, const Place& high, Visit visit) {
  int i = 0;
#ifdef __SSE2__
  // Four positions at a time: 12 floats are compared with the bounds of their axes, giving a bit each.
  __m128 lows[3];
  __m128 highs[3];
  for (std::size_t v = 0; v < 3; ++v) {
    const auto of = [v](const Place& bound) {
      return _mm_setr_ps(bound[4 * v % 3], bound[(4 * v + 1) % 3], bound[(4 * v + 2) % 3], bound[4 * v % 3]);
    };
    lows[v] = of(low);
    highs[v] = of(high);
  }
  for (; i + 4 <= n; i += 4) {
    const float* const at = places[i].data();
    unsigned inside = 0;
    for (std::size_t v = 0; v < 3; ++v) {
      const __m128 values = _mm_loadu_ps(at + 4 * v);
      const __m128 is_inside = _mm_and_ps(_mm_cmpge_ps(values, lows[v]), _mm_cmple_ps(values, highs[v]));
      inside |= static_cast<unsigned>(_mm_movemask_ps(is_inside)) << (4 * v);
    }
    inside &= inside >> 1 & inside >> 2;
    for (int k = 0; (inside & 0x249U) != 0 && k < 4; ++k) {
      if ((inside >> (3 * k) & 1U) != 0) {
        visit(i + k);
      }
    }
  }
#endif
  for (; i < n; ++i) {
    bool inside = true;
    for (std::size_t k = 0; k < 3; ++k) {
      inside = inside && places[i][k] >= low[k] && places[i][k] <= high[k];
    }
    if (inside) {
      visit(i);
    }
  }
}

// Pairs of charged atoms at the very same place, which the library leaves out of its sum.
long coincident_pairs(const Molecule& one, const Molecule& other) {
  const Molecule& large = one.size() < other.size() ? other : one;
  const Molecule& small = one.size() < other.size() ? one : other;
  if (small.size() == 0) {
    return 0;
  }
  const Place* const few = places_of(small);
  constexpr float kFar = std::numeric_limits<float>::infinity();
  Place low{kFar, kFar, kFar};
  Place high{-kFar, -kFar, -kFar};
  for (int i = 0, n = small.size(); i < n; ++i) {
    for (std::size_t k = 0; k < 3; ++k) {
      low[k] = std::min(low[k], few[i][k]);
      high[k] = std::max(high[k], few[i][k]);
    }
  }
  // Only atoms within the box of the smaller molecule are compared.
  const Place* const many = places_of(large);
  const NxChem::NxMolBase& others = large.model();
  const NxChem::NxMolBase& these = small.model();
  std::vector<Place> charged;
  long pairs = 0;
  visit_box(many, large.size(), low, high, [&](int i) {
    if (charged.empty()) {
      for (int j = 0, n = static_cast<int>(these.NumAtoms()); j < n; ++j) {
        // NaN cannot be sorted and coincides with nothing.
        if (these.GetAtom(j)->GetPartialCharge() != 0.0F && few[j] == few[j]) {
          charged.push_back(few[j]);
        }
      }
      std::sort(charged.begin(), charged.end());
    }
    const auto [first, last] = std::equal_range(charged.begin(), charged.end(), many[i]);
    pairs += others.GetAtom(i)->GetPartialCharge() != 0.0F ? last - first : 0;
  });
  return pairs;
}

void warn_of_coincident(long pairs) {
  if (pairs > 0) {
    warn(std::to_string(pairs) + " pairs of charged atoms at the very same place are left out of the energy");
  }
}

// In the library's unit.
double coulomb(const Molecule& target, const Molecule& ligand, double dielectric) {
  Session session;
  float energy = 0.0F;
  const int first = target.handle();
  const int second = ligand.handle();
  const auto eps = static_cast<float>(dielectric);
  constexpr double kManyPairs = 1e6;
  if (static_cast<double>(target.size()) * ligand.size() < kManyPairs) {
    nx_calculate_coulombic_binding(first, second, &energy, eps);
  } else {
    const py::gil_scoped_release others_run;
    nx_calculate_coulombic_binding(first, second, &energy, eps);
  }
  const long pairs = coincident_pairs(target, ligand);
  session.end();
  warn_of_coincident(pairs);
  return static_cast<double>(energy);
}

// The energy of each run of the target's atoms, given by where runs begin, with the whole ligand.
py::array_t<double> coulomb_of_runs(const Molecule& target, const Molecule& ligand, double dielectric,
                                    const py::array_t<int>& begins) {
  Session session;
  const AtomRecords from(target);
  const AtomRecords to(ligand);
  const int atoms = target.size();
  const int others = ligand.size();
  const py::ssize_t runs = begins.size();
  const int* const begin = begins.data();
  py::array_t<double> energies(runs);
  double* const out = energies.mutable_data();
  {
    const py::gil_scoped_release others_run;
    for (py::ssize_t k = 0; k < runs; ++k) {
      const int count = (k + 1 < runs ? begin[k + 1] : atoms) - begin[k];
      const float* const records = from.values.data() + std::ptrdiff_t{NX_RECORD_FLOATS} * begin[k];
      out[k] = static_cast<double>(nxi_c_bind(records, from.charges.data() + begin[k], count, to.values.data(),
                                              to.charges.data(), others, static_cast<float>(dielectric)));
    }
  }
  const long pairs = coincident_pairs(target, ligand);
  session.end();
  warn_of_coincident(pairs);
  return energies;
}

// ---- Rigid ligands

using Pose = std::array<double, NXD_POSE>;
constexpr Pose kStart{1, 0, 0, 0, 0, 0, 0};

// Raises an error that names the first atom without 12-6 parameters.
void require_parameters(const Molecule& molecule, const char* argument) {
  for (const NxChem::NxAtomBase& atom : molecule.model().GetAtoms()) {
    if (nxd_get_uff_parameters(static_cast<int>(atom.GetAtomicNum()), nullptr, nullptr) == 0) {
      throw Failure(std::string(argument) + ": there are no 12-6 parameters for the element of atom " +
                    std::to_string(atom.GetIdx()) + ", '" + atom.GetName() + "'");
    }
  }
}

// An energy object of nxbriodock. It belongs to one thread at a time, which need not hold the libraries.
class Energy {
 public:
  Energy(const Molecule& target, double dielectric, int most_iterations) {
    const Session session;
    require_parameters(target, "target");
    handle_.take(nxd_make_energy(), session);
    session.require(nxd_set_target(target.handle(), handle_), "the target is refused");
    session.require(nxd_set_uniform_dielectric(dielectric, handle_), "the dielectric is refused");
    session.require(nxd_set_refine_iterations(most_iterations, handle_), "the number of iterations is refused");
  }

  // Both terms for the ligand at its present coordinates.
  py::tuple at(const Molecule& ligand) const {
    const Use use(*this, ligand, 1);
    return at_pose(use.handle(), kStart);
  }

  py::dict refine(const Molecule& ligand, int threads) const {
    const Use use(*this, ligand, threads);
    const int energy = use.handle();
    Pose pose = kStart;
    nxd_refinement run{};
    Watch watch;
    nxd_set_iteration_callback(
        [](int, const double*, double, int, void* data) { return static_cast<Watch*>(data)->interrupted() ? 1 : 0; },
        &watch, energy);
    int status = 0;
    {
      const py::gil_scoped_release others_run;
      status = nxd_refine_pose(pose.data(), &run, energy);
    }
    watch.rethrow();
    if (status != 1) {
      throw Failure("the ligand cannot be refined");
    }
    if (run.ended == NXD_NOT_FINITE) {
      throw Failure("the energy of the ligand with the target is too large to be told");
    }
    return result(ligand, energy, pose, run);
  }

 private:
  // Checks from time to time whether the user has interrupted.
  class Watch {
   public:
    bool interrupted() {
      const py::gil_scoped_acquire attended;
      if (PyErr_CheckSignals() == 0) {
        return false;
      }
      error_ = std::make_unique<py::error_already_set>();
      return true;
    }
    void rethrow() {
      if (error_) {
        throw py::error_already_set(*error_);
      }
    }

   private:
    std::unique_ptr<py::error_already_set> error_;
  };

  // A copy with the ligand in it, which shares the prepared target: several threads may use one Energy.
  class Use {
   public:
    Use(const Energy& energy, const Molecule& ligand, int threads) {
      const Session session;
      require_parameters(ligand, "ligand");
      handle_.take(nxd_copy_energy(energy.handle_), session);
      session.require(nxd_set_ligand(ligand.handle(), handle_), "the ligand is refused");
      session.require(nxd_set_threads(threads, handle_), "the number of threads is refused");
    }
    int handle() const { return handle_; }

   private:
    EnergyHandle handle_;
  };

  static py::tuple at_pose(int energy, const Pose& pose) {
    double coulomb = 0.0;
    double twelve_six = 0.0;
    nxd_get_energy_at_pose(pose.data(), &coulomb, &twelve_six, nullptr, energy);
    return py::make_tuple(coulomb, twelve_six);
  }

  static py::dict result(const Molecule& ligand, int energy, const Pose& pose, const nxd_refinement& run) {
    py::array_t<double> rotation({3, 3});
    py::array_t<double> translation(3);
    nxd_get_pose_matrix(pose.data(), rotation.mutable_data(), translation.mutable_data());
    double rms = 0.0;
    nxd_get_pose_rms(kStart.data(), pose.data(), &rms, energy);
    py::dict found;
    const py::tuple terms = at_pose(energy, pose);
    found["coulomb"] = terms[0];
    found["twelve_six"] = terms[1];
    found["start_coulomb"] = run.start_coulomb;
    found["start_twelve_six"] = run.start_twelve_six;
    found["pose"] = py::array_t<double>(NXD_POSE, pose.data());
    found["rotation"] = rotation;
    found["translation"] = translation;
    found["rmsd"] = rms;
    found["reason"] = nxd_get_ending_name(run.ended);
    found["iterations"] = run.iterations;
    found["started_inside"] = run.started_inside != 0;
    found["overlaps"] = run.overlaps != 0;
    found["molecule"] = moved(ligand, rotation.data(), translation.data());
    return found;
  }

  // A copy of the ligand at the pose. Coordinates are computed in double and rounded once, as in the command-line
  // program.
  static Molecule moved(const Molecule& ligand, const double* rotation, const double* translation) {
    const Session session;
    Molecule copy(nx_copy_molecule(ligand.handle()));
    auto* const places = const_cast<float*>(copy.model().CoordData());
    for (int i = 0; i < copy.size(); ++i) {
      float* const at = places + std::ptrdiff_t{3} * i;
      const std::array<double, 3> p{at[0], at[1], at[2]};
      for (int k = 0; k < 3; ++k) {
        const double* const row = rotation + std::ptrdiff_t{3} * k;
        at[k] = static_cast<float>(translation[k] + (row[0] * p[0] + row[1] * p[1] + row[2] * p[2]));
      }
    }
    return copy;
  }

  EnergyHandle handle_;
};

}  // namespace

void bind_energy(py::module_& module) {
  module.def("coulomb", &coulomb);
  module.def("coulomb_of_runs", &coulomb_of_runs);
  module.def("coulomb_factor", [] { return static_cast<double>(DFactor2); });
  py::class_<Energy>(module, "Energy")
      .def(py::init<const Molecule&, double, int>())
      .def("at", &Energy::at)
      .def("refine", &Energy::refine);
}

}  // namespace nxpy
