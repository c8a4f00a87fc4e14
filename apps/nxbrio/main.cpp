// nxbrio: the command line. Exit status 0 when the job is done, 1 when it failed, 2 for wrong usage, 130 when it was
// interrupted. A failure is one line on standard error.
#include <fcntl.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <new>

#include "commands.h"
#include "failure.h"
#include "nxbriofiles/temporary_file.h"
#include "nxbriofiles/text.h"
#include "sudden_end.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;
// The status that shells use for the signal INT.
constexpr int kInterrupted = 130;

constexpr const char* kFormats =
    R"(Structure files are PQR, PDB, mmCIF, SDF, mol2 or XYZ, plain or gzipped, known by their ending (.pqr; .pdb, .ent;
.cif, .mmcif; .sdf, .sd, .mol; .mol2; .xyz) and failing that by their content. PQR brings charges and radii, mol2
charges. Other files, and a PQR file without any radius above 0, get Bondi radii; other files get formal charges: their
own and those of charged side chains, chain ends, phosphates of nucleotides and ions.)";

constexpr const char* kSelecting =
    R"(Selections are gemmi's, '/model/chains/residues/atoms' with parts left out: 'A', 'A,B/10-20', '(ALA,GLY)',
'CA[C]', '/2'; and the words protein, nucleic, water, hetero and all, joined by not, and, or and ( ) between blanks:
'protein and not B'. Chains go by their names in the file. Charges are those that the atoms have in the whole file.

)";

constexpr const char* kLigands =
    R"(All models of all ligand files are read. Of several ligands each has a row of its own, sorted by energy, at the first
dielectric; its energies are those that it has alone. A record that cannot be used is told on standard error and passed
over, and the exit status is 1.

)";

constexpr const char* kFormulas =
    R"(Formulas are made of numbers, names, + - * / ^ and parentheses, with blanks where one likes. 'name = formula'
defines a variable, once. '^' binds before '*' and '/', a sign before '^', and a^b^c is (a^b)^c; a^b is
exp(b log a), which is no number for a negative a. An exponent needs a decimal point before it: 1.0E5.

)";

constexpr const char* kConverting =
    R"(All models of IN are written: as MODELs of a PDB, PQR or mmCIF file and as records of a mol2, SD or XYZ file.
delphi_pdb is PDB with radius and charge in place of occupancy and temperature factor.

PDB files get the bonds of IN. So do mol2 and sdf if these reach every atom, single-atom residues apart, and not
all are single; otherwise bonds are added by distance, and all orders are set anew from geometry and valence.
--bonds file keeps to the bonds of IN, --bonds distance makes them from distances alone. xyz, pqr and mmcif hold none.

A transform is a quaternion a b c d, of any length but 0, and a translation t in angstrom. It replaces each place p
by M p + t, with M, the quaternion scaled to length 1,
  a2+b2-c2-d2  2(bc+ad)     2(bd-ac)
  2(bc-ad)     a2-b2+c2-d2  2(cd+ab)
  2(bd+ac)     2(cd-ab)     a2-b2-c2+d2
so that cos(w/2) 0 0 sin(w/2) turns the molecule about z by -w. The seven values are formulas, parted by blanks;
a formula with blanks in it stands in parentheses.

)";

constexpr const char* kFrames =
    R"(Moments are root mean square extents along the principal axes, in angstrom: sqrt(sum d^2 / n) over the atoms that
take part, at the distances d from their centre along an axis. Weighted, each atom counts by its radius cubed. Atoms
whose name starts with H or h take part with --hydrogens only, and atoms of radius 0 not at all.

)";

constexpr const char* kOrienting =
    R"(Each model of IN is turned and moved by itself: its centre to the origin, its largest extent along x, its
smallest along z, by a proper rotation. What belongs to it, say a ligand, is moved along by --with: model by model,
or every model with the only one of IN.

)";

constexpr const char* kFitting =
    R"(Atoms are paired by their order in the files, whatever their names, and all files need as many (--match order); by
chain, residue number and name (names); or by name in the residues that alignments of the chains' sequences pair, so
that two entries of a protein are compared on what they share (residues; of unlike residues the backbone). The deviation
is the least over proper rotations and translations of the pairs that take part: all but those whose name in REF starts
with H or h; with --hydrogens all. All models of a file are compared, of the reference the first.

)";

