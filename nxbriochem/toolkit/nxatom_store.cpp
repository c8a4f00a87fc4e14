#include <nxbriochem/toolkit/nxatom_store.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>

#include <nxbriochem/toolkit/nxelements.h>

namespace NxChem {
namespace {

// Clearing the bit 32 makes a lower-case letter upper case.
bool BeginsWithH(std::string_view name) { return !name.empty() && (name[0] & 223) == 'H'; }

// The answer by atomic number.
unsigned SymbolBeginsWithH(unsigned atomic_num) {
  static const std::array<unsigned char, 128> begins = [] {
    std::array<unsigned char, 128> all{};
    for (unsigned z = 0; z < all.size(); ++z) {
      all[z] = static_cast<unsigned char>(BeginsWithH(NxGetAtomicSymbol(z)));
    }
    return all;
  }();
  return atomic_num < begins.size() ? begins[atomic_num] : 0;
}

template <class Blocks>
Blocks CopiesOf(const Blocks& blocks) {
  Blocks copies;
  copies.reserve(blocks.size());
  for (const auto& block : blocks) {
    copies.push_back(std::make_unique<typename Blocks::value_type::element_type>(*block));
  }
  return copies;
}

}  // namespace

NxNamePool::NxNamePool(const NxNamePool& other)
    : blocks_(CopiesOf(other.blocks_)),
      cells_(other.cells_),
      free_(other.free_),
      size_(other.size_),
      kept_(other.kept_),
      bound_(other.bound_) {}

// Multiplicative hashing: the high bits of the product depend on all letters. Nearly all names have four or less.
std::size_t NxNamePool::Home(std::string_view text) const {
  std::uint64_t bits = text.size();
  if (text.size() < 8) {
    for (const char letter : text) {
      bits = bits << 8 | static_cast<unsigned char>(letter);
    }
  } else {
    bits = std::hash<std::string_view>{}(text);
  }
  return static_cast<std::size_t>((bits * 0x9E3779B97F4A7C15U) >> 32) & (cells_.size() - 1);
}

unsigned NxNamePool::Find(std::string_view text) const {
  if (text.empty() || cells_.empty()) {
    return 0;
  }
  std::size_t at = Home(text);
  while (cells_[at] != 0 && At(cells_[at]) != text) {
    at = (at + 1) & (cells_.size() - 1);
  }
  return cells_[at];
}

void NxNamePool::Index(unsigned id) {
  std::size_t at = Home(At(id));
  while (cells_[at] != 0) {
    at = (at + 1) & (cells_.size() - 1);
  }
  cells_[at] = id;
}

void NxNamePool::Rehash(std::size_t cells) {
  std::vector<unsigned> old(cells);
  old.swap(cells_);
  for (const unsigned id : old) {
    if (id != 0) {
      Index(id);
    }
  }
}

unsigned NxNamePool::Add(std::string_view text) {
  if (2 * (std::size_t{size_} + 1) > cells_.size()) {
    Rehash(std::max<std::size_t>(32, 2 * cells_.size()));
  }
  const unsigned id = free_.empty() ? bound_ : free_.back();
  if (id / kBlock == blocks_.size()) {
    blocks_.push_back(std::make_unique<Block>());
  }
  blocks_[id / kBlock]->texts[id % kBlock] = text;
  // Nothing below fails.
  free_.empty() ? static_cast<void>(++bound_) : free_.pop_back();
  ++size_;
  Index(id);
  return id;
}

void NxNamePool::KeepOnly(const std::vector<bool>& used) {
  std::vector<unsigned> cells(cells_.size());
  free_.reserve(bound_);
  free_.clear();
  cells.swap(cells_);
  size_ = 0;
  for (unsigned id = bound_ - 1; id > 0; --id) {
    std::string& text = blocks_[id / kBlock]->texts[id % kBlock];
    if (used[id]) {
      ++size_;
      Index(id);
    } else {
      std::string().swap(text);
      free_.push_back(id);
    }
  }
  kept_ = size_;
}

void NxNamePool::Clear() {
  blocks_.clear();
  cells_.clear();
  free_.clear();
  size_ = 0;
  kept_ = 0;
  bound_ = 1;
}

NxResiduePool::NxResiduePool(const NxResiduePool& other)
    : blocks_(CopiesOf(other.blocks_)), free_(other.free_), bound_(other.bound_) {}

unsigned NxResiduePool::Spare() {
  if (free_ != 0) {
    return free_;
  }
  if (bound_ / kBlock == blocks_.size()) {
    blocks_.push_back(std::make_unique<Block>());
  }
  return bound_;
}

void NxResiduePool::Take() {
  const unsigned id = free_ != 0 ? free_ : bound_++;
  free_ = Uses(id);  // 0 for a number that was never given
  Uses(id) = 1;
}

void NxResiduePool::Release(unsigned id) {
  unsigned& uses = Uses(id);
  if (--uses == 0) {
    At(id) = NxResidue();
    uses = free_;
    free_ = id;
  }
}

bool NxResiduePool::AreSame(const NxResidue& a, const NxResidue& b) {
  return a.residue_number_ == b.residue_number_ && a.sequence_number_ == b.sequence_number_ &&
         std::bit_cast<std::uint32_t>(a.occupancy_) == std::bit_cast<std::uint32_t>(b.occupancy_) &&
         std::bit_cast<std::uint32_t>(a.b_factor_) == std::bit_cast<std::uint32_t>(b.b_factor_) &&
         a.chain_ == b.chain_ && a.insert_code_ == b.insert_code_ && a.alternate_location_ == b.alternate_location_ &&
         a.het_atom_ == b.het_atom_ && a.name_ == b.name_;
}

void NxResiduePool::Clear() {
  blocks_.clear();
  free_ = 0;
  bound_ = 1;
}

NxAtomStore::NxAtomStore(const NxAtomStore& other)
    : num_named_(other.num_named_),
      num_hydrogens_(other.num_hydrogens_),
      names_(other.names_),
      residues_(other.residues_) {
  Move(other.size_);
  size_ = other.size_;
  for (std::size_t k = 0; k < kWords && size_ != 0; ++k) {
    std::memcpy(Column<unsigned>(k), other.Column<unsigned>(k), size_ * sizeof(unsigned));
  }
  std::copy_n(other.Bytes(), size_, Bytes());
}

// Moves the columns into a new block of this capacity.
void NxAtomStore::Move(unsigned capacity) {
  std::unique_ptr<std::byte[]> grown(capacity != 0 ? new std::byte[capacity * kBytes] : nullptr);
  for (std::size_t k = 0; k < kWords && size_ != 0; ++k) {
    std::memcpy(grown.get() + k * capacity * sizeof(unsigned), Column<std::byte>(k), size_ * sizeof(unsigned));
  }
  if (size_ != 0) {
    std::memcpy(grown.get() + kWords * capacity * sizeof(unsigned), Bytes(), size_);
  }
  block_ = std::move(grown);
  capacity_ = capacity;
}

void NxAtomStore::Reserve(unsigned n) {
  if (n > capacity_) {
    const std::size_t usual = capacity_ + capacity_ / 2;
    Move(std::max(n, static_cast<unsigned>(std::min<std::size_t>(usual, UINT32_MAX))));
  }
}

void NxAtomStore::Extend(unsigned n, unsigned atomic_num) {
  for (std::size_t k = 0; k < kWords; ++k) {
    std::fill_n(Column<unsigned>(k) + size_, n, 0U);
  }
  std::fill_n(Column<unsigned>(5) + size_, n, atomic_num);
  const unsigned is_hydrogen = SymbolBeginsWithH(atomic_num);
  std::fill_n(Bytes() + size_, n, static_cast<unsigned char>(is_hydrogen));
  num_hydrogens_ += is_hydrogen * n;
  size_ += n;
}

void NxAtomStore::Erase(unsigned idx) {
  if (NameIds()[idx] != 0) {
    --num_named_;
  }
  num_hydrogens_ -= Bytes()[idx];
  ReplaceResidue(idx, 0);
  for (std::size_t k = 0; k < kWords; ++k) {
    Column<unsigned>(k)[idx] = 0;
  }
  Bytes()[idx] = 0;
}

void NxAtomStore::Sweep() {
  if (capacity_ > 2 * std::size_t{size_}) {
    try {
      Move(size_);
    } catch (const std::bad_alloc&) {
      // The allocated room stays.
    }
  }
}

void NxAtomStore::Clear() {
  block_.reset();
  capacity_ = 0;
  size_ = 0;
  num_named_ = 0;
  num_hydrogens_ = 0;
  names_.Clear();
  residues_.Clear();
}

void NxAtomStore::SetAtomicNum(unsigned idx, unsigned atomic_num) {
  Column<unsigned>(5)[idx] = atomic_num;
  if (NameIds()[idx] == 0) {
    PutName(idx, 0);
  }
}

void NxAtomStore::SetName(unsigned idx, std::string_view name) {
  unsigned id = names_.Find(name);
  if (id == 0 && !name.empty()) {
    if (names_.Size() > names_.Kept() + std::max(64U, size_ / 2)) {
      DropUnusedNames();
    }
    id = names_.Add(name);
  }
  PutName(idx, id);
}

void NxAtomStore::PutName(unsigned idx, unsigned id) {
  unsigned& own = Column<unsigned>(6)[idx];
  num_named_ += static_cast<unsigned>(id != 0) - static_cast<unsigned>(own != 0);
  own = id;
  const unsigned is_hydrogen =
      id != 0 ? static_cast<unsigned>(BeginsWithH(names_.At(id))) : SymbolBeginsWithH(AtomicNums()[idx]);
  num_hydrogens_ += is_hydrogen - Bytes()[idx];
  Bytes()[idx] = static_cast<unsigned char>(is_hydrogen);
}

// Called often enough that renaming atoms again and again takes no memory, and seldom enough that it costs little time.
void NxAtomStore::DropUnusedNames() {
  std::vector<bool> used(names_.Bound());
  std::for_each_n(NameIds(), size_, [&used](unsigned id) { used[id] = true; });
  names_.KeepOnly(used);
}

unsigned NxAtomStore::Share(unsigned idx) {
  const unsigned own = ResidueIds()[idx];
  const unsigned before = idx > 0 ? ResidueIds()[idx - 1] : 0;
  if (before == 0 || before == own || !NxResiduePool::AreSame(residues_.At(before), residues_.At(own))) {
    return own;
  }
  ++residues_.Uses(before);
  ReplaceResidue(idx, before);
  return before;
}

void NxAtomStore::SetResidue(unsigned idx, const NxResidue& residue) {
  const unsigned before = idx > 0 ? ResidueIds()[idx - 1] : 0;
  if (before != 0 && NxResiduePool::AreSame(residues_.At(before), residue)) {
    ++residues_.Uses(before);
    ReplaceResidue(idx, before);
    return;
  }
  Changed(idx, [&residue](NxResidue& record) { record = residue; });
}

}  // namespace NxChem
