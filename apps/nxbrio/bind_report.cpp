#include "bind_report.h"

#include <nxbriodock/nxbriodock.h>

#include <algorithm>
#include <cmath>

#include "csv.h"
#include "geometry_report.h"
#include "nxbriofiles/text.h"
#include "report.h"
#include "table.h"

namespace nxbrio {
namespace {

using nlohmann::ordered_json;

std::string plain(double dielectric) { return formatted("%g", dielectric); }

double in_kj(const Medium& medium, const Energy& energy) {
  const double kj = energy.kcal * kKilojoulePerKilocalorie;
  return medium.is_uniform() ? decimal(static_cast<float>(kj)) : kj;
}

ordered_json energy_json(const BindReport& report, const Energy& energy) {
  return {{"dielectric", decimal(energy.dielectric)},
          {"kcal_per_mol", energy.kcal},
          {"kJ_per_mol", in_kj(report.medium, energy)},
          {"energy", energy.units}};
}

// The table of energies for a single ligand, a row for each dielectric.
std::string energies_text(const BindReport& report) {
  std::vector<Row> rows{{"dielectric", {"kcal/mol", "kJ/mol"}}};
  for (const Energy& energy : report.ligands.front().energies) {
    rows.push_back({formatted("%10g", decimal(energy.dielectric)),
                    {formatted("%.4f", energy.kcal), formatted("%.4f", in_kj(report.medium, energy))}});
    if (report.library_unit) {
      rows.back().second.push_back(formatted("%.4f", energy.units));
    }
  }
  if (report.library_unit) {
    rows.front().second.emplace_back("library unit");
  }
  return table(rows);
}

// The table of several ligands, a row for each.
std::string ligands_text(const BindReport& report) {
  std::vector<Row> rows{ligand_header()};
  for (const float dielectric : report.dielectrics) {
    rows.front().second.push_back("at " + plain(decimal(dielectric)));
  }
  std::size_t rank = 0;
  for (const BoundLigand& bound : report.ligands) {
    rows.push_back(ligand_row(++rank, bound.ligand));
    for (const Energy& energy : bound.energies) {
      rows.back().second.push_back(formatted("%.4f", report.library_unit ? energy.units : energy.kcal));
    }
  }
  return table(rows);
}

// The strongest residues of the first ligand and the target.
std::string residues_text(const BindReport& report) {
  std::vector<ResidueEnergy> residues = report.ligands.front().residues;
  std::string text;
  for (const int side : {NXD_TARGET, NXD_LIGAND}) {
    std::vector<ResidueEnergy> of_side;
    std::copy_if(residues.begin(), residues.end(), std::back_inserter(of_side),
                 [&](const ResidueEnergy& one) { return one.side == side; });
    std::stable_sort(of_side.begin(), of_side.end(), [](const ResidueEnergy& a, const ResidueEnergy& b) {
      return std::abs(a.kcal.front()) > std::abs(b.kcal.front());
    });
    const std::size_t all = of_side.size();
    of_side.resize(std::min(of_side.size(), report.residues));
    std::vector<Row> rows{{"residue", {}}};
    for (const float dielectric : report.dielectrics) {
      rows.front().second.push_back("at " + plain(decimal(dielectric)));
    }
    for (const ResidueEnergy& one : of_side) {
      rows.push_back({one.residue, {}});
      for (const double kcal : one.kcal) {
        rows.back().second.push_back(formatted("%.4f", kcal));
      }
    }
    text += formatted("\nThe strongest residues of the %s with the whole %s, %zu of %zu, kcal/mol\n\n",
                      side == NXD_TARGET ? "target" : "ligand", side == NXD_TARGET ? "ligand" : "target",
                      of_side.size(), all) +
            table(rows);
  }
  return text;
}

std::string files_text(const BindReport& report) {
  std::string text;
  for (const WrittenFile& file : report.written) {
    text += "  complex to " + file.path + " (" + file.format + ")\n";
  }
  for (const std::optional<std::string>& csv : {report.csv, report.residue_csv}) {
    text += csv ? "  table to " + *csv + " (csv)\n" : "";
  }
  return (text.empty() ? "" : "\n") + text + notes_text("", report.notes);
}

ordered_json residues_json(const BoundLigand& bound) {
  auto json = ordered_json::array();
  for (const ResidueEnergy& one : bound.residues) {
    json.push_back(
        {{"side", one.side == NXD_TARGET ? "target" : "ligand"}, {"residue", one.residue}, {"kcal_per_mol", one.kcal}});
  }
  return json;
}

ordered_json bound_json(const BindReport& report, std::size_t rank, const BoundLigand& bound) {
  ordered_json json = ligand_json(rank, bound.ligand);
  json["energies"] = ordered_json::array();
  for (const Energy& energy : bound.energies) {
    json["energies"].push_back(energy_json(report, energy));
  }
  json["coincident_pairs"] = bound.coincident_pairs;
  if (!bound.residues.empty()) {
    json["residues"] = residues_json(bound);
  }
  return json;
}

void add_energy_header(Csv& csv, const BindReport& report) {
  for (const float dielectric : report.dielectrics) {
    csv << "kcal_per_mol_at_" + plain(decimal(dielectric));
  }
}

}  // namespace

std::string bind_text(const BindReport& report) {
  std::vector<const Summary*> molecules{&report.target};
  std::vector<std::string> titles{"target"};
  if (report.ligand) {
    molecules.push_back(&*report.ligand);
    titles.emplace_back("ligand");
  }
  std::vector<Row> rows{{"", titles}};
  const std::vector<Row> of_molecules = named_molecule_rows(molecules);
  rows.insert(rows.end(), of_molecules.begin(), of_molecules.end());
  std::string text = report.target.file + " with " +
                     (report.ligand ? report.ligand->file : std::to_string(report.ligands.size()) + " ligands") +
                     "\n\n" + table(rows) + kMultipoleText + notes_text(report.target.file, report.target.notes) +
                     (report.ligand ? notes_text(report.ligand->file, report.ligand->notes) : "") +
                     notes_text("", report.ligand_notes);
  if (report.orientation) {
    text += "\nTurned into the principal frame of the target, without hydrogens; the places above are in it\n\n";
    text += orientation_text(*report.orientation);
  }
  text += "\nCoulombic binding energy " + medium_text(report.medium);
  if (report.ligand) {
    text += "\n\n" + energies_text(report);
  } else {
    text += (report.library_unit ? ", library unit" : ", kcal/mol") + std::string("\n\n") + ligands_text(report);
  }
  if (report.library_unit) {
    text += library_unit_text();
  }
  if (const long long pairs = report.ligand ? report.ligands.front().coincident_pairs : 0; pairs > 0) {
    text += formatted("  Note: %lld pairs of charged atoms stand at the same place and are ", pairs) +
            (report.medium.is_uniform() ? "left out of the sum.\n" : "counted as if a little apart.\n");
  }
  if (report.residues > 0) {
    text += residues_text(report);
  }
  return text + files_text(report);
}

ordered_json bind_json(const BindReport& report) {
  auto json = ordered_json::object();
  json["command"] = "bind";
  json["target"] = summary_json(report.target);
  json["orientation"] = nullptr;
  if (report.orientation) {
    json["orientation"] = orientation_json(*report.orientation);
  }
  json["medium"] = medium_json(report.medium);
  json["energy_unit"] = energy_unit_json();
  if (report.ligand) {
    const ordered_json bound = bound_json(report, 1, report.ligands.front());
    json["ligand"] = summary_json(*report.ligand);
    for (const char* key : {"energies", "coincident_pairs", "residues"}) {
      if (bound.contains(key)) {
        json[key] = bound[key];
      }
    }
  } else {
    json["ligands"] = ordered_json::array();
    std::size_t rank = 0;
    for (const BoundLigand& bound : report.ligands) {
      json["ligands"].push_back(bound_json(report, ++rank, bound));
    }
    json["faults"] = report.faults;
    json["ligand_notes"] = report.ligand_notes;
  }
  json["written"] = ordered_json::array();
  for (const WrittenFile& file : report.written) {
    json["written"].push_back({{"file", file.path}, {"format", file.format}});
  }
  json["notes"] = report.notes;
  return json;
}

std::string bind_csv(const BindReport& report) {
  Csv csv;
  add_ligand_header(csv);
  add_energy_header(csv, report);
  csv << "coincident_pairs";
  csv.end_row();
  std::size_t rank = 0;
  for (const BoundLigand& bound : report.ligands) {
    add_ligand(csv, ++rank, bound.ligand);
    for (const Energy& energy : bound.energies) {
      csv << energy.kcal;
    }
    csv << static_cast<int>(bound.coincident_pairs);
    csv.end_row();
  }
  return csv.text();
}

std::string residue_csv(const BindReport& report) {
  Csv csv;
  csv << "rank"
      << "file"
      << "model"
      << "name"
      << "side"
      << "residue";
  add_energy_header(csv, report);
  csv.end_row();
  int rank = 0;
  for (const BoundLigand& bound : report.ligands) {
    ++rank;
    for (const ResidueEnergy& one : bound.residues) {
      csv << rank << bound.ligand.file << bound.ligand.model << bound.ligand.name
          << (one.side == NXD_TARGET ? "target" : "ligand") << one.residue;
      for (const double kcal : one.kcal) {
        csv << kcal;
      }
      csv.end_row();
    }
  }
  return csv.text();
}

}  // namespace nxbrio