constexpr const char* kRefining =
    R"(The ligand moves as a rigid body, by translations and rotations about its centre, and the target stays. The energy
is summed over all pairs of an atom of the target and one of the ligand: Coulombic, in a uniform dielectric, as bind
gives it, and 12-6, D ((x/r)^12 - 2 (x/r)^6), with the distances x and well depths D that the Universal Force Field
gives elements (Rappe et al., J. Am. Chem. Soc. 114 (1992) 10024, table 1), their geometric means for a pair. Hydrogens
take part where there are any. The dielectric is 4 unless told otherwise, as inside a protein.

Several ligands are refined on several threads; the numbers are the same for any number of them. An SD file has the
energies as data fields. Ctrl-C ends the work: what is refined by then is written and told, and the exit status is 130.

A minimum is reached where the gradient is below 0.001 kcal/mol/A and the energy curves down nowhere. A ligand that
starts inside the target is pushed out first by the 12-6 term alone, made soft, and may get jammed. One that goes away
is let go at 1000 A. How it ended is told; that it did not converge is no failure. The energy never rises: where nothing
lower is found, the ligand is written as it was. The trajectory holds the start and the poses from which the energy has
only fallen since. All files appear, or none.

)";

int report(int status, const std::string& what) {
  std::fflush(stdout);
  std::fprintf(stderr, "nxbrio: %s\n", nxbrio::on_one_line(what).c_str());
  return status;
}

void add_parameters(CLI::App& command, std::vector<std::string>& files) {
  command
      .add_option("-p,--parameters", files,
                  "file of variables for formulas, a line 'name = formula' each; may be repeated")
      ->type_name("FILE")
      ->allow_extra_args(false);
}

void add_printing(CLI::App& command, nxbrio::Printing& print) {
  command.add_flag("--json", print.json, "print one JSON object");
  command.add_flag("-v,--verbose", print.verbose, "tell how many messages the library has, and the memory it holds");
}

void add_medium(CLI::App& command, nxbrio::MediumOptions& medium) {
  command
      .add_option("--ionic-strength", medium.ionic_strength,
                  "salt that screens the charges, mol/l, at 298 K: a number or a formula")
      ->type_name("I");
  command.add_flag("--distance-dependent", medium.distance_dependent,
                   "the dielectric constant is E times the distance");
}

void add_library_unit(CLI::App& command, bool& library_unit) {
  command.add_flag("--library-unit", library_unit, "tell energies in the library's unit too");
}

void add_csv(CLI::App& command, std::optional<std::string>& csv) {
  command.add_option("--csv", csv, "write a table, a row for each ligand")->type_name("FILE");
}

void add_format(CLI::App& command, std::optional<std::string>& format) {
  command
      .add_option("-f,--format", format,
                  "pdb, delphi_pdb, mmcif, mol2, sdf, xyz or pqr (pdb.gz and so on: gzipped) [by the ending of OUT]")
      ->type_name("WORD");
}

void add_hydrogens(CLI::App& command, bool& hydrogens) {
  command.add_flag("--hydrogens", hydrogens, "hydrogens take part");
}

void add_select(CLI::App& command, const char* option, const char* of, std::optional<std::string>& selection) {
  command
      .add_option(option, selection, "read only these atoms of " + std::string(of) + ": a chain as 'A', 'protein', ...")
      ->type_name("TEXT");
}

void add_selects(CLI::App& command, nxbrio::Sides& sides) {
  add_select(command, "--target-select", "TARGET", sides.target_select);
  add_select(command, "--ligand-select", "LIGAND", sides.ligand_select);
}

