#include "structure.h"

#include "text.h"

namespace nxbrio::files {
namespace {

constexpr std::string_view kChainLetters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!#$%&()*+,-./:;<=>?@[]^_`{|}~";

}  // namespace

char ChainLetters::letter(std::string_view chain_name) {
  if (const auto known = letters_.find(chain_name); known != letters_.end()) {
    return known->second;
  }
  char letter = ' ';
  if (chain_name.size() == 1 && used_.find(chain_name[0]) == std::string::npos) {
    letter = chain_name[0];
  } else if (!chain_name.empty()) {
    const std::size_t free = kChainLetters.find_first_not_of(used_);
    letter = free == std::string_view::npos ? ' ' : kChainLetters[free];
  }
  used_ += letter;
  letters_.emplace(chain_name, letter);
  return letter;
}

void ChainLetters::tell(Structure& structure) const {
  constexpr std::size_t kMostShown = 4;
  int without_letter = 0;
  for (const auto& [name, letter] : letters_) {
    if (!name.empty() && letter == ' ') {
      ++without_letter;
    } else if (name.size() > 1 || (name.size() == 1 && name[0] != letter)) {
      structure.chain_names.emplace(letter, name);
    }
  }
  std::string shown;
  std::size_t count = 0;
  for (const char letter : used_) {
    const auto at = structure.chain_names.find(letter);
    if (at != structure.chain_names.end() && ++count <= kMostShown) {
      shown.append(shown.empty() ? "" : ", ").append(in_quotes(at->second)).append(" as ") += letter;
    }
  }
  if (count > 0) {
    structure.notes.push_back("chains under letters of their own: " + shown +
                              (count > kMostShown ? formatted(" and %zu more", count - kMostShown) : ""));
  }
  if (without_letter > 0) {
    structure.notes.push_back(
        formatted("%d chains have no letter and no name any more: there are too many", without_letter));
  }
}

void number_residues(Structure& structure) {
  struct Chain {
    const Atom* last = nullptr;
    int residues = 0;
  };
  std::map<char, Chain> chains;
  structure.residues = 0;
  structure.chains.clear();
  for (Atom& atom : structure.atoms) {
    Chain& chain = chains[atom.chain];
    if (chain.last == nullptr) {
      structure.chains.push_back(atom.chain);
    }
    if (chain.last == nullptr || chain.last->residue_number != atom.residue_number ||
        chain.last->insertion_code != atom.insertion_code || chain.last->residue != atom.residue) {
      ++chain.residues;
      ++structure.residues;
    }
    atom.sequence_number = chain.residues;
    chain.last = &atom;
  }
}

}  // namespace nxbrio::files
