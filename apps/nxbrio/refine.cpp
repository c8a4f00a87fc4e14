// The command that moves rigid ligands to the nearest minima of their energy with the target.
#include <nxbriofiles/nxbriofiles.h>

#include <algorithm>
#include <filesystem>
#include <thread>
#include <utility>

#include "commands.h"
#include "failure.h"
#include "formula.h"
#include "interruption.h"
#include "nxbriofiles/text.h"
#include "progress.h"
#include "refine_report.h"
#include "refine_run.h"
#include "sudden_end.h"

namespace nxbrio {
namespace {

// The value for the inside of a protein: in vacuum charges would count too much, and in water hardly at all.
constexpr float kUsualDielectric = 4.0F;
// Ligands per thread that are read and refined at a time.
constexpr std::size_t kBatch = 64;

void parse_formulas(const RefineOptions& options, RefineReport& report) {
  Formulas formulas;
  for (const std::string& path : options.parameters) {
    formulas.read_parameters(path);
  }
  report.dielectric =
      options.dielectric ? formulas.positive_value("--dielectric", *options.dielectric) : kUsualDielectric;
  report.medium = parse_medium(options.medium, formulas);
  forget_variables();
}

std::optional<double> parse_cutoff(const RefineOptions& options) {
  if (!options.cluster) {
    return std::nullopt;
  }
  std::string fault;
  const std::optional<float> value = parse_real(*options.cluster, fault);
  if (!value || *value < 0.0F) {
    throw UsageError("--cluster: " + in_quotes(*options.cluster) + " is not a finite number from 0 on");
  }
  return decimal(*value);
}

// OUT and the other output files.
struct Outputs {
  WrittenFile ligand;
  std::optional<WrittenFile> trajectory;
  std::optional<WrittenFile> complex;
};

bool ends_as_pdb(const std::string& path) {
  const std::string ending = lower_case(std::filesystem::path(path).extension().string());
  return ending == ".pdb" || ending == ".ent";
}

Outputs check_outputs(const RefineOptions& options) {
  std::vector<std::string> inputs = options.parameters;
  const std::vector<std::string> read = options.sides.files();
  inputs.insert(inputs.end(), read.begin(), read.end());
  Outputs outputs{checked_output("OUT", options.output, options.format, inputs), {}, {}};
  std::vector<WrittenFile> all{outputs.ligand};
  const auto add = [&](const char* option, const std::optional<std::string>& path,
                       const std::optional<std::string>& format) -> std::optional<WrittenFile> {
    if (!path) {
      return std::nullopt;
    }
    refuse_written(option, *path, all);
    return all.emplace_back(checked_output(option, *path, format, inputs));
  };
  if (options.trajectory && !ends_as_pdb(*options.trajectory)) {
    throw UsageError("--trajectory: " + *options.trajectory + " ends in neither .pdb nor .ent");
  }
  outputs.trajectory = add("--trajectory", options.trajectory, "pdb");
  outputs.complex = add("--complex", options.complex, std::nullopt);
  add_table("--csv", options.csv, inputs, all);
  for (const WrittenFile& output : all) {
    check_writable(output.path);
  }
  return outputs;
}

// Adds notes on missing parts of the energy.
void add_notes(const Structure& structure, std::vector<std::string>& notes) {
  const auto& atoms = structure.atoms;
  if (std::none_of(atoms.begin(), atoms.end(), [](const Atom& atom) { return atom.element == 1; })) {
    notes.emplace_back("no hydrogens: the 12-6 term has none to keep off");
  }
}

// A ligand that is kept, and its pose.
struct Kept {
  RefinedLigand refined;
  Structure ligand;
  Pose pose;
};

void sort_by_energy(std::vector<Kept>& kept) {
  std::stable_sort(kept.begin(), kept.end(), [](const Kept& a, const Kept& b) {
    return a.refined.after.energy.total() < b.refined.after.energy.total();
  });
}

// Keeps only the first `most`.
void cut(std::vector<Kept>& kept, const std::optional<int>& most) {
  if (most && kept.size() > static_cast<std::size_t>(*most)) {
    kept.erase(kept.begin() + *most, kept.end());
  }
}

// Keeps the lowest of each cluster, with the number of ligands in it.
void keep_leaders(std::vector<Kept>& kept, double cutoff) {
  std::vector<const Structure*> structures;
  std::vector<Pose> poses;
  for (const Kept& one : kept) {
    structures.push_back(&one.ligand);
    poses.push_back(one.pose);
  }
  const std::vector<std::size_t> leader_of = cluster(structures, poses, cutoff);
  std::vector<Kept> leaders;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (leader_of[i] == i) {
      kept[i].refined.cluster_size = static_cast<std::size_t>(std::count(leader_of.begin(), leader_of.end(), i));
      leaders.push_back(std::move(kept[i]));
    }
  }
  kept = std::move(leaders);
}

// Refines the ligands of one command, and keeps those that are wanted.
class Refinement {
 public:
  Refinement(const RefineOptions& options, RefineReport& report)
      : options_(options),
        report_(report),
        cutoff_(parse_cutoff(options)),
        target_(read_target(options.sides)),
        molecule_(target_),
        prepared_(target_, molecule_, report.medium, report.dielectric, options.iterations),
        ligands_(options.sides, target_) {
    report.target = summarise(target_, molecule_);
    add_notes(target_, report.target.notes);
    report.clustered = cutoff_.has_value();
  }