void set_up_bind(CLI::App& app, nxbrio::BindOptions& options) {
  CLI::App* bind = app.add_subcommand("bind", "Coulombic binding energy of a target and ligands");
  bind->add_option("TARGET", options.sides.target, "structure file of the target")->required();
  bind->add_option("LIGAND", options.sides.ligands,
                   "structure files of ligands, of which all models are read; none: TARGET holds the ligand");
  add_selects(*bind, options.sides);
  bind->add_option("-e,--dielectric", options.dielectrics,
                   "dielectric constant, a number or a formula; may be repeated [1, 4 and 80]")
      ->type_name("E")
      ->allow_extra_args(false);
  add_medium(*bind, options.medium);
  add_parameters(*bind, options.parameters);
  bind->add_option("-r,--residues", options.residues, "tell the N residues of each side with the strongest energies")
      ->type_name("N")
      ->check(CLI::Range(1, 1000000).description(""));
  bind->add_option("--residue-csv", options.residue_csv, "write the energies of all residues as a table")
      ->type_name("FILE");
  add_csv(*bind, options.csv);
  bind->add_option("-w,--write", options.outputs,
                   "write the complex, of several ligands that with the lowest, as .pdb, .pqr, ...; may be repeated")
      ->type_name("OUT")
      ->allow_extra_args(false);
  bind->add_flag("--orient", options.orient,
                 "first turn the complex into the principal frame of the target's atoms but hydrogens");
  add_library_unit(*bind, options.library_unit);
  add_printing(*bind, options.print);
  bind->footer(kLigands + std::string(kFormulas) + kSelecting + kFormats);
  bind->callback([&options] { nxbrio::bind(options); });
}

void set_up_info(CLI::App& app, nxbrio::InfoOptions& options) {
  CLI::App* info = app.add_subcommand("info", "what a structure file holds");
  info->add_option("FILE", options.file, "structure file")->required();
  add_select(*info, "--select", "FILE", options.select);
  add_printing(*info, options.print);
  info->footer(kSelecting + std::string(kFormats));
  info->callback([&options] { nxbrio::info(options); });
}

void set_up_convert(CLI::App& app, nxbrio::ConvertOptions& options) {
  const std::map<std::string, nxbrio::BondSource> sources{{"auto", nxbrio::BondSource::Auto},
                                                          {"file", nxbrio::BondSource::File},
                                                          {"distance", nxbrio::BondSource::Distance}};
  CLI::App* convert = app.add_subcommand("convert", "writes a structure file in another format");
  convert->add_option("IN", options.input, "structure file that is read")->required();
  convert->add_option("OUT", options.output, "structure file that is written")->required();
  add_select(*convert, "--select", "IN", options.select);
  add_format(*convert, options.format);
  convert->add_option("-t,--transform", options.transform, "moves and turns every model: 'a b c d tx ty tz'")
      ->type_name("VALUES");
  add_parameters(*convert, options.parameters);
  convert->add_option("-m,--model", options.model, "writes only the model of this number")->type_name("N");
  convert->add_option("-b,--bonds", options.bonds, "where bonds come from: auto, file or distance [auto]")
      ->type_name("WORD")
      ->transform(CLI::CheckedTransformer(sources).description(""));
  add_printing(*convert, options.print);
  convert->footer(kConverting + std::string(kFormulas) + kSelecting + kFormats);
  convert->callback([&options] { nxbrio::convert(options); });
}

void set_up_orient(CLI::App& app, nxbrio::OrientOptions& options) {
  CLI::App* orient = app.add_subcommand("orient", "turns a structure into its principal frame");
  orient->add_option("IN", options.input, "structure file that is read")->required();
  orient->add_option("OUT", options.output, "structure file that is written")->required();
  add_select(*orient, "--select", "IN", options.select);
  add_hydrogens(*orient, options.choice.hydrogens);
  orient->add_flag("--weighted", options.choice.weighted, "each atom counts by its radius cubed");
  orient->add_option("-w,--with", options.with, "moves another structure, say a ligand, along with IN; may be repeated")
      ->type_name("FILE OUT")
      ->allow_extra_args(false);
  add_format(*orient, options.format);
  add_printing(*orient, options.print);
  orient->footer(kOrienting + std::string(kFrames) + kSelecting + kFormats);
  orient->callback([&options] { nxbrio::orient(options); });
}

void set_up_moments(CLI::App& app, nxbrio::MomentsOptions& options) {
  CLI::App* moments = app.add_subcommand("moments", "extents along the principal axes, and top symmetry");
  moments->add_option("FILE", options.file, "structure file")->required();
  add_select(*moments, "--select", "FILE", options.select);
  moments->add_option("-t,--tolerance", options.tolerance, "fraction within which moments count as equal [0.01]")
      ->type_name("T");
  add_printing(*moments, options.print);
  moments->footer(kFrames + std::string(kSelecting) + kFormats);
  moments->callback([&options] { nxbrio::moments(options); });
}

