// What a screen asks of the libraries, once for each ligand: its energy with a target that is prepared once.
#include <nxbriodock/nxbriodock.h>
#include <nxbriofiles/nxbriofiles.h>

#include <pybind11/stl.h>

#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <tuple>

#include "atom_records.h"
#include "core.h"
#include "energy_handle.h"

namespace nxpy {
namespace {

// Holds the lock around the libraries but releases the GIL, so that other Python threads run, such as the one that
// keeps a worker in touch with its scheduler.
class Unattended {
 public:
  void require(int status, const char* otherwise) const { session_.require(status, otherwise); }

 private:
  Session session_;
  py::gil_scoped_release others_run_;
};

using Pose = std::array<double, NXD_POSE>;
constexpr Pose kAsItStands{1, 0, 0, 0, 0, 0, 0};

// The unit of the first library's Coulombic energies in kcal/mol: CODATA 2018's e^2 N_A / (4 pi epsilon_0 1e-10 m) over
// DFactor2.
double kcal_per_unit() { return 332.063713 / static_cast<double>(DFactor2); }

// The double that has the float's shortest digits, as nxbrio prints it.
double decimal(float value) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  double shortest = 0.0;
  std::from_chars(text.data(), end, shortest);
  return shortest;
}

struct Protocol {
  bool refine = false;
  float dielectric = 4.0F;
  // mol/l, and kelvin.
  double ionic_strength = 0.0;
  double temperature = 298.0;
  int iterations = 500;
  double tolerance = 1e-3;
};

struct Score {
  std::string name;
  int atoms = 0;
  std::string charges;
  // kcal/mol.
  double energy = 0.0;
  double coulomb = 0.0;
  std::optional<double> twelve_six;
  // Of a refinement.
  std::optional<double> start;
  std::optional<double> gradient;
  std::optional<double> moved;
  std::optional<int> iterations;
  std::string ended;
  bool overlaps = false;
  std::optional<Pose> pose;
};

// A target with what its energies need, for any number of ligands. One thread at a time.
class Scorer {
 public:
  Scorer(const Molecule& target, const Protocol& protocol) : protocol_(protocol), target_(target) {
    const Unattended session;
    energy_.take(nxd_make_energy(), session);
    if (by_energy_object()) {
      set_up(session);
    } else {
      records_.emplace(target);
    }
  }

  // A ligand as it travels: source, line, format and text.
  using Text = std::tuple<std::string, std::size_t, std::string, py::bytes>;

  // What each ligand gives, in order: a tuple of Score's members, or what it is refused for.
  py::list score_texts(const std::vector<Text>& texts) {
    return score_all(texts.size(), [&](std::size_t k) {
      const auto& [source, line, format, bytes] = texts[k];
      const int handle = nxf_read_molecule_from_memory(PyBytes_AS_STRING(bytes.ptr()),
                                                       static_cast<std::size_t>(PyBytes_GET_SIZE(bytes.ptr())),
                                                       source.c_str(), format.c_str());
      if (handle == 0) {
        throw Failure(nxf_last_error());
      }
      return Molecule(handle);
    });
  }
  py::list score_molecules(const std::vector<Molecule>& molecules) {
    return score_all(molecules.size(), [&](std::size_t k) { return molecules[k]; });
  }

  // What each residue of the target contributes, by label: Coulomb's and the 12-6 energy.
  std::vector<std::tuple<std::string, double, double>> residues(const Molecule& ligand,
                                                                const std::optional<Pose>& pose) {
    const Unattended session;
    if (nxd_get_target_atom_number(energy_) == 0) {
      set_up(session);
    }
    session.require(nxd_set_ligand(ligand.handle(), energy_), "the ligand is refused");
    const auto count = static_cast<std::size_t>(nxd_get_residue_number(NXD_TARGET, energy_));
    std::vector<double> coulomb(count);
    std::vector<double> twelve_six(count);
    const Pose& at = pose ? *pose : kAsItStands;
    session.require(nxd_get_residue_energies(at.data(), NXD_TARGET, coulomb.data(), twelve_six.data(), energy_),
                    "the residues' energies cannot be told");
    const std::vector<std::string> labels = residue_labels(count, session);
    std::vector<std::tuple<std::string, double, double>> all;
    for (std::size_t k = 0; k < count; ++k) {
      all.emplace_back(labels[k], coulomb[k], twelve_six[k]);
    }
    return all;
  }

 private:
  template <class Get>
  py::list score_all(std::size_t count, Get get) {
    std::vector<Score> scores(count);
    std::vector<std::string> errors(count);
    {
      const Unattended session;
      for (std::size_t k = 0; k < count; ++k) {
        try {
          scores[k] = score(get(k), session);
        } catch (const Failure& failure) {
          errors[k] = failure.what();
        }
      }
    }
    py::list all;
    for (std::size_t k = 0; k < count; ++k) {
      all.append(errors[k].empty() ? tuple_of(scores[k]) : py::object(as_str(errors[k])));
    }
    return all;
  }

  Score score(const Molecule& ligand, const Unattended& session) {
    Score score;
    score.name = name_of(ligand.handle());
    score.atoms = ligand.size();
    score.charges = nxf_charge_source(ligand.handle());
    if (by_energy_object()) {
      session.require(nxd_set_ligand(ligand.handle(), energy_), "the ligand is refused");
    }
    if (protocol_.refine) {
      refine(score, session);
    } else if (by_energy_object()) {
      session.require(nxd_get_energy_at_pose(kAsItStands.data(), &score.coulomb, nullptr, nullptr, energy_),
                      "the energy cannot be told");
      score.energy = score.coulomb;
    } else {
      const AtomRecords atoms(ligand);
      const float energy =
          nxi_c_bind(records_->values.data(), records_->charges.data(), records_->count(), atoms.values.data(),
                     atoms.charges.data(), atoms.count(), protocol_.dielectric);
      score.coulomb = score.energy = decimal(static_cast<float>(decimal(energy) * kcal_per_unit()));
    }
    if (!std::isfinite(score.energy)) {
      throw Failure("the energy is too large to be told");
    }
    return score;
  }

