// The ligands of one command: all models of all files, one after the other.
#ifndef NXBRIOCHEM_APPS_NXBRIO_LIGANDS_H
#define NXBRIOCHEM_APPS_NXBRIO_LIGANDS_H

#include <deque>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "csv.h"
#include "structure.h"
#include "table.h"

namespace nxbrio {

// The files of both sides, and which atoms of them are read.
struct Sides {
  std::string target;
  // When empty, the target's file also holds the ligand.
  std::vector<std::string> ligands;
  std::optional<std::string> target_select;
  std::optional<std::string> ligand_select;

  // The files of both sides.
  std::vector<std::string> files() const;
};

// Throws UsageError where there is no ligand.
void check_sides(const Sides& sides);
// Reads the target: the first model.
Structure read_target(const Sides& sides);

// A ligand, or what is wrong with its record.
struct Ligand {
  std::optional<Structure> structure;
  std::string fault;
};

// Reads ligands one by one. When a file cannot be read any further, its rest is skipped.
class Ligands {
 public:
  // Reads the first two. Throws UsageError for a faulty selection.
  Ligands(const Sides& sides, const Structure& target);

  // Whether there is more than one.
  bool are_several() const { return several_; }
  // The next ligand; nothing at the end. Throws UsageError for a faulty selection.
  std::optional<Ligand> next();

 private:
  std::optional<Ligand> read_next();
  void add_model(Ligand& ligand) const;
  void refuse_shared_atoms(const Structure& ligand) const;

  const Structure& target_;
  Selection selection_;
  std::deque<std::string> files_;
  // Only the first model is read, because target and ligand come from the same model.
  bool only_first_;
  // Whether atoms are selected, so that the sides may have atoms in common by mistake.
  bool selected_;
  std::unique_ptr<ModelReader> reader_;
  std::deque<Ligand> ahead_;
  bool several_ = false;
};

// The number of ligands, for a progress bar; 0 when counting does not pay or is impossible.
std::size_t count_ligands(const Sides& sides);
// Reads the only ligand. Throws Failure for a faulty one.
Structure read_only_ligand(Ligands& ligands);

// The columns of a table that identify a ligand.
struct LigandName {
  explicit LigandName(const Structure& structure);

  std::string file;
  int model;
  std::string name;
  int atoms;
  // Elementary charges.
  double net_charge = 0.0;
};

// The header cells with which all tables of ligands begin: "rank", "ligand" and so on.
Row ligand_header();
Row ligand_row(std::size_t rank, const LigandName& ligand);
nlohmann::ordered_json ligand_json(std::size_t rank, const LigandName& ligand);
// "rank,file,model,name,atoms,net_charge_e"
void add_ligand_header(Csv& csv);
void add_ligand(Csv& csv, std::size_t rank, const LigandName& ligand);

// Notes on many ligands: each text once, with the number of ligands that it applies to.
class NoteCounts {
 public:
  void add(const std::string& note);
  void add(const std::vector<std::string>& notes);
  // "3 ligands: no charges"
  std::vector<std::string> notes() const;

 private:
  std::vector<std::pair<std::string, std::size_t>> counts_;
  std::size_t others_ = 0;
};

}  // namespace nxbrio

#endif
