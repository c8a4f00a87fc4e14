// XYZ: a line with the number of atoms, a comment line, and for each atom a line of an element and coordinates.
#include "element.h"
#include "failure.h"
#include "parsers.h"
#include "text.h"

namespace nxbrio::files {

Structure parse_xyz(const RecordText& record) {
  Structure structure;
  structure.model = record.number;
  Lines lines(record.text, record.first_line);
  lines.next();
  const std::optional<int> count = parse_integer(trimmed(lines.line()));
  if (!count || *count < 0) {
    throw Failure(record.path, record.first_line, "number of atoms " + in_quotes(trimmed(lines.line())) + " is none");
  }
  if (lines.next()) {
    structure.title = trimmed(lines.line());
  }
  while (static_cast<long long>(structure.atoms.size()) < *count && lines.next()) {
    const std::vector<std::string_view> f = fields(lines.line(), 5);
    if (f.size() < 4) {
      throw Failure(record.path, lines.number(), "fewer than 4 fields where an atom has an element and x, y, z");
    }
    Atom atom;
    // A symbol, an atomic number, or a name such as "C1".
    const std::optional<int> number = parse_integer(f[0]);
    atom.element = number && *number > 0 && *number <= 118 ? *number : atomic_number(f[0]);
    if (atom.element == 0 && !number) {
      atom.element = guess_element(f[0], "UNL");
      structure.guessed_elements += atom.element != 0 ? 1 : 0;
    }
    atom.name = (number || f[0].size() <= 2 ? element_symbol(atom.element) + std::to_string(structure.atoms.size() + 1)
                                            : std::string(f[0]));
    atom.residue = "UNL";
    atom.residue_number = 1;
    atom.het = true;
    for (std::size_t i = 0; i < 3; ++i) {
      std::string fault;
      const std::optional<float> value = parse_real(f[1 + i], fault);
      if (!value) {
        throw Failure(record.path, lines.number(),
                      formatted("%c coordinate ", "xyz"[i]) + in_quotes(f[1 + i]) + " " + fault);
      }
      atom.position[i] = *value;
    }
    structure.atoms.push_back(std::move(atom));
  }
  if (static_cast<long long>(structure.atoms.size()) < *count) {
    throw Failure(record.path, record.first_line,
                  formatted("%d atoms are promised and %zu there", *count, structure.atoms.size()));
  }
  if (structure.atoms.empty()) {
    throw Failure(record.path, record.first_line, "no atoms");
  }
  return structure;
}

}  // namespace nxbrio::files
