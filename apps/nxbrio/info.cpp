// The command that prints the contents of a structure file.
#include "commands.h"
#include "molecule.h"
#include "report.h"

namespace nxbrio {

void info(const InfoOptions& options) {
  Summary summary;
  {
    const Structure structure = read_structure(options.file, {"--select", options.select});
    const Molecule molecule(structure);
    summary = summarise(structure, molecule);
  }
  print_report(summary, options.print, info_text, info_json);
}

}  // namespace nxbrio
