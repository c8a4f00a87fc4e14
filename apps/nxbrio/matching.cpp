#include "matching.h"

#include <nxbriofiles/nxbriofiles.h>

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <gemmi/seqalign.hpp>
#include <map>
#include <tuple>

#include "failure.h"
#include "molecule.h"
#include "nxbriofiles/text.h"

namespace nxbrio {
namespace {

bool is_hydrogen(const Atom& atom) { return !atom.name.empty() && (atom.name[0] == 'H' || atom.name[0] == 'h'); }

Pairs by_order(const Structure& first, const Structure& second) {
  if (second.atoms.size() != first.atoms.size()) {
    throw Failure(second.label,
                  formatted("%zu atoms, but %zu in %s", second.atoms.size(), first.atoms.size(), first.label.c_str()));
  }
  Pairs pairs;
  for (int i = 0; i < static_cast<int>(first.atoms.size()); ++i) {
    pairs.emplace_back(i, i);
  }
  return pairs;
}

// When several atoms have the same name, the first is taken.
Pairs by_names(const Structure& first, const Structure& second) {
  const auto key = [](const Atom& atom) {
    return std::tuple(atom.chain, atom.residue_number, atom.insertion_code, atom.name);
  };
  std::map<decltype(key(Atom{})), int> places;
  for (int i = 0; i < static_cast<int>(second.atoms.size()); ++i) {
    places.emplace(key(second.atoms[static_cast<std::size_t>(i)]), i);
  }
  Pairs pairs;
  for (int i = 0; i < static_cast<int>(first.atoms.size()); ++i) {
    const auto at = places.find(key(first.atoms[static_cast<std::size_t>(i)]));
    if (at != places.end()) {
      pairs.emplace_back(i, at->second);
      places.erase(at);
    }
  }
  return pairs;
}

// The polymer residues of a chain: their names, and the atoms of each by name.
struct Chain {
  std::vector<std::string> names;
  std::vector<std::map<std::string, int>> residues;
};

std::vector<Chain> polymers_of(const Structure& structure) {
  std::vector<int> mask(structure.atoms.size());
  if (nxf_select(mask.data(), "protein or nucleic", *structure.molecule) != 1) {
    throw Failure(nxf_last_error());
  }
  std::vector<Chain> chains;
  std::map<char, std::size_t> places;
  std::map<char, int> last;
  for (std::size_t i = 0; i < mask.size(); ++i) {
    const Atom& atom = structure.atoms[i];
    if (mask[i] == 0) {
      continue;
    }
    const auto [at, is_new] = places.emplace(atom.chain, chains.size());
    if (is_new) {
      chains.emplace_back();
    }
    Chain& chain = chains[at->second];
    if (is_new || last[atom.chain] != atom.sequence_number) {
      chain.names.push_back(atom.residue);
      chain.residues.emplace_back();
      last[atom.chain] = atom.sequence_number;
    }
    chain.residues.back().emplace(atom.name, static_cast<int>(i));
  }
  return chains;
}

// In residues of different names only these atoms are paired: the backbone of proteins.
bool is_backbone(const std::string& name) { return name == "N" || name == "CA" || name == "C" || name == "O"; }

void pair_residues(const Chain& first, std::size_t i, const Chain& second, std::size_t j, Pairs& pairs) {
  const bool alike = first.names[i] == second.names[j];
  for (const auto& [name, atom] : first.residues[i]) {
    const auto partner = second.residues[j].find(name);
    if (partner != second.residues[j].end() && (alike || is_backbone(name))) {
      pairs.emplace_back(atom, partner->second);
    }
  }
}

void pair_chains(const Chain& first, const Chain& second, const gemmi::AlignmentResult& alignment, Pairs& pairs) {
  std::size_t i = 0;
  std::size_t j = 0;
  for (const gemmi::AlignmentResult::Item& item : alignment.cigar) {
    for (std::uint32_t k = 0; k < item.len(); ++k) {
      const char op = item.op();
      if (op == 'M') {
        pair_residues(first, i, second, j, pairs);
      }
      i += op != 'D' ? 1 : 0;
      j += op != 'I' ? 1 : 0;
    }
  }
}

// Chains are paired by the number of identical residues in their alignment, highest first; ties are resolved by the
// order in the files.
Pairs by_residues(const Structure& first, const Structure& second) {
  const std::vector<Chain> ours = polymers_of(first);
  const std::vector<Chain> theirs = polymers_of(second);
  struct Candidate {
    std::size_t ours;
    std::size_t theirs;
    gemmi::AlignmentResult alignment;
  };
  std::vector<Candidate> candidates;
  for (std::size_t i = 0; i < ours.size(); ++i) {
    for (std::size_t j = 0; j < theirs.size(); ++j) {
      candidates.push_back({i, j, gemmi::align_string_sequences(ours[i].names, theirs[j].names, {}, {})});
    }
  }
  std::stable_sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
    return a.alignment.match_count > b.alignment.match_count;
  });
  std::vector<bool> taken(ours.size());
  std::vector<bool> theirs_taken(theirs.size());
  Pairs pairs;
  for (const Candidate& one : candidates) {
    if (!taken[one.ours] && !theirs_taken[one.theirs] && one.alignment.match_count > 0) {
      taken[one.ours] = theirs_taken[one.theirs] = true;
      pair_chains(ours[one.ours], theirs[one.theirs], one.alignment, pairs);
    }
  }
  std::sort(pairs.begin(), pairs.end());
  return pairs;
}

