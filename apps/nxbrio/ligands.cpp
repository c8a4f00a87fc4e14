#include "ligands.h"

#include <nxbriofiles/nxbriofiles.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <tuple>

#include "failure.h"
#include "nxbriofiles/text.h"

namespace nxbrio {
namespace {

// The most different texts that are kept; further ones are only counted.
constexpr std::size_t kMostNotes = 30;

}  // namespace

std::vector<std::string> Sides::files() const {
  std::vector<std::string> all = ligands;
  all.push_back(target);
  return all;
}

void check_sides(const Sides& sides) {
  if (sides.ligands.empty() && (!sides.target_select || !sides.ligand_select)) {
    throw UsageError("LIGAND is required, or --target-select and --ligand-select for both in one file");
  }
}

Structure read_target(const Sides& sides) {
  return read_structure(sides.target, {"--target-select", sides.target_select});
}

Ligands::Ligands(const Sides& sides, const Structure& target)
    : target_(target),
      selection_{"--ligand-select", sides.ligand_select},
      files_(sides.ligands.begin(), sides.ligands.end()),
      only_first_(sides.ligands.empty()),
      selected_(sides.target_select || sides.ligand_select) {
  if (only_first_) {
    files_.push_back(sides.target);
  }
  while (ahead_.size() < 2) {
    std::optional<Ligand> ligand = read_next();
    if (!ligand) {
      break;
    }
    ahead_.push_back(std::move(*ligand));
  }
  several_ = ahead_.size() > 1;
  for (Ligand& ligand : ahead_) {
    add_model(ligand);
  }
}

// Appends the model number to a ligand's name when there are several.
void Ligands::add_model(Ligand& ligand) const {
  if (several_ && ligand.structure) {
    ligand.structure->label += " model " + std::to_string(ligand.structure->model);
  }
}

std::optional<Ligand> Ligands::next() {
  if (ahead_.empty()) {
    std::optional<Ligand> ligand = read_next();
    if (ligand) {
      add_model(*ligand);
    }
    return ligand;
  }
  Ligand ligand = std::move(ahead_.front());
  ahead_.pop_front();
  return ligand;
}

std::optional<Ligand> Ligands::read_next() {
  while (reader_ != nullptr || !files_.empty()) {
    try {
      if (reader_ == nullptr) {
        const std::string file = std::move(files_.front());
        files_.pop_front();
        reader_ = std::make_unique<ModelReader>(file, selection_);
      }
      std::optional<Structure> structure = reader_->next();
      if (structure) {
        refuse_shared_atoms(*structure);
        if (only_first_) {
          reader_ = nullptr;
        }
        return Ligand{std::move(structure), ""};
      }
      reader_ = nullptr;
    } catch (const Failure& failure) {
      return Ligand{std::nullopt, failure.what()};
    }
  }
  return std::nullopt;
}

// Throws Failure when an atom is selected on both sides.
void Ligands::refuse_shared_atoms(const Structure& ligand) const {
  std::error_code ignored;
  if (!selected_ || !std::filesystem::equivalent(target_.path, ligand.path, ignored)) {
    return;
  }
  const auto key = [](const Atom& atom) {
    return std::tuple(atom.chain, atom.residue_number, atom.insertion_code, atom.name, atom.position);
  };
  std::set<decltype(key(Atom{}))> of_target;
  for (const Atom& atom : target_.atoms) {
    of_target.insert(key(atom));
  }
  const auto shared = std::count_if(ligand.atoms.begin(), ligand.atoms.end(),
                                    [&](const Atom& atom) { return of_target.count(key(atom)) > 0; });
  if (shared > 0) {
    throw Failure(ligand.label,
                  formatted("%td atom%s selected for target and ligand both", shared, shared == 1 ? " is" : "s are"));
  }
}

std::size_t count_ligands(const Sides& sides) {
  if (isatty(STDERR_FILENO) != 1 || sides.ligand_select) {
    return 0;
  }
  std::size_t count = 0;
  for (const std::string& path : sides.ligands) {
    std::error_code ignored;
    const int reader = std::filesystem::is_regular_file(path, ignored) ? nxf_open_reader(path.c_str(), nullptr) : 0;
    if (reader == 0) {
      return 0;
    }
    while (nxf_skip_record(reader) == 1) {
      ++count;
    }
    nxf_close_reader(reader);
  }
  return count;
}

Structure read_only_ligand(Ligands& ligands) {
  std::optional<Ligand> ligand = ligands.next();
  if (!ligand->structure) {
    throw Failure(ligand->fault);
  }
  return std::move(*ligand->structure);
}

LigandName::LigandName(const Structure& structure)
    : file(structure.path),
      model(structure.model),
      name(structure.name),
      atoms(static_cast<int>(structure.atoms.size())) {
  for (const Atom& atom : structure.atoms) {
    net_charge += static_cast<double>(atom.charge);
  }
}

Row ligand_header() { return {"", {"file", "model", "atoms", "net charge, e"}}; }

Row ligand_row(std::size_t rank, const LigandName& ligand) {
  return {
      formatted("%3zu  ", rank) + ligand.name,
      {ligand.file, std::to_string(ligand.model), std::to_string(ligand.atoms), formatted("%.4f", ligand.net_charge)}};
}

nlohmann::ordered_json ligand_json(std::size_t rank, const LigandName& ligand) {
  return {{"rank", rank},          {"file", ligand.file},
          {"model", ligand.model}, {"name", ligand.name},
          {"atoms", ligand.atoms}, {"net_charge_e", decimal(static_cast<float>(ligand.net_charge))}};
}

void add_ligand_header(Csv& csv) {
  csv << "rank"
      << "file"
      << "model"
      << "name"
      << "atoms"
      << "net_charge_e";
}

void add_ligand(Csv& csv, std::size_t rank, const LigandName& ligand) {
  csv << static_cast<int>(rank) << ligand.file << ligand.model << ligand.name << ligand.atoms
      << decimal(static_cast<float>(ligand.net_charge));
}

void NoteCounts::add(const std::string& note) {
  const auto at =
      std::find_if(counts_.begin(), counts_.end(), [&](const auto& counted) { return counted.first == note; });
  if (at != counts_.end()) {
    ++at->second;
  } else if (counts_.size() < kMostNotes) {
    counts_.emplace_back(note, 1);
  } else {
    ++others_;
  }
}

void NoteCounts::add(const std::vector<std::string>& notes) {
  for (const std::string& note : notes) {
    add(note);
  }
}

std::vector<std::string> NoteCounts::notes() const {
  std::vector<std::string> notes;
  for (const auto& [note, count] : counts_) {
    notes.push_back(formatted("%zu ligand%s: ", count, count == 1 ? "" : "s") + note);
  }
  if (others_ > 0) {
    notes.push_back(formatted("%zu further notes on ligands, which info tells", others_));
  }
  return notes;
}

}  // namespace nxbrio