  void run() {
    if (ligands_.are_several()) {
      if (options_.trajectory) {
        throw UsageError("--trajectory: one ligand is needed, not several");
      }
      run_several();
    } else {
      run_one();
    }
    for (const Kept& one : kept_) {
      report_.ligands.push_back(one.refined);
    }
  }

  // Writes all output files, or none.
  void write(const Outputs& outputs) {
    StagedFiles files;
    std::vector<Structure> structures;
    for (const Kept& one : kept_) {
      structures.push_back(moved(one.ligand, one.pose));
    }
    const Structure best = structures.front();
    const Ensemble models =
        make_written_models(outputs.ligand, BondSource::Auto, std::move(structures), report_.written);
    std::size_t rank = 0;
    for (const Model& model : models) {
      ++rank;
      for (const auto& [name, text] : refine_fields(rank, kept_[rank - 1].refined, report_.clustered)) {
        require(nxf_set_field(name.c_str(), text.c_str(), model.molecule.handle()), "a data field");
      }
    }
    write_models(files, outputs.ligand, models);
    if (outputs.trajectory) {
      write_trajectory(files, *outputs.trajectory);
    }
    if (outputs.complex) {
      report_.complex = outputs.complex;
      report_.notes = write_complex(files, {*outputs.complex}, target_, best);
    }
    if (options_.csv) {
      report_.csv = options_.csv;
      write_text(files, *options_.csv, refine_csv(report_));
    }
    files.commit();
  }

 private:
  void run_one() {
    Structure ligand = read_only_ligand(ligands_);
    const Molecule molecule(ligand);
    report_.ligand = summarise(ligand, molecule);
    drop_repeated_notes(report_.target, *report_.ligand);
    add_notes(ligand, report_.ligand->notes);
    RefineRun run(prepared_, std::move(ligand), molecule, options_.threads);
    run.run_and_tell();
    way_ = run.way();
    // The trajectory ends at the pose that is written.
    kept_.push_back({run.result(), run.ligand(), way_.back()});
    report_.refined = 1;
  }

