// PDB and mmCIF through gemmi. Only this source includes gemmi's readers, since they compile slowly. gemmi reads an
// invalid number as zero or NaN, so coordinates are checked in the text, where the line is still known.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <gemmi/cif.hpp>
#include <gemmi/mmcif.hpp>
#include <gemmi/pdb.hpp>
#include <limits>
#include <unordered_map>

#include "element.h"
#include "failure.h"
#include "parsers.h"
#include "structure.h"
#include "text.h"

namespace nxbrio::files {
namespace {

using AtomIndex = std::unordered_map<const gemmi::Atom*, int>;

// Throws gemmi's message as one printable line; "Problem in line 12: ..." becomes a line number.
[[noreturn]] void rethrow(const RecordText& record, std::string_view message) {
  constexpr std::string_view kProblem = "Problem in line ";
  std::size_t line = 0;
  if (starts_with(message, kProblem)) {
    message.remove_prefix(kProblem.size());
    const char* const begin = message.data();
    const auto end = std::from_chars(begin, begin + message.size(), line).ptr;
    message.remove_prefix(std::min(message.size(), static_cast<std::size_t>(end - begin) + 2));
  }
  std::string what(message.substr(0, std::min(message.find_first_of("\r\n"), std::size_t{200})));
  std::replace_if(
      what.begin(), what.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  if (!what.empty() && what.back() == ':') {
    what.pop_back();
  }
  throw line > 0 ? Failure(record.path, record.first_line + line - 1, what) : Failure(record.path, what);
}

// ---- From gemmi's model ----

// The alternate location that a residue position is taken in: the one with the highest mean occupancy, the first of
// equals; 0 when there are none. The position is one residue or, in microheterogeneity, several of one number.
char best_location(const gemmi::Residue* begin, const gemmi::Residue* end) {
  std::vector<char> order;
  std::map<char, std::pair<double, int>> sums;
  for (const gemmi::Residue* residue = begin; residue != end; ++residue) {
    for (const gemmi::Atom& atom : residue->atoms) {
      if (atom.altloc != '\0') {
        if (sums.find(atom.altloc) == sums.end()) {
          order.push_back(atom.altloc);
        }
        sums[atom.altloc].first += static_cast<double>(atom.occ);
        sums[atom.altloc].second += 1;
      }
    }
  }
  char best = '\0';
  double best_mean = -1.0;
  for (const char location : order) {
    const double mean = sums[location].first / sums[location].second;
    if (mean > best_mean) {
      best = location;
      best_mean = mean;
    }
  }
  return best;
}

// Whether this atom is taken among the residue's atoms of the same name: the one without location or in the residue's
// chosen location, else the one with the highest occupancy, the first of equal ones.
bool is_taken(const gemmi::Residue& residue, const gemmi::Atom& atom, char location) {
  if (atom.altloc == '\0' || atom.altloc == location) {
    return true;
  }
  for (const gemmi::Atom& other : residue.atoms) {
    if (&other != &atom && other.name == atom.name &&
        (other.altloc == '\0' || other.altloc == location || other.occ > atom.occ ||
         (other.occ == atom.occ && &other < &atom))) {
      return false;
    }
  }
  return true;
}

class Collector {
 public:
  explicit Collector(Structure& structure) : structure_(structure) {}

  void collect(const gemmi::Model& model) {
    // Chains with one-character names keep them, also when longer names come first.
    for (const gemmi::Chain& chain : model.chains) {
      if (chain.name.size() <= 1) {
        letters_.letter(chain.name);
      }
    }
    for (const gemmi::Chain& chain : model.chains) {
      const gemmi::Residue* const end = chain.residues.data() + chain.residues.size();
      for (const gemmi::Residue* at = chain.residues.data(); at != end;) {
        const gemmi::Residue* const next =
            std::find_if(at, end, [at](const gemmi::Residue& other) { return other.seqid != at->seqid; });
        collect_position(chain, at, next);
        at = next;
      }
    }
    if (left_out_ > 0) {
      structure_.notes.push_back(formatted("%d atoms in other alternate locations are left out", left_out_));
    }
  }

  // The index of a taken atom; -1 for others.
  int index(const gemmi::Atom* atom) const {
    const auto at = index_.find(atom);
    return at != index_.end() ? at->second : -1;
  }
  const AtomIndex& indices() const { return index_; }

 private:
  void collect_position(const gemmi::Chain& chain, const gemmi::Residue* begin, const gemmi::Residue* end) {
    const char location = best_location(begin, end);
    for (const gemmi::Residue* residue = begin; residue != end; ++residue) {
      const bool shared = end - begin > 1;
      const bool in_other_location =
          shared && std::all_of(residue->atoms.begin(), residue->atoms.end(), [location](const gemmi::Atom& atom) {
            return atom.altloc != '\0' && atom.altloc != location;
          });
      for (const gemmi::Atom& atom : residue->atoms) {
        if (in_other_location || !is_taken(*residue, atom, location)) {
          ++left_out_;
        } else {
          add(chain, *residue, atom);
        }
      }
    }
  }

  void add(const gemmi::Chain& chain, const gemmi::Residue& residue, const gemmi::Atom& from) {
    Atom atom;
    atom.name = from.name;
    atom.residue = residue.name;
    letters_.set(atom, chain.name);
    atom.residue_number = residue.seqid.num.has_value() ? *residue.seqid.num : 0;
    atom.insertion_code = residue.seqid.icode;
    atom.element = from.element.atomic_number();
    if (atom.element == 0 && from.element.elem == gemmi::El::X) {
      atom.element = guess_element(atom.name, atom.residue);
      structure_.guessed_elements += atom.element != 0 ? 1 : 0;
    }
    atom.het = residue.het_flag == 'H';
    atom.formal_charge = from.charge;
    atom.occupancy = from.occ;
    atom.b_factor = from.b_iso;
    atom.position = {static_cast<float>(from.pos.x), static_cast<float>(from.pos.y), static_cast<float>(from.pos.z)};
    index_.emplace(&from, static_cast<int>(structure_.atoms.size()));
    structure_.atoms.push_back(std::move(atom));
  }

  Structure& structure_;
  ChainLetters letters_;
  AtomIndex index_;
  int left_out_ = 0;
};

// Bonds of unordered pairs of atoms; a pair that is named more often keeps its highest order.
class Bonds {
 public:
  void add(int a, int b, int order) {
    if (a >= 0 && b >= 0 && a != b) {
      int& known = orders_[std::minmax(a, b)];
      known = std::max(known, order);
    }
  }
  std::vector<Bond> list() const {
    std::vector<Bond> bonds;
    bonds.reserve(orders_.size());
    for (const auto& [ends, order] : orders_) {
      bonds.push_back({ends.first, ends.second, order});
    }
    return bonds;
  }

 private:
  std::map<std::pair<int, int>, int> orders_;
};

// A bond between atoms named by their serials.
struct Conect {
  int serial;
  int partner;
  int order;
};

// CONECT records, which gemmi ignores. An atom that is named twice in one record is bonded twice: the order is 2.
std::vector<Conect> read_conect_records(std::string_view text) {
  constexpr int kNone = std::numeric_limits<int>::min();
  const auto serial = [](std::string_view line, std::size_t column) {
    char digits[] = "     ";
    const std::string_view field = columns(line, column, column + 5);
    std::copy(field.begin(), field.end(), digits);
    return field.empty() ? kNone : gemmi::pdb_impl::read_serial(digits);
  };
  std::vector<Conect> records;
  for (Lines lines(text); lines.next();) {
    if (!starts_with_ignoring_case(lines.line(), "CONECT")) {
      continue;
    }
    std::map<int, int> partners;
    for (std::size_t column = 11; column <= 26; column += 5) {
      ++partners[serial(lines.line(), column)];
    }
    partners.erase(kNone);
    for (const auto& [partner, order] : partners) {
      records.push_back({serial(lines.line(), 6), partner, std::min(order, 3)});
    }
  }
  return records;
}

// Bonds of a model: the covalent connections, which are disulfide bridges and links, and the CONECT records.
std::vector<Bond> collect_bonds(const gemmi::Structure& from, gemmi::Model& model, const std::vector<Conect>& conect,
                                const Collector& atoms) {
  Bonds bonds;
  for (const gemmi::Connection& connection : from.connections) {
    if (connection.type == gemmi::Connection::Covale || connection.type == gemmi::Connection::Disulf) {
      bonds.add(atoms.index(model.find_cra(connection.partner1, true).atom),
                atoms.index(model.find_cra(connection.partner2, true).atom), 1);
    }
  }
  if (conect.empty()) {
    return bonds.list();
  }
  std::unordered_map<int, int> by_serial;
  for (const auto& [atom, index] : atoms.indices()) {
    by_serial.emplace(atom->serial, index);
  }
  const auto index = [&](int serial) {
    const auto at = by_serial.find(serial);
    return at != by_serial.end() ? at->second : -1;
  };
  for (const Conect& record : conect) {
    bonds.add(index(record.serial), index(record.partner), record.order);
  }
  return bonds.list();
}

// ---- PDB records ----

bool is_atom_record(std::string_view line) {
  return starts_with_ignoring_case(line, "ATOM") || starts_with_ignoring_case(line, "HETA");
}

// Charge and radius of an atom, in the columns of occupancy and temperature factor.
struct ChargeAndRadius {
  float charge;
  float radius;
};

// The records of a model that are passed to gemmi: only those needed, padded to the width that gemmi expects, with an
// element in columns 77-78. Other lines are empty, so that line numbers stay right.
class PdbRecords {
 public:
  explicit PdbRecords(const RecordText& record) : record_(record) {
    look_over();
    for (Lines lines(record.text, record.first_line); lines.next();) {
      take(lines.line(), lines.number());
      needed_ += '\n';
    }
  }

  const std::string& needed() const { return needed_; }
  // By serial, where the file has them.
  const std::unordered_map<int, ChargeAndRadius>& charges() const { return charges_; }
  bool has_charges() const { return delphi_; }
  int guessed_elements() const { return guessed_; }
  // Whether columns 73-80 hold something other than the format's fields.
  bool is_cut() const { return cut_; }

 private:
  static constexpr std::size_t kColumns = 80;
  static constexpr std::size_t kOldColumns = 72;

  static std::string_view name_of(std::string_view line) { return columns(line, 12, 16); }
  static std::string_view residue_of(std::string_view line) { return columns(line, 17, 20); }

  // Whether columns 77-80 are an element's symbol and a charge, each of them or blank.
  static bool has_known_ending(std::string_view line) {
    const std::string_view symbol = columns(line, 76, 78);
    const std::string_view charge = columns(line, 78, 80);
    if (!symbol.empty() && atomic_number(symbol) == 0 && upper_case(symbol) != "X") {
      return false;
    }
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    const auto sign = [](char c) { return c == '+' || c == '-'; };
    return charge.empty() ||
           (charge.size() == 2 && ((digit(charge[0]) && sign(charge[1])) || (sign(charge[0]) && digit(charge[1]))));
  }

  // A charge of three decimals ends in column 67, where a temperature factor has ended.
  static bool has_charge_columns(std::string_view line) {
    return line.size() >= 67 && line[57] == '.' && line[63] == '.' && line[66] >= '0' && line[66] <= '9';
  }

  // Whether a name of up to three letters starts in column 13, where two-letter symbols do.
  static bool starts_early(std::string_view line) {
    return line[12] != ' ' && (line[12] < '0' || line[12] > '9') && name_of(line).size() < 4;
  }

  // Finds the properties common to all atom records.
  void look_over() {
    bool any = false;
    delphi_ = true;
    for (Lines lines(record_.text, record_.first_line); lines.next();) {
      const std::string_view line = lines.line();
      if (!is_atom_record(line)) {
        continue;
      }
      check_coordinates(line, lines.number());
      any = true;
      delphi_ = delphi_ && has_charge_columns(line);
      cut_ = cut_ || !has_known_ending(line);
      aligned_ = aligned_ && !(is_standard_residue(residue_of(line)) && starts_early(line));
    }
    delphi_ = delphi_ && any;
  }

  void check_coordinates(std::string_view line, std::size_t number) const {
    if (line.size() < 54) {
      throw Failure(record_.path, number, "the record ends before its coordinates do");
    }
    for (std::size_t i = 0; i < 3; ++i) {
      const std::string_view field = columns(line, 30 + 8 * i, 38 + 8 * i);
      std::string fault;
      if (!parse_real(field, fault)) {
        throw Failure(record_.path, number, formatted("%c coordinate ", "xyz"[i]) + in_quotes(field) + " " + fault);
      }
    }
  }

  void take(std::string_view line, std::size_t number) {
    for (const std::string_view record : {"ATOM", "HETA", "MODEL ", "ENDMDL", "TER", "LINK", "SSBOND"}) {
      if (starts_with_ignoring_case(line, record)) {
        const std::size_t from = needed_.size();
        needed_.append(line.substr(0, cut_ && is_atom_record(line) ? kOldColumns : kColumns));
        needed_.resize(from + kColumns, ' ');
        if (is_atom_record(line)) {
          complete(std::string_view(needed_).substr(from), number, from);
        }
        return;
      }
    }
  }

  // Fills in the element, and removes charge and radius.
  void complete(std::string_view line, std::size_t number, std::size_t from) {
    if (delphi_) {
      take_charge(line, number);
      needed_.replace(from + 54, 13, "  1.00  0.00 ");
    }
    if (columns(line, 76, 78).empty()) {
      const std::string symbol = element_symbol(guess(line));
      needed_.replace(from + 76, 2, symbol.size() == 1 ? " " + symbol : symbol);
      ++guessed_;
    }
  }

  // Where the file keeps to the columns, a name that starts in column 13 starts with a two-letter symbol.
  int guess(std::string_view line) const {
    const std::string_view residue = residue_of(line);
    if (aligned_ && starts_early(line) && !is_standard_residue(residue)) {
      if (const int element = atomic_number(name_of(line).substr(0, 2)); element != 0) {
        return element;
      }
    }
    return guess_element(name_of(line), residue);
  }

  void take_charge(std::string_view line, std::size_t number) {
    std::string fault;
    const std::optional<float> radius = parse_real(columns(line, 54, 60), fault);
    const std::optional<float> charge = parse_real(columns(line, 60, 67), fault);
    if (!radius || !charge || *radius < 0.0F) {
      throw Failure(record_.path, number, "radius and charge " + in_quotes(line.substr(54, 13)) + " are no numbers");
    }
    if (!charges_.emplace(gemmi::pdb_impl::read_serial(line.data() + 6), ChargeAndRadius{*charge, *radius}).second) {
      throw Failure(record_.path, number,
                    "serial number " + in_quotes(columns(line, 6, 11)) + " is another atom's too");
    }
  }

  const RecordText& record_;
  std::string needed_;
  std::unordered_map<int, ChargeAndRadius> charges_;
  bool delphi_ = false;
  bool cut_ = false;
  bool aligned_ = true;
  int guessed_ = 0;
};

// The number of the MODEL record, or the record's own.
int model_number(const RecordText& record) {
  for (Lines lines(record.text); lines.next();) {
    if (starts_with_ignoring_case(lines.line(), "MODEL ")) {
      return 1;
    }
    if (is_atom_record(lines.line())) {
      break;
    }
  }
  return record.number;
}

// The title of TITLE records.
std::string title_of(std::string_view text) {
  std::string title;
  for (Lines lines(text); lines.next();) {
    if (starts_with(lines.line(), "TITLE ")) {
      title.append(title.empty() ? "" : " ").append(columns(lines.line(), 10, 80));
    } else if (is_atom_record(lines.line())) {
      break;
    }
  }
  return title;
}

// ---- Checks in the text of mmCIF ----

// The line of the n-th value of a loop that begins on a given line (from 1), found by reading its tokens: words, quoted
// strings, text fields between semicolons at the start of a line, and comments.
std::size_t line_of_loop_value(std::string_view text, std::size_t loop_line, std::size_t n) {
  Lines lines(text);
  bool in_text_field = false;
  for (std::size_t values = 0; lines.next();) {
    std::string_view line = lines.line();
    if (lines.number() < loop_line) {
      continue;
    }
    if (starts_with(line, ";")) {
      in_text_field = !in_text_field;
      if (in_text_field && values++ == n) {
        return lines.number();
      }
      line.remove_prefix(1);
    }
    while (!in_text_field && !(line = trimmed(line)).empty() && line[0] != '#') {
      std::size_t end = line.find_first_of(" \t");
      if (line[0] == '\'' || line[0] == '"') {
        for (end = line.find(line[0], 1);
             end != std::string_view::npos && end + 1 < line.size() && line[end + 1] != ' ' && line[end + 1] != '\t';) {
          end = line.find(line[0], end + 1);
        }
        end = end == std::string_view::npos ? end : end + 1;
      }
      const bool is_value = line[0] != '_' && lower_case(line.substr(0, 5)) != "loop_";
      if (is_value && values++ == n) {
        return lines.number();
      }
      line.remove_prefix(std::min(end, line.size()));
    }
  }
  return loop_line;
}

// The line on which a value of a category stands, given its tag and row.
std::size_t line_of_value(const gemmi::cif::Block& block, std::string_view text, const std::string& tag,
                          std::size_t row) {
  for (const gemmi::cif::Item& item : block.items) {
    const auto line = static_cast<std::size_t>(std::max(item.line_number, 1));
    if (item.type == gemmi::cif::ItemType::Loop) {
      if (const int column = item.loop.find_tag(tag); column >= 0) {
        return line_of_loop_value(text, line, row * item.loop.width() + static_cast<std::size_t>(column));
      }
    } else if (item.type == gemmi::cif::ItemType::Pair && item.pair[0] == tag) {
      return line;
    }
  }
  return 1;
}

// Checks the columns that atoms need, each under one of two tags. A failure names the missing one and the line of the
// table.
void require_columns(const std::string& path, gemmi::cif::Block& block) {
  constexpr std::array<std::pair<const char*, const char*>, 7> kColumns{{{"Cartn_x", nullptr},
                                                                         {"Cartn_y", nullptr},
                                                                         {"Cartn_z", nullptr},
                                                                         {"label_atom_id", "auth_atom_id"},
                                                                         {"label_comp_id", "auth_comp_id"},
                                                                         {"label_asym_id", "auth_asym_id"},
                                                                         {"auth_seq_id", "label_seq_id"}}};
  std::size_t line = 1;
  for (const gemmi::cif::Item& item : block.items) {
    const bool table =
        (item.type == gemmi::cif::ItemType::Loop && !item.loop.tags.empty() &&
         starts_with(lower_case(item.loop.tags[0]), "_atom_site.")) ||
        (item.type == gemmi::cif::ItemType::Pair && starts_with(lower_case(item.pair[0]), "_atom_site."));
    if (table) {
      line = static_cast<std::size_t>(std::max(item.line_number, 1));
      break;
    }
  }
  const auto has = [&](const char* tag) { return tag != nullptr && block.find("_atom_site.", {tag}).length() > 0; };
  for (const auto& [tag, other] : kColumns) {
    if (!has(tag) && !has(other)) {
      throw Failure(path, line,
                    std::string("_atom_site has no column ") + tag + (other ? std::string(" or ") + other : ""));
    }
  }
}

// Columns that gemmi asks for and an atom can do without: those of another tag, or one value for all.
void add_columns(gemmi::cif::Block& block) {
  struct Column {
    const char* tag;
    const char* other;
    const char* value;
  };
  constexpr std::array<Column, 7> kColumns{{{"id", nullptr, "0"},
                                            {"type_symbol", nullptr, "?"},
                                            {"label_alt_id", nullptr, "."},
                                            {"label_asym_id", "auth_asym_id", "."},
                                            {"occupancy", nullptr, "1"},
                                            {"B_iso_or_equiv", nullptr, "0"},
                                            {"auth_seq_id", "label_seq_id", "."}}};
  const std::string start = "_atom_site.";
  gemmi::cif::Loop* const loop = block.find_loop(start + "Cartn_x").get_loop();
  for (const Column& column : kColumns) {
    if (loop == nullptr || loop->find_tag(start + column.tag) >= 0) {
      continue;
    }
    const std::size_t width = loop->width();
    const int other = column.other != nullptr ? loop->find_tag(start + column.other) : -1;
    std::vector<std::string> values;
    values.reserve(loop->values.size() + loop->length());
    for (std::size_t row = 0; row < loop->length(); ++row) {
      const auto from = loop->values.begin() + static_cast<std::ptrdiff_t>(row * width);
      values.insert(values.end(), from, from + static_cast<std::ptrdiff_t>(width));
      values.push_back(other >= 0 ? *(from + other) : column.value);
    }
    loop->tags.push_back(start + column.tag);
    loop->values = std::move(values);
  }
}

void check_mmcif_atoms(const std::string& path, std::string_view text, gemmi::cif::Block& block) {
  static const std::vector<std::string> kTags{"Cartn_x", "Cartn_y", "Cartn_z", "?auth_seq_id"};
  std::size_t number = 0;
  for (const gemmi::cif::Table::Row row : block.find("_atom_site.", kTags)) {
    if (row.has2(3) && !parse_integer(gemmi::cif::as_string(row[3]))) {
      throw Failure(path, line_of_value(block, text, "_atom_site.auth_seq_id", number),
                    "residue number " + in_quotes(row[3]) + " is not an integer");
    }
    for (std::size_t i = 0; i < 3; ++i) {
      const std::string& raw = row[i];
      const std::string value = gemmi::cif::is_null(raw) ? raw : gemmi::cif::as_string(raw);
      // A standard uncertainty may follow in brackets.
      const std::string_view digits = std::string_view(value).substr(0, value.find('('));
      std::string fault;
      const bool good = parse_real(digits, fault).has_value();
      // gemmi reads quoted digits, which are a text, as NaN, and also numbers with trailing characters.
      if (!good || std::isnan(gemmi::cif::as_number(raw))) {
        const std::string what =
            formatted("%c coordinate ", "xyz"[i]) + in_quotes(value) + " " + (good ? kNotANumber : fault);
        throw Failure(path, line_of_value(block, text, "_atom_site." + kTags[i], number), what);
      }
    }
    ++number;
  }
}

}  // namespace

Structure parse_pdb(const RecordText& record) {
  const PdbRecords records(record);
  try {
    gemmi::Structure from = gemmi::read_pdb_string(records.needed(), record.path);
    if (from.models.empty()) {
      throw Failure(record.path, record.first_line, "no atoms");
    }
    gemmi::Model& model = from.models.front();
    Structure structure;
    structure.model = parse_integer(model.name).value_or(record.number);
    // A model without a number of its own is gemmi's first.
    if (structure.model == 1) {
      structure.model = model_number(record);
    }
    structure.title = title_of(record.text);
    structure.guessed_elements = records.guessed_elements();
    if (records.is_cut()) {
      structure.notes.emplace_back(
          "columns 73 to 80 hold something else than elements and charges and are passed over");
    }
    Collector atoms(structure);
    atoms.collect(model);
    structure.bonds = collect_bonds(from, model, read_conect_records(record.text), atoms);
    if (records.has_charges()) {
      structure.charges = Charges::File;
      structure.radii_given = true;
      structure.notes.emplace_back("radius and charge stand in the columns of occupancy and temperature factor");
      for (const auto& [atom, index] : atoms.indices()) {
        const ChargeAndRadius& values = records.charges().at(atom->serial);
        structure.atoms[static_cast<std::size_t>(index)].charge = values.charge;
        structure.atoms[static_cast<std::size_t>(index)].radius = values.radius;
      }
    }
    return structure;
  } catch (const Failure&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    rethrow(record, error.what());
  }
}

std::deque<Structure> parse_mmcif(const RecordText& record) {
  try {
    gemmi::cif::Document document =
        gemmi::cif::read_memory(record.text.data(), record.text.size(), record.path.c_str());
    const auto has_atoms = [](gemmi::cif::Block& block) {
      return block.find_mmcif_category("_atom_site.").length() > 0;
    };
    const auto block = std::find_if(document.blocks.begin(), document.blocks.end(), has_atoms);
    if (block == document.blocks.end()) {
      throw Failure(record.path, "no atoms");
    }
    require_columns(record.path, *block);
    check_mmcif_atoms(record.path, record.text, *block);
    add_columns(*block);
    gemmi::Structure from = gemmi::make_structure_from_block(*block);
    if (from.models.empty()) {
      throw Failure(record.path, "no atoms");
    }
    std::deque<Structure> models;
    int number = 0;
    for (gemmi::Model& model : from.models) {
      Structure structure;
      structure.model = parse_integer(model.name).value_or(++number);
      structure.title = gemmi::cif::as_string(
          block->find_values("_struct.title").length() > 0 ? block->find_values("_struct.title").at(0) : std::string());
      Collector atoms(structure);
      atoms.collect(model);
      structure.bonds = collect_bonds(from, model, {}, atoms);
      if (!structure.atoms.empty()) {
        models.push_back(std::move(structure));
      }
    }
    return models;
  } catch (const Failure&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const tao::pegtl::parse_error& error) {
    throw Failure(record.path, error.positions().front().line, std::string(error.message()));
  } catch (const std::exception& error) {
    rethrow(record, error.what());
  }
}

}  // namespace nxbrio::files
