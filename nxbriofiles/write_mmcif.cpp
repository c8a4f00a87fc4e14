// mmCIF through gemmi.
#define GEMMI_WRITE_IMPLEMENTATION  // gemmi's writer is compiled here
#include <locale.h>

#include <algorithm>
#include <gemmi/polyheur.hpp>
#include <gemmi/to_cif.hpp>
#include <gemmi/to_mmcif.hpp>
#include <new>
#include <sstream>

#include "gemmi_model.h"
#include "gemmi_writers.h"
#include "text.h"

namespace nxbrio::files {
namespace {

// gemmi prints numbers by the C library: with a point, whatever the program's locale.
class PlainNumbers {
 public:
  PlainNumbers() : plain_(newlocale(LC_ALL_MASK, "C", nullptr)) {
    if (plain_ == nullptr) {
      throw std::bad_alloc();
    }
    before_ = uselocale(plain_);
  }
  PlainNumbers(const PlainNumbers&) = delete;
  PlainNumbers& operator=(const PlainNumbers&) = delete;
  ~PlainNumbers() {
    uselocale(before_);
    freelocale(plain_);
  }

 private:
  locale_t plain_;
  locale_t before_ = nullptr;
};

}  // namespace

std::string mmcif_text(const std::vector<Structure>& models) {
  const PlainNumbers plain_numbers;
  gemmi::Structure structure;
  if (!models.empty()) {
    structure.name = models.front().title;
    structure.info["_struct.title"] = models.front().title;
  }
  for (const Structure& from : models) {
    gemmi::Model model = gemmi_model(from);
    // A number belongs to one model.
    if (models.size() > 1) {
      model.name = std::to_string(structure.models.size() + 1);
    }
    structure.models.push_back(std::move(model));
  }
  structure.merge_chain_parts(0);
  gemmi::setup_entities(structure);
  gemmi::MmcifOutputGroups groups(false);
  groups.atoms = groups.block_name = groups.entry = groups.title_keywords = true;
  groups.entity = groups.struct_asym = groups.group_pdb = true;
  // A block's name is one word.
  for (char& c : structure.name) {
    c = c > ' ' && c <= '~' ? c : '_';
  }
  structure.name.resize(std::min<std::size_t>(structure.name.size(), 60));
  if (structure.name.empty()) {
    structure.name = "structure";
  }
  std::ostringstream stream;
  stream.exceptions(std::ios::badbit);  // a stream that has no room is no shorter file
  gemmi::cif::write_cif_block_to_stream(stream, gemmi::make_mmcif_block(structure, groups), gemmi::cif::Style::Pdbx);
  return stream.str();
}

}  // namespace nxbrio::files