  void run_several() {
    const std::size_t threads = options_.threads > 0 ? static_cast<std::size_t>(options_.threads)
                                                     : std::max(std::thread::hardware_concurrency(), 1U);
    Progress progress("ligands", count_ligands(options_.sides));
    const Interruption interruption;
    NoteCounts notes;
    for (bool more = true; more && !Interruption::asked();) {
      std::deque<RefineRun> runs;
      while (more && runs.size() < kBatch * threads && !Interruption::asked()) {
        more = read(runs, notes, progress);
      }
      const std::vector<std::exception_ptr> faults = run_all(runs, static_cast<int>(threads), progress);
      take(runs, faults, progress);
    }
    report_.interrupted = Interruption::asked();
    report_.ligand_notes = notes.notes();
    if (cutoff_) {
      keep_leaders(kept_, *cutoff_);
      cut(kept_, options_.best);
    }
  }

  // Reads one more ligand; false at the end.
  bool read(std::deque<RefineRun>& runs, NoteCounts& notes, Progress& progress) {
    std::optional<Ligand> ligand = ligands_.next();
    if (!ligand) {
      return false;
    }
    try {
      if (!ligand->structure) {
        throw Failure(ligand->fault);
      }
      std::vector<std::string> said = ligand->structure->notes;
      add_notes(*ligand->structure, said);
      const Molecule molecule(*ligand->structure);
      runs.emplace_back(prepared_, std::move(*ligand->structure), molecule, 1);
      notes.add(said);
    } catch (const Failure& failure) {
      tell(failure, progress);
      progress.step();
    }
    return true;
  }

  // Collects the results of finished runs.
  void take(std::deque<RefineRun>& runs, const std::vector<std::exception_ptr>& faults, Progress& progress) {
    for (std::size_t i = 0; i < runs.size(); ++i) {
      try {
        if (faults[i]) {
          std::rethrow_exception(faults[i]);
        }
        const int ended = runs[i].result().run.ended;
        if (ended != NXD_NOT_STARTED && ended != NXD_INTERRUPTED) {
          kept_.push_back({runs[i].result(), runs[i].ligand(), runs[i].pose()});
          ++report_.refined;
        }
      } catch (const Failure& failure) {
        tell(failure, progress);
      }
    }
    sort_by_energy(kept_);
    if (!cutoff_) {
      cut(kept_, options_.best);
    }
  }

  // Prints the fault of one ligand; throws it again when memory ran out.
  void tell(const Failure& failure, Progress& progress) {
    if (memory_ran_out()) {
      throw Failure(failure);
    }
    progress.clear();
    tell_fault(failure.what());
    ++report_.faults;
  }

  void write_trajectory(StagedFiles& files, const WrittenFile& file) {
    std::vector<Structure> structures;
    for (const Pose& pose : way_) {
      structures.push_back(moved(kept_.front().ligand, pose));
      structures.back().model = static_cast<int>(structures.size());
    }
    write_models(files, file,
                 make_written_models(file, BondSource::Auto, std::move(structures), report_.trajectory.emplace()));
  }

  const RefineOptions& options_;
  RefineReport& report_;
  std::optional<double> cutoff_;
  Structure target_;
  Molecule molecule_;
  RefineTarget prepared_;
  Ligands ligands_;
  std::vector<Kept> kept_;
  // The trajectory of a single ligand.
  std::vector<Pose> way_;
};

RefineReport refine_files(const RefineOptions& options) {
  RefineReport report;
  report.most_iterations = options.iterations;
  report.library_unit = options.library_unit;
  check_sides(options.sides);
  parse_formulas(options, report);
  const Outputs outputs = check_outputs(options);
  Refinement refinement(options, report);
  refinement.run();
  if (!report.ligands.empty()) {
    refinement.write(outputs);
  }
  return report;
}

}  // namespace

void refine(const RefineOptions& options) {
  const RefineReport report = refine_files(options);
  if (!report.ligands.empty()) {
    print_report(report, options.print, refine_text, refine_json);
  }
  if (report.interrupted) {
    throw Interrupted(formatted("interrupted; ligands that were refined by then: %zu", report.refined));
  }
  if (report.faults > 0) {
    throw Failure(formatted("%zu of %zu ligands failed", report.faults, report.faults + report.refined));
  }
}

}  // namespace nxbrio
