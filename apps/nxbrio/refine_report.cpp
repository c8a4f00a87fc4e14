#include "refine_report.h"

#include <cmath>

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

// Whether it was inside the target, or is, where that needs saying: sentences or nothing.
std::string overlap_statement(const RefineReport& report) {
  const bool jammed = report.run.overlaps != 0;
  if (report.run.started_inside == 0) {
    return jammed ? "The ligand overlaps with the target: " + overlap_text(report.after) : "";
  }
  std::string start = "The ligand started inside the target: " + contact_text(report.before) + ". ";
  if (report.most_iterations == 0 || report.run.start_kept != 0) {
    return start;
  }
  if (!jammed) {
    return start + "It was pushed out, first by a soft 12-6 term alone, then by both terms. ";
  }
  return start +
         (report.run.ended == NXD_OUT_OF_ITERATIONS
              ? "The iterations ended before it was pushed out; it still overlaps: "
              : "It could not be pushed out and still overlaps: ") +
         overlap_text(report.after);
}

std::string end_statement(const RefineReport& report) {
  const bool went = report.run.iterations > 0;
  const double gradient = report.after.energy.gradient;
  const std::string force = gradient < kGradientTolerance ? "there is no force here, but no minimum either."
                                                          : formatted("the gradient is %.3g kcal/mol/A yet.", gradient);
  switch (report.run.ended) {
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
                       report.after.contact.distance);
    case NXD_LET_GO:
      return formatted("It goes away without end, and was let go: the nearest atoms are %.0f A apart.",
                       report.after.contact.distance);
    case NXD_NO_PROGRESS:
      return "No further progress: no lower energy is to be found, though " + force;
    case NXD_OUT_OF_ITERATIONS:
      return formatted("Out of iterations, of which %d were allowed: ", report.most_iterations) + force;
    default:
      return "";
  }
}

std::string statement(const RefineReport& report) {
  return overlap_statement(report) +
         (report.run.start_kept != 0 ? "Nothing lower than the start was found: the ligand stays where it was. " : "") +
         end_statement(report);
}

// Energies of atoms that overlap are large.
std::string energy_text(double value) { return formatted(std::abs(value) < 1e8 ? "%.3f" : "%.4e", value + 0.0); }

Row energy_row(const std::string& label, double before, double after) {
  return {label,
          {energy_text(before), energy_text(after), energy_text(after - before), energy_text(before / kcal_per_unit()),
           energy_text(after / kcal_per_unit())}};
}

std::string energies_text(const RefineReport& report) {
  const PlaceEnergy& before = report.before.energy;
  const PlaceEnergy& after = report.after.energy;
  return table({{"", {"before", "after", "change, kcal/mol", "before", "after, library unit"}},
                energy_row("Coulomb", before.coulomb, after.coulomb),
                energy_row("12-6", before.twelve_six, after.twelve_six),
                energy_row("total", before.total(), after.total())});
}

std::string molecules_text(const RefineReport& report) {
  const auto row = [&](const char* label, auto cell) { return Row{label, {cell(report.target), cell(report.ligand)}}; };
  return table({{"", {"target", "ligand"}},
                row("atoms", [](const Summary& s) { return std::to_string(s.atoms); }),
                row("net charge, e", [](const Summary& s) { return formatted("%.4f", s.net_charge); }),
                row("charges from", [](const Summary& s) { return s.charge_source; })});
}

ordered_json energy_json(double kcal) { return {{"energy", kcal / kcal_per_unit()}, {"kcal_per_mol", kcal}}; }

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

}  // namespace

std::string refine_text(const RefineReport& report) {
  std::string text = report.ligand.file + " refined at " + report.target.file + "\n\n" + molecules_text(report) +
                     notes_text(report.target.file, report.target.notes) +
                     notes_text(report.ligand.file, report.ligand.notes) +
                     formatted("\nEnergy, Coulombic at dielectric %g and 12-6, all pairs\n\n",
                               static_cast<double>(report.dielectric)) +
                     energies_text(report) + "\n";
  text += formatted("  Moved: centre %.3f A, turned by %.2f degrees, atoms %.3f A (RMS).\n", report.translation,
                    report.rotation, report.rms);
  text += formatted("  Iterations: %d; evaluations: %d.\n", report.run.iterations, report.run.evaluations);
  text += "  Closest contact: " + contact_text(report.after) + ".\n";
  text += "  " + statement(report) + "\n\n" + written_text(report.ligand.file, report.written);
  if (report.trajectory) {
    text += written_text("trajectory", *report.trajectory);
  }
  if (report.complex) {
    text += "  complex to " + report.complex->path + " (" + report.complex->format + ")\n";
  }
  return text + notes_text("", report.notes) + "\n";
}

ordered_json refine_json(const RefineReport& report) {
  ordered_json json;
  json["command"] = "refine";
  json["target"] = summary_json(report.target);
  json["ligand"] = summary_json(report.ligand);
  json["dielectric"] = decimal(report.dielectric);
  json["energy_unit"] = energy_unit_json();
  json["before"] = place_json(report.before);
  json["after"] = place_json(report.after);
  json["moved"] = {{"translation_A", report.translation}, {"rotation_degrees", report.rotation}, {"rms_A", report.rms}};
  json["motion"] = motion_json(report.motion);
  json["iterations"] = report.run.iterations;
  json["evaluations"] = report.run.evaluations;
  json["ended"] = nxd_get_ending_name(report.run.ended);
  json["started_inside"] = report.run.started_inside != 0;
  json["overlaps"] = report.run.overlaps != 0;
  json["start_kept"] = report.run.start_kept != 0;
  json["statement"] = statement(report);
  json["written"] = written_json(report.written);
  json["trajectory"] = report.trajectory ? written_json(*report.trajectory) : ordered_json();
  json["complex"] = nullptr;
  if (report.complex) {
    json["complex"] = {{"file", report.complex->path}, {"format", report.complex->format}};
  }
  json["notes"] = report.notes;
  return json;
}

}  // namespace nxbrio
