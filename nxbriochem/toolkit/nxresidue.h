// The residue record of an atom. C++17.
#ifndef NXBRIOCHEM_TOOLKIT_NXRESIDUE_H
#define NXBRIOCHEM_TOOLKIT_NXRESIDUE_H

#include <string>
#include <string_view>

#include <nxbriochem/export.h>

namespace NxChem {

// What a PDB atom record says of an atom beyond its name and position. A residue record belongs to one atom: atoms of
// the same residue carry equal records. Setters keep what they are given, whether it fits into a file or not.
class NX_API NxResidue {
 public:
  // The residue's name, such as "ALA"; empty when not set. The string is the record's.
  const std::string& GetName() const { return name_; }
  void SetName(std::string_view name) { name_ = name; }
  // The number that a PDB file shows (resSeq, the author's numbering); 0 when not set.
  int GetResidueNumber() const { return residue_number_; }
  void SetResidueNumber(int number) { residue_number_ = number; }
  // The residue's position in its chain's sequence, counted by the caller (mmCIF's label_seq_id); 0 when not known.
  int GetSequenceNumber() const { return sequence_number_; }
  void SetSequenceNumber(int number) { sequence_number_ = number; }
  // The chain's letter; a blank when not set.
  char GetChainID() const { return chain_; }
  void SetChainID(char chain) { chain_ = chain; }
  // The insertion code behind the number; a blank for none.
  char GetInsertCode() const { return insert_code_; }
  void SetInsertCode(char code) { insert_code_ = code; }
  // The letter of the alternate location; a blank for none.
  char GetAlternateLocation() const { return alternate_location_; }
  void SetAlternateLocation(char location) { alternate_location_ = location; }
  // The fraction of the time that the atom is there; 1 when not set.
  float GetOccupancy() const { return occupancy_; }
  void SetOccupancy(float occupancy) { occupancy_ = occupancy; }
  // Temperature factor in square angstrom; 0 when not set.
  float GetBFactor() const { return b_factor_; }
  void SetBFactor(float b_factor) { b_factor_ = b_factor; }
  // True writes the atom as HETATM, false, the default, as ATOM.
  bool IsHetAtom() const { return het_atom_; }
  void SetHetAtom(bool het_atom) { het_atom_ = het_atom; }

 private:
  friend class NxResiduePool;

  std::string name_;
  int residue_number_ = 0;
  int sequence_number_ = 0;
  float occupancy_ = 1.0F;
  float b_factor_ = 0.0F;
  char chain_ = ' ';
  char insert_code_ = ' ';
  char alternate_location_ = ' ';
  bool het_atom_ = false;
};

}  // namespace NxChem

#endif
