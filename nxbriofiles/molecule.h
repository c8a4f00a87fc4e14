// Structures as molecules, and what is kept with a molecule beyond what the molecule layer knows: under tags of the
// generic data, so that it is copied and deleted with it. C++20.
#ifndef NXBRIOFILES_MOLECULE_H
#define NXBRIOFILES_MOLECULE_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nxbriochem/toolkit/nxchem.h>

#include "structure.h"

namespace nxbrio::files {

// Gives the structure the charges and elements that its file lacks, and makes it a molecule. The handle; `path` becomes
// the molecule's file name and, where the record has no title that is a name, its stem the molecule's. Throws Failure.
int make_molecule(Structure structure, const std::string& path);
// Makes a molecule of this name of a structure that lacks nothing. Throws Failure.
int build_molecule(const Structure& structure, const std::string& name, const std::string& path);

// Adds the notes that go by the atoms themselves: on chains, charges and radii. Residues must be numbered.
void add_notes_on_atoms(Structure& structure);

NxChem::NxMolBase& model(int mol);

// What a molecule says, as far as structure files hold it: of one that was read, and of any other.
Structure structure_of(const NxChem::NxMolBase& mol);

// Texts under a tag, one after the other.
std::vector<std::string> texts_of(const NxChem::NxMolBase& mol, const char* tag);
int number_of_texts(const NxChem::NxMolBase& mol, const char* tag);
void set_texts(NxChem::NxMolBase& mol, const char* tag, const std::vector<std::string>& texts);
// The k-th of them, kept with the molecule; null when there is none.
const char* text_of(const NxChem::NxMolBase& mol, const char* tag, int k);

inline constexpr const char* kFormatTag = "nxf_format";
inline constexpr const char* kModelTag = "nxf_model";
inline constexpr const char* kChargesTag = "nxf_charges";
inline constexpr const char* kRadiiTag = "nxf_radii";
inline constexpr const char* kNotesTag = "nxf_notes";
// How many of the notes are about the file.
inline constexpr const char* kNotesOnFileTag = "nxf_notes_on_file";
// A byte per atom index.
inline constexpr const char* kRemarksTag = "nxf_remarks";
inline constexpr const char* kTitleTag = "nxf_title";
// Letters, and names in the file, in the order of the file.
inline constexpr const char* kChainsTag = "nxf_chains";
inline constexpr const char* kChainNamesTag = "nxf_chain_names";
// The place of each atom's chain among them, by atom index, where chains have no letter.
inline constexpr const char* kChainPlacesTag = "nxf_chain_places";
// Data fields: names and texts by turns.
inline constexpr const char* kFieldsTag = "nxf_fields";

}  // namespace nxbrio::files

#endif
