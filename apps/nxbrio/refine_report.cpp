#include "refine_report.h"

#include <charconv>
#include <cmath>
#include <iterator>

#include "csv.h"
#include "geometry_report.h"
#include "nxbriofiles/text.h"
#include "report.h"
#include "table.h"

namespace nxbrio {
namespace {

using nlohmann::ordered_json;

std::string contact_text(const RefinedPlace& place) {
  return formatted("%s of the ligand and %s of the target, %.2f A apart, %.2f of the distance of least 12-6 energy",
                   place.ligand_atom.c_str(), place.target_atom.c_str(), place.contact.distance,
                   place.contact.fraction);
}

std::string overlap_text(const RefinedPlace& place) {
  return formatted("the 12-6 energy is %.4g kcal/mol, ", place.energy.twelve_six) + contact_text(place) + ". ";
}

// Sentences about an overlap with the target; empty when there is none.
std::string overlap_statement(const RefinedLigand& refined, int most_iterations) {
  const bool jammed = refined.run.overlaps != 0;
  if (refined.run.started_inside == 0) {
    return jammed ? "The ligand overlaps with the target: " + overlap_text(refined.after) : "";
  }
  std::string start = "The ligand started inside the target: " + contact_text(refined.before) + ". ";
  if (most_iterations == 0 || refined.run.start_kept != 0) {
    return start;
  }
  if (!jammed) {
    return start + "It was pushed out, first by a soft 12-6 term alone, then by both terms. ";
  }
  return start +
         (refined.run.ended == NXD_OUT_OF_ITERATIONS
              ? "The iterations ended before it was pushed out; it still overlaps: "
              : "It could not be pushed out and still overlaps: ") +
         overlap_text(refined.after);
}

std::string end_statement(const RefinedLigand& refined, int most_iterations) {
  const bool went = refined.run.iterations > 0;
  const double gradient = refined.after.energy.gradient;
  const std::string force = gradient < kGradientTolerance ? "there is no force here, but no minimum either."
                                                          : formatted("the gradient is %.3g kcal/mol/A yet.", gradient);
  switch (refined.run.ended) {
    case NXD_CONVERGED:
      return formatted(went ? "Converged: the gradient is down to %.3g kcal/mol/A."
                            : "It stood at a minimum already: the gradient is %.3g kcal/mol/A.",
                       gradient);
    case NXD_JAMMED:
      return formatted("It is jammed there, at a minimum: the gradient is %.3g kcal/mol/A.", gradient);
    case NXD_FLAT:
      return formatted(went ? "It has drifted away: the nearest atoms are %.1f A apart, and the energy is flat there."
                            : "It is far away: the nearest atoms are %.1f A apart, and the energy is flat there; "
                              "nothing was to be gained.",
                       refined.after.contact.distance);
    case NXD_LET_GO:
      return formatted("It goes away without end, and was let go: the nearest atoms are %.0f A apart.",
                       refined.after.contact.distance);
    case NXD_NO_PROGRESS:
      return "No further progress: no lower energy is to be found, though " + force;
    case NXD_OUT_OF_ITERATIONS:
      return formatted("Out of iterations, of which %d were allowed: ", most_iterations) + force;
    default:
      return "";
  }
}

std::string statement(const RefinedLigand& refined, int most_iterations) {
  return overlap_statement(refined, most_iterations) +
         (refined.run.start_kept != 0 ? "Nothing lower than the start was found: the ligand stays where it was. "
                                      : "") +
         end_statement(refined, most_iterations);
}

// Energies of atoms that overlap are large.
std::string energy_text(double value) { return formatted(std::abs(value) < 1e8 ? "%.3f" : "%.4e", value + 0.0); }

std::string energies_text(const RefineReport& report) {
  const PlaceEnergy& before = report.ligands.front().before.energy;
  const PlaceEnergy& after = report.ligands.front().after.energy;
  std::vector<Row> rows{{"", {"before", "after", "change, kcal/mol"}}};
  const auto add = [&](const char* label, double first, double last) {
    rows.push_back({label, {energy_text(first), energy_text(last), energy_text(last - first)}});
    if (report.library_unit) {
      rows.back().second.push_back(energy_text(first / kcal_per_unit()));
      rows.back().second.push_back(energy_text(last / kcal_per_unit()));
    }
  };
  if (report.library_unit) {
    rows.front().second.insert(rows.front().second.end(), {"before", "after, library unit"});
  }
  add("Coulomb", before.coulomb, after.coulomb);
  add("12-6", before.twelve_six, after.twelve_six);
  add("total", before.total(), after.total());
  return table(rows) + (report.library_unit ? library_unit_text() : "");
}

// The table of several ligands, a row for each.
std::string ligands_text(const RefineReport& report) {
  std::vector<Row> rows{ligand_header()};
  auto& header = rows.front().second;
  header.insert(header.end(), {"start", "total", "Coulomb", "12-6", "moved, A", "ended"});
  if (report.clustered) {
    header.emplace_back("in cluster");
  }
  std::size_t rank = 0;
  for (const RefinedLigand& refined : report.ligands) {
    rows.push_back(ligand_row(++rank, refined.ligand));
    auto& cells = rows.back().second;
    const double unit = report.library_unit ? kcal_per_unit() : 1.0;
    for (const double kcal : {refined.before.energy.total(), refined.after.energy.total(), refined.after.energy.coulomb,
                              refined.after.energy.twelve_six}) {
      cells.push_back(energy_text(kcal / unit));
    }
    cells.push_back(formatted("%.3f", refined.rms));
    cells.emplace_back(nxd_get_ending_name(refined.run.ended));
    if (report.clustered) {
      cells.push_back(std::to_string(refined.cluster_size));
    }
  }
  return table(rows);
}

std::string molecules_text(const RefineReport& report) {
  std::vector<const Summary*> molecules{&report.target};
  std::vector<Row> rows{{"", {"target"}}};
  if (report.ligand) {
    molecules.push_back(&*report.ligand);
    rows.front().second.emplace_back("ligand");
  }
  const auto add = [&](const char* label, auto cell) {
    rows.push_back({label, {}});
    for (const Summary* const summary : molecules) {
      rows.back().second.push_back(cell(*summary));
    }
  };
  add("atoms", [](const Summary& s) { return std::to_string(s.atoms); });
  add("net charge, e", [](const Summary& s) { return formatted("%.4f", s.net_charge); });
  add("charges from", [](const Summary& s) { return s.charge_source; });
  return table(rows);
}

ordered_json energy_json(double kcal) { return {{"kcal_per_mol", kcal}, {"energy", kcal / kcal_per_unit()}}; }

ordered_json place_json(const RefinedPlace& place) {
  return {{"coulomb", energy_json(place.energy.coulomb)},
          {"twelve_six", energy_json(place.energy.twelve_six)},
          {"total", energy_json(place.energy.total())},
          {"gradient_kcal_per_mol_A", place.energy.gradient},
          {"closest_contact",
           {{"target_atom", place.target_atom},
            {"ligand_atom", place.ligand_atom},
            {"distance_A", place.contact.distance},
            {"fraction", place.contact.fraction}}}};
}

// The JSON object for one ligand.
ordered_json run_json(const RefinedLigand& refined, int most_iterations) {
  ordered_json json;
  json["before"] = place_json(refined.before);
  json["after"] = place_json(refined.after);
  json["moved"] = {{"translation_A", refined.moved.translation},
                   {"rotation_degrees", refined.moved.rotation},
                   {"rms_A", refined.rms}};
  json["motion"] = motion_json(refined.moved.motion);
  json["iterations"] = refined.run.iterations;
  json["evaluations"] = refined.run.evaluations;
  json["ended"] = nxd_get_ending_name(refined.run.ended);
  json["started_inside"] = refined.run.started_inside != 0;
  json["overlaps"] = refined.run.overlaps != 0;
  json["start_kept"] = refined.run.start_kept != 0;
  json["statement"] = statement(refined, most_iterations);
  return json;
}

// The report of a run with a single ligand.
std::string run_text(const RefineReport& report) {
  const RefinedLigand& refined = report.ligands.front();
  return energies_text(report) + "\n" +
         formatted("  Moved: centre %.3f A, turned by %.2f degrees, atoms %.3f A (RMS).\n", refined.moved.translation,
                   refined.moved.rotation, refined.rms) +
         formatted("  Iterations: %d; evaluations: %d.\n", refined.run.iterations, refined.run.evaluations) +
         "  Closest contact: " + contact_text(refined.after) + ".\n  " + statement(refined, report.most_iterations) +
         "\n";
}

std::string shortest(double value) {
  char text[32];
  return {text, std::to_chars(std::begin(text), std::end(text), value).ptr};
}

}  // namespace

std::string refine_text(const RefineReport& report) {
  const bool several = !report.ligand;
  std::string text = several ? std::to_string(report.refined) + " ligands" : report.ligand->file;
  text += " refined at " + report.target.file + "\n\n" + molecules_text(report);
  text += notes_text(report.target.file, report.target.notes);
  text += several ? notes_text("", report.ligand_notes) : notes_text(report.ligand->file, report.ligand->notes);
  text += formatted("\nEnergy, Coulombic at dielectric %g ", static_cast<double>(report.dielectric));
  if (!report.medium.is_uniform()) {
    text.append("(").append(medium_text(report.medium)).append(") ");
  }
  text += "and 12-6, all pairs";
  if (several) {
    text += report.library_unit ? ", library unit" : ", kcal/mol";
  }
  text += "\n\n";
  text += several ? ligands_text(report) : run_text(report);
  text += "\n";
  text += written_text(several ? "ligands" : report.ligand->file, report.written);
  if (report.trajectory) {
    text += written_text("trajectory", *report.trajectory);
  }
  if (report.complex) {
    text += "  complex to " + report.complex->path + " (" + report.complex->format + ")\n";
  }
  if (report.csv) {
    text += "  table to " + *report.csv + " (csv)\n";
  }
  return text + notes_text("", report.notes);
}

ordered_json refine_json(const RefineReport& report) {
  ordered_json json;
  json["command"] = "refine";
  json["target"] = summary_json(report.target);
  if (report.ligand) {
    json["ligand"] = summary_json(*report.ligand);
  }
  json["dielectric"] = decimal(report.dielectric);
  json["medium"] = medium_json(report.medium);
  json["energy_unit"] = energy_unit_json();
  if (report.ligand) {
    json.update(run_json(report.ligands.front(), report.most_iterations));
  } else {
    json["refined"] = report.refined;
    json["faults"] = report.faults;
    json["interrupted"] = report.interrupted;
    json["ligands"] = ordered_json::array();
    std::size_t rank = 0;
    for (const RefinedLigand& refined : report.ligands) {
      ordered_json one = ligand_json(++rank, refined.ligand);
      one.update(run_json(refined, report.most_iterations));
      one["cluster_size"] = refined.cluster_size;
      json["ligands"].push_back(std::move(one));
    }
    json["ligand_notes"] = report.ligand_notes;
  }
  json["written"] = written_json(report.written);
  json["trajectory"] = report.trajectory ? written_json(*report.trajectory) : ordered_json();
  json["complex"] = nullptr;
  if (report.complex) {
    json["complex"] = {{"file", report.complex->path}, {"format", report.complex->format}};
  }
  json["notes"] = report.notes;
  return json;
}

std::string refine_csv(const RefineReport& report) {
  Csv csv;
  add_ligand_header(csv);
  csv << "start_kcal_per_mol"
      << "total_kcal_per_mol"
      << "coulomb_kcal_per_mol"
      << "twelve_six_kcal_per_mol"
      << "rms_A"
      << "iterations"
      << "ended"
      << "overlaps"
      << "cluster_size";
  csv.end_row();
  std::size_t rank = 0;
  for (const RefinedLigand& refined : report.ligands) {
    add_ligand(csv, ++rank, refined.ligand);
    csv << refined.before.energy.total() << refined.after.energy.total() << refined.after.energy.coulomb
        << refined.after.energy.twelve_six << refined.rms << refined.run.iterations
        << nxd_get_ending_name(refined.run.ended) << refined.run.overlaps << static_cast<int>(refined.cluster_size);
    csv.end_row();
  }
  return csv.text();
}

std::vector<std::pair<std::string, std::string>> refine_fields(std::size_t rank, const RefinedLigand& refined,
                                                               bool clustered) {
  std::vector<std::pair<std::string, std::string>> fields{
      {"rank", std::to_string(rank)},
      {"total_kcal_per_mol", shortest(refined.after.energy.total())},
      {"coulomb_kcal_per_mol", shortest(refined.after.energy.coulomb)},
      {"twelve_six_kcal_per_mol", shortest(refined.after.energy.twelve_six)},
      {"start_kcal_per_mol", shortest(refined.before.energy.total())},
      {"rms_A", shortest(refined.rms)},
      {"ended", nxd_get_ending_name(refined.run.ended)}};
  if (clustered) {
    fields.emplace_back("cluster_size", std::to_string(refined.cluster_size));
  }
  return fields;
}

}  // namespace nxbrio
