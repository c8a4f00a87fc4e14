// PDB and mmCIF through gemmi, in the one unit that includes its readers, which compile slowly. gemmi takes a number
// that it cannot read for zero or not-a-number, so coordinates are checked in the text, where the line can still be
// named.
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
#include "structure.h"
#include "text.h"

namespace nxbrio {
namespace {

using AtomIndex = std::unordered_map<const gemmi::Atom*, int>;

// One line, printable, of what gemmi says; "Problem in line 12: ..." becomes a line number.
[[noreturn]] void rethrow(const std::string& path, std::string_view message) {
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
  throw line > 0 ? Failure(path, line, what) : Failure(path, what);
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

// Among the residue's atoms of one name, whether this one is taken: the one without or in the residue's own location,
// else the one with the highest occupancy, the first of equals.
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
    // Chains of one character keep it, whatever comes before them.
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
    for (std::string& note : letters_.notes()) {
      structure_.notes.push_back(std::move(note));
    }
    if (left_out_ > 0) {
      structure_.notes.push_back(formatted("%d atoms in other alternate locations are left out", left_out_));
    }
  }

  // Where a taken atom stands; -1 for others.
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
    atom.chain = letters_.letter(chain.name);
    atom.residue_number = residue.seqid.num.has_value() ? *residue.seqid.num : 0;
    atom.insertion_code = residue.seqid.icode;
    atom.element = from.element.atomic_number();
    if (atom.element == 0) {
      atom.element = guess_element(atom.name, atom.residue);
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

// CONECT records, which gemmi passes over. An atom that is named twice in one record is bonded twice: the order is 2.
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

std::vector<Structure> collect_models(const std::string& path, const char* format, gemmi::Structure& from,
                                      const std::vector<Conect>& conect, Models which) {
  std::vector<Structure> models;
  for (gemmi::Model& model : from.models) {
    Structure structure;
    structure.path = path;
    structure.format = format;
    structure.model = parse_integer(model.name).value_or(static_cast<int>(models.size()) + 1);
    Collector atoms(structure);
    atoms.collect(model);
    structure.bonds = collect_bonds(from, model, conect, atoms);
    const bool enough = which == Models::First && !structure.atoms.empty();
    if (enough && from.models.size() > 1) {
      structure.notes.insert(structure.notes.begin(), formatted("the first of %zu models is read", from.models.size()));
    }
    models.push_back(std::move(structure));
    if (enough) {
      break;
    }
  }
  return models;
}

// ---- Checks in the text ----

// The text before its END record. gemmi is given no more and no END to look for, so that what it reads is what is
// checked here.
std::string_view before_end(std::string_view text) {
  for (Lines lines(text); lines.next();) {
    const std::string_view line = lines.line();
    if (starts_with_ignoring_case(line, "END") && trimmed(line.substr(3, 1)).empty()) {
      return text.substr(0, static_cast<std::size_t>(line.data() - text.data()));
    }
  }
  return text;
}

// The records that are needed here, cut or padded to the 80 columns that gemmi takes for granted; other lines are left
// empty, so that lines keep their numbers.
std::string needed_pdb_records(std::string_view text) {
  constexpr std::size_t kColumns = 80;
  std::string needed;
  needed.reserve(text.size());
  for (Lines lines(text); lines.next();) {
    for (const std::string_view record : {"ATOM", "HETA", "MODEL ", "ENDMDL", "TER", "LINK", "SSBOND"}) {
      if (starts_with_ignoring_case(lines.line(), record)) {
        const std::string_view line = lines.line().substr(0, kColumns);
        needed.append(line).append(kColumns - line.size(), ' ');
        break;
      }
    }
    needed += '\n';
  }
  return needed;
}

void check_pdb_coordinates(const std::string& path, std::string_view text) {
  for (Lines lines(text); lines.next();) {
    const std::string_view line = lines.line();
    if (!starts_with_ignoring_case(line, "ATOM") && !starts_with_ignoring_case(line, "HETA")) {
      continue;
    }
    if (line.size() < 54) {
      throw Failure(path, lines.number(), "the record ends before its coordinates do");
    }
    for (std::size_t i = 0; i < 3; ++i) {
      const std::string_view field = columns(line, 30 + 8 * i, 38 + 8 * i);
      std::string fault;
      if (!parse_real(field, fault)) {
        throw Failure(path, lines.number(), formatted("%c coordinate ", "xyz"[i]) + in_quotes(field) + " " + fault);
      }
    }
  }
}

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
      // Quoted digits are a text, which gemmi takes for not-a-number, as it does what it cannot read to its end.
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

std::vector<Structure> read_pdb(const std::string& path, std::string_view text, Models which) {
  const std::string_view atoms = before_end(text);
  check_pdb_coordinates(path, atoms);
  try {
    gemmi::Structure from = gemmi::read_pdb_string(needed_pdb_records(atoms), path);
    return collect_models(path, "PDB", from, read_conect_records(text), which);
  } catch (const std::exception& error) {
    rethrow(path, error.what());
  }
}

std::vector<Structure> read_mmcif(const std::string& path, std::string_view text, Models which) {
  try {
    gemmi::cif::Document document = gemmi::cif::read_memory(text.data(), text.size(), path.c_str());
    const auto has_atoms = [](gemmi::cif::Block& block) { return block.find("_atom_site.", {"Cartn_x"}).length() > 0; };
    const auto block = std::find_if(document.blocks.begin(), document.blocks.end(), has_atoms);
    if (block == document.blocks.end()) {
      throw Failure(path, "no atoms");
    }
    check_mmcif_atoms(path, text, *block);
    gemmi::Structure from = gemmi::make_structure_from_block(*block);
    if (from.models.empty()) {
      throw Failure(path, "_atom_site lacks a column that an atom needs");
    }
    return collect_models(path, "mmCIF", from, {}, which);
  } catch (const Failure&) {
    throw;
  } catch (const tao::pegtl::parse_error& error) {
    throw Failure(path, error.positions().front().line, std::string(error.message()));
  } catch (const std::exception& error) {
    rethrow(path, error.what());
  }
}

}  // namespace nxbrio
