#include "refine_report.h"

#include <cmath>

#include "geometry_report.h"
#include "report.h"
#include "table.h"
#include "text.h"

namespace nxbrio {
namespace {

using nlohmann::ordered_json;

enum class Ended { Converged, Jammed, Flat, LetGo, NoProgress, OutOfIterations };

// More is asked of the end than of the start: atoms are pressed together there, and nothing that draws makes up for it.
// Ions in contact are pressed together too, but by their charges.
bool overlaps(const RefinedPlace& place) {
  const PoseEnergy& energy = place.energy;
  return is_inside(place) || (energy.twelve_six > 0.0 && (energy.total() > 0.0 || place.contact.fraction < kPressed));
}

Ended ended(const RefineReport& report) {
  if (report.at_minimum) {
    if (overlaps(report.after)) {
      return Ended::Jammed;
    }
    return report.after.contact.distance > kOutOfTouch ? Ended::Flat : Ended::Converged;
  }
  if (report.iterations >= report.most_iterations) {
    return Ended::OutOfIterations;
  }
  const double distance = report.after.contact.distance;
  return distance > kLetGo && distance > report.before.contact.distance ? Ended::LetGo : Ended::NoProgress;
}

const char* word(Ended end) {
  constexpr std::array<const char*, 6> kWords = {"converged", "jammed",      "flat",
                                                 "let go",    "no progress", "out of iterations"};
  return kWords.at(static_cast<std::size_t>(end));
}

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
  const bool jammed = overlaps(report.after);
  if (!is_inside(report.before)) {
    return jammed ? "The ligand overlaps with the target: " + overlap_text(report.after) : "";
  }
  std::string start = "The ligand started inside the target: " + contact_text(report.before) + ". ";
  if (report.most_iterations == 0 || report.start_kept) {
    return start;
  }
  if (!jammed) {
    return start + "It was pushed out, first by a soft 12-6 term alone, then by both terms. ";
  }
  return start +
         (ended(report) == Ended::OutOfIterations ? "The iterations ended before it was pushed out; it still overlaps: "
                                                  : "It could not be pushed out and still overlaps: ") +
         overlap_text(report.after);
}

std::string end_statement(const RefineReport& report) {
  const bool went = report.iterations > 0;
  const double gradient = report.after.energy.gradient;
  const std::string force = gradient < kGradientTolerance ? "there is no force here, but no minimum either."
                                                          : formatted("the gradient is %.3g kcal/mol/A yet.", gradient);
  switch (ended(report)) {
    case Ended::Converged:
      return formatted(went ? "Converged: the gradient is down to %.3g kcal/mol/A."
                            : "It stood at a minimum already: the gradient is %.3g kcal/mol/A.",
                       gradient);
    case Ended::Jammed:
      return formatted("It is jammed there, at a minimum: the gradient is %.3g kcal/mol/A.", gradient);
    case Ended::Flat:
      return formatted(went ? "It has drifted away: the nearest atoms are %.1f A apart, and the energy is flat there."
                            : "It is far away: the nearest atoms are %.1f A apart, and the energy is flat there; "
                              "nothing was to be gained.",
                       report.after.contact.distance);
    case Ended::LetGo:
      return formatted("It goes away without end, and was let go: the nearest atoms are %.0f A apart.",
                       report.after.contact.distance);
    case Ended::NoProgress:
      return formatted("No further progress: in the end less than %.0e kcal/mol was gained, though ", kSettled) + force;
    case Ended::OutOfIterations:
      return formatted("Out of iterations, of which %d were allowed: ", report.most_iterations) + force;
  }
  return "";
}

std::string statement(const RefineReport& report) {
  return overlap_statement(report) +
         (report.start_kept ? "Nothing lower than the start was found: the ligand stays where it was. " : "") +
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
  const PoseEnergy& before = report.before.energy;
  const PoseEnergy& after = report.after.energy;
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

bool is_inside(const RefinedPlace& place) { return place.contact.fraction < kInside; }

std::string refine_text(const RefineReport& report) {
  std::string text = report.ligand.file + " refined at " + report.target.file + "\n\n" + molecules_text(report) +
                     notes_text(report.target.file, report.target.notes) +
                     notes_text(report.ligand.file, report.ligand.notes) +
                     formatted("\nEnergy, Coulombic at dielectric %g and 12-6, all pairs\n\n",
                               static_cast<double>(report.dielectric)) +
                     energies_text(report) + "\n";
  text += formatted("  Moved: centre %.3f A, turned by %.2f degrees, atoms %.3f A (RMS).\n", report.translation,
                    report.rotation, report.rms);
  text += formatted("  Iterations: %d; evaluations: %d.\n", report.iterations, report.evaluations);
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
  auto json = ordered_json::object();
  json["command"] = "refine";
  json["target"] = summary_json(report.target);
  json["ligand"] = summary_json(report.ligand);
  json["dielectric"] = decimal(report.dielectric);
  json["energy_unit"] = energy_unit_json();
  json["before"] = place_json(report.before);
  json["after"] = place_json(report.after);
  json["moved"] = {{"translation_A", report.translation}, {"rotation_degrees", report.rotation}, {"rms_A", report.rms}};
  json["motion"] = motion_json(report.motion);
  json["iterations"] = report.iterations;
  json["evaluations"] = report.evaluations;
  json["ended"] = word(ended(report));
  json["started_inside"] = is_inside(report.before);
  json["overlaps"] = overlaps(report.after);
  json["start_kept"] = report.start_kept;
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
