// Output of molecules as structure files: the file types by format word, and the stream that writes them. C++ only.
//
// All formats: the molecule's active conformer is written. Atoms are numbered from 1 in index order, and so are bonds;
// bonds that do not join two atoms are left out. An atom without name bears its element symbol, "X" for a dummy atom;
// an atom without residue record belongs to the unknown ligand "UNL" 1, and "UNL" stands for an empty residue name.
// Control characters in names and titles become blanks, blanks around names go, and blanks within names become '_'
// where a format separates fields by blanks. Numbers that a format cannot hold refuse the molecule: those that are not
// finite, in every format, and what is said below.
//
// PDB (wwPDB format 3.3, atom records of 80 columns):
// - TITLE when there is a title; ATOM or HETATM (the residue record tells; HETATM without one); TER after the last ATOM
//   record of each run of one chain; CONECT with every bond at both its atoms, as often as its order says; END. Several
//   molecules in one stream stand between MODEL and ENDMDL each, TITLE and CONECT with them since the molecules may
//   differ (the standard has neither there); one beyond 9999 is refused.
// - Atom names start in column 14, but in column 13 when they have four characters or start with their element's
//   two-letter symbol; longer ones are cut. A dummy atom's columns 77-78 are blank, so that readers take the element
//   from the name; its name, when it has four characters, blanks included, stands as it is.
// - Residue names stand right-aligned in columns 18-20; a fourth character takes column 21, which readers that know
//   two-letter chain names (gemmi) take for the first letter of one; longer names are cut.
// - Coordinates are %8.3f; those too wide for it have fewer decimals, down to none (12345.678 is "12345.68"). Occupancy
//   and temperature factor, %6.2f, likewise. What does not fit without decimals refuses the molecule.
// - Serials beyond 99999 and residue numbers beyond 9999 are hybrid-36 numbers: "A0000" is 100000, "A000" is 10000.
//   After the capitals come small letters, which gemmi takes for capitals: it reads serials up to 43770015 and residue
//   numbers up to 1223055. Residue numbers below -999 and beyond 2436111, serials beyond 87440031, and formal charges
//   below -9 and beyond 9 refuse the molecule.
// - Flavour kNxPdbFlavorDelPhi: the radius, %6.2f, in columns 55-60 and the partial charge, %7.3f, in columns 61-67 in
//   place of occupancy and temperature factor, with fewer decimals where they are too wide.
//
// mol2: molecule, atoms, bonds, substructures (equal residue records are one). Sybyl types come from elements, bond
// orders and formal charges; USER_CHARGES when some partial charge is not zero, else NO_CHARGES, without a column of
// charges. Bond types are 1, 2, 3, ar (six-membered rings), am, and un for an order that is not set.
//
// SDF: V2000, and V3000 for more than 999 atoms or bonds. Bonds of unset order are written as single. Formal charges
// below -15 and beyond 15 refuse the molecule, and so do coordinates in V2000 that do not fit %10.4f even without
// decimals. A dummy atom is "*".
//
// XYZ: the element symbol, "X" for a dummy atom, and three coordinates with six decimals.
//
// PQR: fields separated by blanks: ATOM or HETATM, serial, name, residue name, chain, residue number with the insertion
// code on it, x, y, z, charge, radius. Every atom of a file has a chain field, "_" where it has no chain, or none has,
// where no atom has one: readers that go by fields (MDAnalysis) rely on that. Fields up to z stand in the columns of a
// PDB file, for readers that go by columns (gemmi), unless that leaves no blank between two of them: residue numbers
// beyond 999 or below -99 behind a chain, serials beyond 99999, long names, and y and z from 1000 and down to -100 move
// what follows, as far as blanks take it up. The title is a REMARK; TER ends each molecule, END the file. Several
// molecules are MODELs as in a PDB file.
#ifndef NXBRIOCHEM_TOOLKIT_NXMOLOSTREAM_H
#define NXBRIOCHEM_TOOLKIT_NXMOLOSTREAM_H

#include <memory>
#include <string>
#include <string_view>

#include <nxbriochem/export.h>
#include <nxbriochem/toolkit/nxchem.h>

namespace NxChem {

enum class NxFileType { Undefined = 0, Pdb, Mol2, Sdf, Xyz, Pqr };

// The file type of a format word: "pdb", "mol2", "sdf", "xyz", "pqr", compared exactly. Undefined for any other word
// and for null.
NX_API NxFileType NxGetFileType(const char* word);

// PDB output flavour: radius and charge take the columns of occupancy and temperature factor.
inline constexpr unsigned kNxPdbFlavorDelPhi = 24;

// A structure file being written. It appears whole at close() or not at all: molecules are collected in memory, written
// to a temporary file beside the target, ".nxtmp" with the process id and a number, and renamed over it. Nothing
// touches the disk before close(), so a process that ends earlier leaves no trace; one that is killed within close()
// may leave the temporary file. close() does not wait for the disk: what a power cut leaves is up to the file system.
//
// Symbolic links are followed. A file that is replaced keeps its permission bits, less set-user-ID and set-group-ID,
// and its owner and group where the process may give them; where the group changes, it may do what others may. Access
// control lists and extended attributes are not kept, and hard links keep the old contents.
//
// Some targets are written in place, where a failure may leave a part: an existing file that can be written but not
// replaced (its directory cannot be written, it is another user's in a sticky directory, or it is a mount point), which
// loses its old contents first; a terminal, pipe or device; and a descriptor of the process, such as /dev/stdout or
// /dev/fd/3, which is written from where it stands, behind what standard output has printed so far, not truncated.
class NX_API nxmolostream {
 public:
  // A stream without file and format.
  nxmolostream();
  nxmolostream(const nxmolostream&) = delete;
  nxmolostream& operator=(const nxmolostream&) = delete;
  // Discards what was not closed.
  ~nxmolostream();

  // Opens a file for writing; what an open stream collected is discarded. False, with a warning "Unable to open %s for
  // writing: %s" (name, system's reason), when the file cannot be made.
  bool open(const char* filename);
  // The format of the molecules that are written from now on; Undefined takes it off. One format per file: set it once.
  void SetFormat(NxFileType type);
  // A format's flavour, kept for when the format is set. 0 is the plain format.
  void SetFlavor(NxFileType type, unsigned flavor);
  // Writes the whole file and makes it appear. False, with a warning "Unable to write %s: %s", when it could not be
  // written; false too when a molecule was refused, as write() has reported, and when no file is open. Then no file
  // appears and an older one is untouched.
  bool close();

  // Appends a molecule in the stream's format. False, with a warning that names the molecule and the atom, when the
  // format cannot hold it; false, with a warning, when no file is open or no format is set.
  bool write(const NxMolBase& mol);

 private:
  struct NX_LOCAL Impl;
  std::unique_ptr<Impl> impl_;
};

// As stream.write(mol).
NX_API bool NxWriteMolecule(nxmolostream& stream, const NxMolBase& mol);

}  // namespace NxChem

#endif
