// Converts a structure to gemmi's model; atoms keep their order. C++17.
#ifndef NXBRIOFILES_GEMMI_MODEL_H
#define NXBRIOFILES_GEMMI_MODEL_H

#include <gemmi/model.hpp>
#include <string>

#include "structure.h"

namespace nxbrio::files {

inline std::string chain_name(const Atom& atom) {
  return atom.chain_name.empty() && atom.chain != ' ' ? std::string(1, atom.chain) : atom.chain_name;
}

// Chains and residues are made from consecutive atoms: when a chain's name comes again later, it becomes a second chain
// of that name.
inline gemmi::Model gemmi_model(const Structure& structure) {
  gemmi::Model model(std::to_string(structure.model));
  const Atom* before = nullptr;
  int serial = 0;
  for (const Atom& from : structure.atoms) {
    const bool new_chain = before == nullptr || chain_of(*before) != chain_of(from);
    if (new_chain) {
      model.chains.emplace_back(chain_name(from));
    }
    gemmi::Chain& chain = model.chains.back();
    if (new_chain || before->residue != from.residue || before->residue_number != from.residue_number ||
        before->insertion_code != from.insertion_code) {
      gemmi::ResidueId id;
      id.name = from.residue.empty() ? "UNL" : from.residue;
      id.seqid = gemmi::SeqId(from.residue_number, from.insertion_code);
      chain.residues.emplace_back(id);
      chain.residues.back().het_flag = from.het ? 'H' : 'A';
    }
    gemmi::Atom atom;
    atom.name = from.name;
    atom.serial = ++serial;
    atom.element = gemmi::Element(from.element);
    atom.charge = static_cast<signed char>(from.formal_charge);
    atom.occ = from.occupancy;
    atom.b_iso = from.b_factor;
    atom.pos = gemmi::Position(from.position[0], from.position[1], from.position[2]);
    chain.residues.back().atoms.push_back(atom);
    before = &from;
  }
  return model;
}

}  // namespace nxbrio::files

#endif
