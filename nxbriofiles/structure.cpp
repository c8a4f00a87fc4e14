#include "structure.h"

#include <algorithm>

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

void ChainLetters::set(Atom& atom, std::string_view chain_name) {
  atom.chain = letter(chain_name);
  atom.chain_name = chain_name.size() == 1 && chain_name[0] == atom.chain ? std::string_view() : chain_name;
}

int chains_without_letter(const Structure& structure) {
  return static_cast<int>(std::count_if(structure.chains.begin(), structure.chains.end(),
                                        [](const Chain& chain) { return chain.letter == ' ' && !chain.name.empty(); }));
}

void note_chains(Structure& structure) {
  constexpr std::size_t kMostShown = 4;
  std::string shown;
  std::size_t count = 0;
  for (const Chain& chain : structure.chains) {
    if (chain.letter != ' ' && chain.name != std::string(1, chain.letter) && ++count <= kMostShown) {
      shown.append(shown.empty() ? "" : ", ").append(in_quotes(chain.name)).append(" as ") += chain.letter;
    }
  }
  if (count > 0) {
    structure.notes.push_back("chains under letters of their own: " + shown +
                              (count > kMostShown ? formatted(" and %zu more", count - kMostShown) : ""));
  }
  if (const int without = chains_without_letter(structure); without > 0) {
    structure.notes.push_back(formatted("%d chains have no letter, for there are only %zu; mmCIF holds them by name",
                                        without, kChainLetters.size()));
  }
}

void number_residues(Structure& structure) {
  struct Known {
    const Atom* last = nullptr;
    int residues = 0;
  };
  std::map<ChainKey, Known> chains;
  structure.residues = 0;
  structure.chains.clear();
  for (Atom& atom : structure.atoms) {
    Known& chain = chains[chain_of(atom)];
    if (chain.last == nullptr) {
      const bool named = !atom.chain_name.empty() || atom.chain == ' ';
      structure.chains.push_back({atom.chain, named ? atom.chain_name : std::string(1, atom.chain)});
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