void add_fit(CLI::App& command, nxbrio::FitOptions& fit) {
  const std::map<std::string, nxbrio::Match> matches{
      {"order", nxbrio::Match::Order}, {"names", nxbrio::Match::Names}, {"residues", nxbrio::Match::Residues}};
  command.add_option("--match", fit.match, "how atoms are paired: order, names or residues [order]")
      ->type_name("WORD")
      ->transform(CLI::CheckedTransformer(matches).description(""));
  command.add_option("--select", fit.select, "only these atoms of REF take part: 'CA[C]', a chain as 'A', ...")
      ->type_name("TEXT");
  add_hydrogens(command, fit.hydrogens);
}

void set_up_rms(CLI::App& app, nxbrio::RmsOptions& options) {
  CLI::App* rms = app.add_subcommand("rms", "least RMS deviation of structures from a reference, or of all pairs");
  rms->add_option("REF", options.reference, "structure file of the reference")->required();
  rms->add_option("FILE", options.files, "structure files that are compared with it");
  rms->add_flag("--all", options.all, "compares all models of all files with one another");
  rms->add_flag("--in-place", options.fit.in_place, "compare them as they stand: nothing is superposed");
  add_fit(*rms, options.fit);
  add_printing(*rms, options.print);
  rms->footer(kFitting + std::string(kSelecting) + kFormats);
  rms->callback([&options] { nxbrio::rms(options); });
}

// CLI11 has a single positional argument for the input files and OUT. This usage line shows both.
class UsageLine : public CLI::Formatter {
 public:
  explicit UsageLine(std::string files) : files_(std::move(files)) {}
  std::string make_usage(const CLI::App* /*app*/, std::string name) const override {
    return "Usage: " + name + " [OPTIONS] " + files_ + "\n";
  }

 private:
  std::string files_;
};

void set_up_superpose(CLI::App& app, nxbrio::SuperposeOptions& options) {
  CLI::App* superpose = app.add_subcommand("superpose", "moves structures onto a reference");
  superpose->add_option("REF", options.reference, "structure file of the reference")->required();
  superpose
      ->add_option("MOVING", options.moving, "structure files that are moved; the last one is OUT, which is written")
      ->required()
      ->expected(2, CLI::detail::expected_max_vector_size);
  superpose->formatter(std::make_shared<UsageLine>("REF MOVING... OUT"));
  superpose->add_flag("--matrix", options.matrix, "tell the rotations and translations");
  add_fit(*superpose, options.fit);
  add_format(*superpose, options.format);
  add_printing(*superpose, options.print);
  superpose->footer(kFitting + std::string(kSelecting) + kFormats);
  superpose->callback([&options] {
    options.output = std::move(options.moving.back());
    options.moving.pop_back();
    nxbrio::superpose(options);
  });
}

void set_up_refine(CLI::App& app, nxbrio::RefineOptions& options) {
  CLI::App* refine = app.add_subcommand("refine", "moves rigid ligands to the nearest minima of their energies");
  refine->add_option("TARGET", options.sides.target, "structure file of the target")->required();
  refine
      ->add_option("LIGAND", options.sides.ligands,
                   "structure files of ligands, of which all models are read; the last one is OUT, which is written")
      ->required()
      ->expected(1, CLI::detail::expected_max_vector_size);
  refine->formatter(std::make_shared<UsageLine>("TARGET LIGAND... OUT"));
  add_selects(*refine, options.sides);
  add_format(*refine, options.format);
  refine->add_option("-e,--dielectric", options.dielectric, "dielectric constant, a number or a formula [4]")
      ->type_name("E");
  add_medium(*refine, options.medium);
  add_parameters(*refine, options.parameters);
  refine->add_option("-n,--iterations", options.iterations, "the most iterations [500]; 0 gives energies only")
      ->type_name("N")
      ->check(CLI::Range(0, 1000000).description(""));
  refine->add_option("--best", options.best, "keep the N ligands of lowest energy")
      ->type_name("N")
      ->check(CLI::Range(1, 1000000000).description(""));
  refine
      ->add_option("--cluster", options.cluster,
                   "keep the lowest of those that stand within so many angstrom (RMS) of one another")
      ->type_name("A");
  refine->add_option("--threads", options.threads, "threads that work at once [as many as there are processors]")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  add_csv(*refine, options.csv);
  refine
      ->add_option("--trajectory", options.trajectory,
                   "write the only ligand on its way downhill, a model per pose, as .pdb or .ent")
      ->type_name("FILE");
  refine->add_option("--complex", options.complex, "write target and lowest ligand, as .pdb, .pqr, .mol2, .sdf or .xyz")
      ->type_name("FILE");
  add_library_unit(*refine, options.library_unit);
  add_printing(*refine, options.print);
  refine->footer(kRefining + std::string(kLigands) + kFormulas + kSelecting + kFormats);
  refine->callback([&options] {
    options.output = std::move(options.sides.ligands.back());
    options.sides.ligands.pop_back();
    nxbrio::refine(options);
  });
}

