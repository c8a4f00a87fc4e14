// PQR: atom records with charge and radius. Fields are usually separated by white space:
//
//   ATOM serial name residue [chain] number x y z charge radius [element]
//
// where number may carry an insertion code (52A), and chain and number, or record name and serial, may touch (A1000,
// HETATM10000). Programs that use PDB's columns let other fields run together as well. So a record that cannot be read
// by fields is read by columns: names and numbers where PDB has them; charge, radius and an element from column 55 on.
// Text after the known fields is a fault: it may be the rest of another record.
#include <algorithm>
#include <cctype>
#include <optional>

#include "element.h"
#include "failure.h"
#include "parsers.h"
#include "structure.h"
#include "text.h"

namespace nxbrio::files {
namespace {

bool is_letter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }
bool is_digit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// The text of an atom record after the record name; nothing for any other record.
std::optional<std::string_view> after_record_name(std::string_view line) {
  for (const std::string_view name : {"ATOM", "HETATM"}) {
    if (starts_with_ignoring_case(line, name)) {
      const std::string_view rest = line.substr(name.size());
      if (rest.empty() || !is_letter(rest[0])) {
        return rest;
      }
    }
  }
  return std::nullopt;
}

// An element symbol that some programs append to the record.
bool is_symbol(std::string_view field) {
  return field.size() <= 2 && is_letter(field.front()) && is_letter(field.back()) && atomic_number(field) != 0;
}

// "52", "-5", "52A": number and insertion code.
bool set_residue_number(Atom& atom, std::string_view field) {
  if (!field.empty() && is_letter(field.back())) {
    atom.insertion_code = field.back();
    field.remove_suffix(1);
  }
  const std::optional<int> number = parse_integer(field);
  atom.residue_number = number.value_or(0);
  return number.has_value();
}

// x, y, z, charge, radius.
bool set_numbers(Atom& atom, const std::array<std::string_view, 5>& texts, std::string& fault) {
  static constexpr std::array<const char*, 5> kWhat{"x coordinate ", "y coordinate ", "z coordinate ", "charge ",
                                                    "radius "};
  std::array<float, 5> values{};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    std::string why;
    const std::optional<float> value = parse_real(texts[i], why);
    if (!value) {
      fault = kWhat[i] + in_quotes(texts[i]) + " " + why;
      return false;
    }
    values[i] = *value;
  }
  if (values[4] < 0.0F) {
    fault = "radius " + in_quotes(texts[4]) + " is negative";
    return false;
  }
  atom.position = {values[0], values[1], values[2]};
  atom.charge = values[3];
  atom.radius = values[4];
  return true;
}

// Reads one model.
class Reader {
 public:
  explicit Reader(const RecordText& record) : path_(record.path) {
    structure_.model = record.number;
    structure_.charges = Charges::File;
  }

  // Reads one atom record.
  void read(std::string_view line, std::string_view rest, std::size_t number) {
    std::string fault;
    std::optional<Atom> atom = by_fields(rest, fault);
    const bool glued_name = atom && atom->name.size() > 5;
    if (!atom || glued_name) {
      std::string column_fault;
      std::optional<Atom> by_column = by_columns(line, column_fault);
      if (by_column) {
        atom = std::move(by_column);
      } else if (fault.empty()) {
        fault = column_fault;
      }
    }
    if (!atom) {
      throw Failure(path_, number, fault);
    }
    atom->het = starts_with_ignoring_case(line, "HETATM");
    if (atom->element == 0) {
      atom->element = guess_element(atom->name, atom->residue);
    }
    structure_.radii_given = structure_.radii_given || atom->radius > 0.0F;
    structure_.atoms.push_back(std::move(*atom));
  }

  bool has_atoms() const { return !structure_.atoms.empty(); }
  void set_model(int number) { structure_.model = number; }

  Structure finish() { return std::move(structure_); }

 private:
  // Reads an atom by fields. Returns nothing, and the fault, when the fields are no atom.
  std::optional<Atom> by_fields(std::string_view rest, std::string& fault) {
    std::vector<std::string_view> f = fields(rest, 16);
    int element = 0;
    if (f.size() > 9 && is_symbol(f.back())) {
      element = atomic_number(f.back());
      f.pop_back();
    }
    if (f.size() != 9 && f.size() != 10) {
      fault = std::to_string(f.size() + 1) + " fields where an atom has 10 or, with a chain, 11";
      return std::nullopt;
    }
    Atom atom;
    atom.name = f[1];
    atom.residue = f[2];
    std::string_view number = f[f.size() - 6];
    // "_" means no chain, in files where other atoms have one.
    std::string_view chain = f.size() == 10 && f[3] != "_" ? f[3] : std::string_view();
    if (chain.empty() && number.size() > 1 && is_letter(number[0]) && (is_digit(number[1]) || number[1] == '-')) {
      chain = number.substr(0, 1);
      number.remove_prefix(1);
    }
    if (!set_residue_number(atom, number)) {
      fault = "residue number " + in_quotes(number) + " is not an integer";
      return std::nullopt;
    }
    const std::size_t n = f.size();
    if (!set_numbers(atom, {f[n - 5], f[n - 4], f[n - 3], f[n - 2], f[n - 1]}, fault)) {
      return std::nullopt;
    }
    letters_.set(atom, chain);
    atom.element = element;
    return atom;
  }

  // Reads an atom by columns. Returns nothing when it is no atom; the fault is set only when the decimal points of the
  // coordinates are in the right columns.
  std::optional<Atom> by_columns(std::string_view line, std::string& fault) {
    if (line.size() < 57 || line[34] != '.' || line[42] != '.' || line[50] != '.') {
      fault = "not an atom record";
      return std::nullopt;
    }
    Atom atom;
    atom.name = columns(line, 12, 16);
    atom.residue = columns(line, 17, 21);
    if (!set_residue_number(atom, columns(line, 22, 27))) {
      fault = "residue number " + in_quotes(columns(line, 22, 27)) + " is not an integer";
      return std::nullopt;
    }
    std::vector<std::string_view> tail = fields(line.substr(54), 4);
    if (tail.size() == 3 && is_symbol(tail.back())) {
      atom.element = atomic_number(tail.back());
      tail.pop_back();
    }
    if (tail.size() > 2) {
      fault = "more than charge, radius and element behind the coordinates";
      return std::nullopt;
    }
    const bool run_together = tail.size() < 2;
    const std::string_view charge = run_together ? columns(line, 54, 62) : tail[0];
    const std::string_view radius = run_together ? columns(line, 62, 69) : tail[1];
    if (!set_numbers(atom, {columns(line, 30, 38), columns(line, 38, 46), columns(line, 46, 54), charge, radius},
                     fault)) {
      return std::nullopt;
    }
    letters_.set(atom, columns(line, 21, 22));
    return atom;
  }

  const std::string& path_;
  Structure structure_;
  ChainLetters letters_;
};

}  // namespace

Structure parse_pqr(const RecordText& record) {
  Reader reader(record);
  for (Lines lines(record.text, record.first_line); lines.next();) {
    const std::string_view line = lines.line();
    if (const std::optional<std::string_view> rest = after_record_name(line)) {
      reader.read(line, *rest, lines.number());
    } else if (!reader.has_atoms() && fields(line, 1) == std::vector<std::string_view>{"MODEL"}) {
      reader.set_model(parse_integer(trimmed(line.substr(line.find("MODEL") + 5))).value_or(record.number));
    }
  }
  return reader.finish();
}

}  // namespace nxbrio::files