  static py::object tuple_of(const Score& score) {
    return py::make_tuple(as_str(score.name), score.atoms, score.charges, score.energy, score.coulomb, score.twelve_six,
                          score.start, score.gradient, score.moved, score.iterations, score.ended,
                          score.pose ? py::object(py::int_(score.overlaps ? 1 : 0)) : py::none(),
                          score.pose
                              ? py::object(py::bytes(reinterpret_cast<const char*>(score.pose->data()), sizeof(Pose)))
                              : py::none());
  }

  bool by_energy_object() const { return protocol_.refine || protocol_.ionic_strength > 0.0; }

  static std::string name_of(int mol) {
    std::string name(static_cast<std::size_t>(nx_get_molecule_name_length(mol)) + 1, '\0');
    nx_get_molecule_name(name.data(), mol);
    name.resize(name.find('\0'));
    return name;
  }

  void set_up(const Unattended& session) {
    session.require(nxd_set_target(target_.handle(), energy_), "the target is refused");
    // As nxbrio refine and nxbrio bind widen it.
    const double dielectric =
        protocol_.refine ? static_cast<double>(protocol_.dielectric) : decimal(protocol_.dielectric);
    session.require(protocol_.ionic_strength > 0.0 ? nxd_set_screened_dielectric(dielectric, protocol_.ionic_strength,
                                                                                 protocol_.temperature, energy_)
                                                   : nxd_set_uniform_dielectric(dielectric, energy_),
                    "the dielectric is refused");
    session.require(nxd_set_weights(1.0, protocol_.refine ? 1.0 : 0.0, energy_), "the weights are refused");
    session.require(nxd_set_refine_iterations(protocol_.iterations, energy_), "the iterations are refused");
    session.require(nxd_set_refine_tolerance(protocol_.tolerance, energy_), "the tolerance is refused");
  }

  void refine(Score& score, const Unattended& session) {
    nxd_refinement run{};
    Pose pose = kAsItStands;
    session.require(nxd_refine_pose(pose.data(), &run, energy_), "the ligand cannot be refined");
    double twelve_six = 0.0;
    double moved = 0.0;
    session.require(nxd_get_energy_at_pose(pose.data(), &score.coulomb, &twelve_six, nullptr, energy_),
                    "the energy cannot be told");
    session.require(nxd_get_pose_rms(kAsItStands.data(), pose.data(), &moved, energy_), "the pose is refused");
    score.twelve_six = twelve_six;
    score.energy = score.coulomb + twelve_six;
    score.start = run.start_coulomb + run.start_twelve_six;
    score.gradient = run.gradient;
    score.moved = moved;
    score.iterations = run.iterations;
    score.ended = nxd_get_ending_name(run.ended);
    score.overlaps = run.overlaps != 0;
    score.pose = pose;
  }

  // Chain, name and number of each residue.
  std::vector<std::string> residue_labels(std::size_t count, const Unattended& session) const {
    std::vector<int> of_atom(static_cast<std::size_t>(target_.size()));
    session.require(nxd_get_residues(NXD_TARGET, of_atom.data(), energy_), "the residues cannot be told");
    std::vector<std::string> labels(count);
    std::size_t k = 0;
    for (const NxChem::NxAtomBase& atom : target_.model().GetAtoms()) {
      std::string& label = labels[static_cast<std::size_t>(of_atom[k++])];
      if (!label.empty()) {
        continue;
      }
      const NxChem::NxResidue& residue = NxChem::NxAtomGetResidue(atom);
      const char chain = residue.GetChainID();
      label = (chain == '\0' || chain == ' ' ? "" : std::string{chain, ' '}) + residue.GetName() + " " +
              std::to_string(residue.GetResidueNumber());
    }
    return labels;
  }

  Protocol protocol_;
  Molecule target_;
  // For the energies of poses as they stand in a uniform dielectric, which libnxbriochem gives.
  std::optional<AtomRecords> records_;
  EnergyHandle energy_;
};

// The rotation and the translation of a pose.
py::tuple pose_matrix(const Pose& pose) {
  const Session session;
  py::array_t<double> rotation({3, 3});
  py::array_t<double> translation(3);
  session.require(nxd_get_pose_matrix(pose.data(), rotation.mutable_data(), translation.mutable_data()),
                  "the pose is refused");
  return py::make_tuple(rotation, translation);
}

}  // namespace

void bind_screening(py::module_& module) {
  py::class_<Protocol>(module, "Protocol")
      .def(py::init([](bool refine, float dielectric, double ionic_strength, double temperature, int iterations) {
             Protocol protocol;
             protocol.refine = refine;
             protocol.dielectric = dielectric;
             protocol.ionic_strength = ionic_strength;
             protocol.temperature = temperature;
             protocol.iterations = iterations;
             return protocol;
           }),
           py::kw_only(), py::arg("refine"), py::arg("dielectric"), py::arg("ionic_strength"), py::arg("temperature"),
           py::arg("iterations"));

  py::class_<Scorer>(module, "Scorer")
      .def(py::init<const Molecule&, const Protocol&>())
      .def("score_texts", &Scorer::score_texts)
      .def("score_molecules", &Scorer::score_molecules)
      .def("residues", &Scorer::residues);
  module.def("pose_matrix", &pose_matrix);
}

}  // namespace nxpy