// Failed writes return errors instead of raising signals, so that they are reported like every failure.
void ignore_write_signals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

// Fills the numbers of standard streams that the caller closed. Otherwise the next file opened takes such a number, and
// text for the stream goes into that file.
void keep_standard_numbers() {
  for (const int stream : {0, 1, 2}) {
    if (fcntl(stream, F_GETFD) < 0) {
      static_cast<void>(open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY));  // takes the lowest free number: this
    }
  }
}

// The message about a wrong call, with the command whose help to read.
std::string complaint(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<CLI::App*> named = app.get_subcommands();
  const std::vector<std::string> strangers = app.remaining();
  if (!named.empty()) {
    return error.what() + ("; see nxbrio " + named.front()->get_name() + " --help");
  }
  if (!strangers.empty()) {
    return "no such command as '" + strangers.front() + "'; see nxbrio --help";
  }
  return error.what() + std::string("; see nxbrio --help");
}

int run(int argc, char** argv) {
  CLI::App app(
      "Coulombic binding of two molecules, what structure files hold, their conversion, principal frames,\n"
      "superpositions and the refinement of a ligand's place.",
      "nxbrio");
  app.set_version_flag("--version", "nxbrio " NXBRIO_VERSION);
  app.require_subcommand(1);
  nxbrio::BindOptions bind_options;
  nxbrio::InfoOptions info_options;
  nxbrio::ConvertOptions convert_options;
  nxbrio::OrientOptions orient_options;
  nxbrio::MomentsOptions moments_options;
  nxbrio::RmsOptions rms_options;
  nxbrio::SuperposeOptions superpose_options;
  nxbrio::RefineOptions refine_options;
  set_up_bind(app, bind_options);
  set_up_info(app, info_options);
  set_up_convert(app, convert_options);
  set_up_orient(app, orient_options);
  set_up_moments(app, moments_options);
  set_up_rms(app, rms_options);
  set_up_superpose(app, superpose_options);
  set_up_refine(app, refine_options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    app.exit(help);
  } catch (const CLI::ParseError& error) {
    return report(kWrongUsage, complaint(app, error));
  }
  return kDone;
}

// Runs the command and reports its failure. Gives the exit status; throws std::bad_alloc.
int run_reported(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const nxbrio::UsageError& error) {
    return report(kWrongUsage, error.what());
  } catch (const nxbrio::Interrupted& interrupted) {
    return report(kInterrupted, interrupted.what());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    const std::string_view what = error.what();
    const bool add = nxbrio::memory_ran_out() && !what.ends_with("out of memory");
    return report(kFailed, std::string(what).append(add ? " (memory ran out)" : ""));
  }
}

}  // namespace

int main(int argc, char** argv) {
  keep_standard_numbers();
  ignore_write_signals();
  nxbrio::remove_temporary_files_at_signals();
  const nxbrio::SuddenEndsReported reported;
  int status = kDone;
  try {
    status = run_reported(argc, argv);
  } catch (const std::bad_alloc&) {
    return nxbrio::report_out_of_memory();
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    return report(kFailed, std::string("standard output: ") + std::strerror(errno));
  }
  return status;
}