std::vector<int> chosen_atoms(const Structure& structure, const std::string& text) {
  std::vector<int> mask(structure.atoms.size());
  if (nxf_select(mask.data(), text.c_str(), *structure.molecule) != 1) {
    throw UsageError(std::string("--select: ") + nxf_last_error());
  }
  return mask;
}

Eigen::Map<const Eigen::Vector3f> place(const Structure& structure, int atom) {
  return Eigen::Map<const Eigen::Vector3f>(structure.atoms[static_cast<std::size_t>(atom)].position.data());
}

// A structure of the atoms on one side of the pairs.
template <class Side>
Structure side_of(const Structure& structure, const Pairs& pairs, Side side) {
  Structure part;
  part.name = structure.name;
  for (const auto& pair : pairs) {
    part.atoms.push_back(structure.atoms[static_cast<std::size_t>(side(pair))]);
  }
  return part;
}

}  // namespace

Pairs matched(const Structure& first, const Structure& second, const FitOptions& options) {
  Pairs pairs = options.match == Match::Order   ? by_order(first, second)
                : options.match == Match::Names ? by_names(first, second)
                                                : by_residues(first, second);
  const std::vector<int> chosen =
      options.select ? chosen_atoms(first, *options.select) : std::vector<int>(first.atoms.size(), 1);
  pairs.erase(std::remove_if(pairs.begin(), pairs.end(),
                             [&](const auto& pair) {
                               const auto at = static_cast<std::size_t>(pair.first);
                               return chosen[at] == 0 || (!options.hydrogens && is_hydrogen(first.atoms[at]));
                             }),
              pairs.end());
  if (pairs.empty()) {
    throw Failure(second.label, "no atom of it pairs with one of " + first.label);
  }
  return pairs;
}

float rms_in_place(const Structure& first, const Structure& second, const Pairs& pairs) {
  double sum = 0.0;
  for (const auto& [i, j] : pairs) {
    sum += (place(first, i).cast<double>() - place(second, j).cast<double>()).squaredNorm();
  }
  return static_cast<float>(std::sqrt(sum / static_cast<double>(pairs.size())));
}

float least_rms(const Structure& first, const Structure& second, const Pairs& pairs, Motion& motion) {
  const Molecule ours(side_of(first, pairs, [](const auto& pair) { return pair.first; }));
  const Molecule theirs(side_of(second, pairs, [](const auto& pair) { return pair.second; }));
  // All atoms are used, since unwanted hydrogens are not among the pairs.
  return move_onto(ours, theirs, true, motion);
}

void apply_motion(const Motion& motion, Structure& structure) {
  const auto rotation =
      Eigen::Map<const Eigen::Matrix<float, 3, 3, Eigen::RowMajor>>(motion.rotation.data()).cast<double>().eval();
  const auto translation = Eigen::Map<const Eigen::Vector3f>(motion.translation.data()).cast<double>().eval();
  for (Atom& atom : structure.atoms) {
    Eigen::Map<Eigen::Vector3f> at(atom.position.data());
    at = (rotation * at.cast<double>() + translation).cast<float>();
  }
}

}  // namespace nxbrio
