#include <nxbriochem/toolkit/nxperceive.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <tuple>
#include <unordered_set>
#include <vector>

#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxvalence_internal.h>

namespace NxChem {
namespace {

// Angstrom. The covalent tolerance is the usual one for the radii of Cordero et al.
constexpr float kCovalentTolerance = 0.45F;
constexpr float kMetalTolerance = 0.30F;
constexpr float kShortestBond = 0.4F;
// Bonds of three-membered rings are short. A longer distance means a strained angle: two atoms are close because both
// are bonded to a third.
constexpr float kThreeRingTolerance = 0.20F;

constexpr unsigned kNone = std::numeric_limits<unsigned>::max();

// More partners than any element can have: further ones cannot be bonded, and the bound keeps nonsense structures from
// filling the memory.
constexpr std::size_t kMaxCandidates = 16;

struct Place {
  NxAtomBase* atom;
  std::array<float, 3> xyz;
  float radius;
  unsigned atomic_num;
  bool is_metal;
  char alternate_location;
};

struct Candidate {
  // Distance less sum of radii: the smaller, the more certain the bond.
  float excess;
  unsigned a;
  unsigned b;

  bool operator<(const Candidate& other) const {
    return std::tie(excess, a, b) < std::tie(other.excess, other.a, other.b);
  }
};

struct HashPosition {
  std::size_t operator()(const std::array<float, 3>& xyz) const {
    std::uint64_t hash = 0;
    for (const float x : xyz) {
      hash = (hash ^ std::bit_cast<std::uint32_t>(x)) * 0x9E3779B97F4A7C15U;
      hash ^= hash >> 29U;
    }
    return hash;
  }
};

// The atoms that can bond at all, in index order.
std::vector<Place> CollectPlaces(const NxMolBase& mol) {
  std::vector<Place> places;
  const float* coords = mol.CoordData();
  if (coords == nullptr) {
    return places;
  }
  places.reserve(mol.NumAtoms());
  std::unordered_set<std::array<float, 3>, HashPosition> taken;
  taken.reserve(mol.NumAtoms());
  for (NxAtomBase& atom : mol.GetAtoms()) {
    const unsigned z = atom.GetAtomicNum();
    const float radius = NxGetCovalentRadius(z);
    if (radius <= 0.0F || NxMaxNeighbours(z) == 0 || NxIsIonicMetal(z)) {
      continue;
    }
    std::array<float, 3> xyz{};
    std::memcpy(xyz.data(), coords + std::size_t{3} * atom.GetIdx(), sizeof xyz);
    if (!std::all_of(xyz.begin(), xyz.end(), [](float x) { return std::isfinite(x); })) {
      continue;
    }
    for (float& x : xyz) {
      x += 0.0F;  // No -0, which equals 0 but has other bits.
    }
    if (taken.insert(xyz).second) {
      places.push_back({&atom, xyz, radius, z, NxIsMetal(z), NxAtomGetResidue(atom).GetAlternateLocation()});
    }
  }
  return places;
}

// Cells as wide as the longest bond, in a hash table, so that neither empty space nor distant atoms cost memory.
class CellGrid {
 public:
  CellGrid(const std::vector<Place>& places, double width)
      : width_(width),
        head_(std::bit_ceil(std::max<std::size_t>(2 * places.size(), 16)), kNone),
        next_(places.size()),
        cells_(places.size()) {
    for (unsigned i = 0; i < places.size(); ++i) {
      cells_[i] = Pack(CellOf(places[i].xyz));
      unsigned& head = head_[Slot(cells_[i])];
      next_[i] = head;
      head = i;
    }
  }

  // Calls visit(j) for every place in the cell at xyz and the cells around it.
  template <class Visit>
  void ForEachNear(const std::array<float, 3>& xyz, Visit visit) const {
    const auto [cx, cy, cz] = CellOf(xyz);
    for (std::uint64_t dx = 0; dx < 3; ++dx) {
      for (std::uint64_t dy = 0; dy < 3; ++dy) {
        for (std::uint64_t dz = 0; dz < 3; ++dz) {
          const std::uint64_t cell = Pack({cx + dx - 1, cy + dy - 1, cz + dz - 1});
          for (unsigned j = head_[Slot(cell)]; j != kNone; j = next_[j]) {
            if (cells_[j] == cell) {
              visit(j);
            }
          }
        }
      }
    }
  }

 private:
  using Cell = std::array<std::uint64_t, 3>;

  // Cell numbers are kept modulo 2^21, which fits three of them into one word; cells that meet by wrapping around are
  // told apart by the distance test.
  static constexpr unsigned kBits = 21;
  static constexpr std::uint64_t kMask = (std::uint64_t{1} << kBits) - 1;

  Cell CellOf(const std::array<float, 3>& xyz) const {
    Cell cell{};
    for (std::size_t k = 0; k < 3; ++k) {
      const double whole = std::floor(static_cast<double>(xyz[k]) / width_);
      const double wrapped = std::fmod(whole, static_cast<double>(kMask + 1));
      cell[k] = static_cast<std::uint64_t>(static_cast<std::int64_t>(wrapped));
    }
    return cell;
  }
  static std::uint64_t Pack(const Cell& cell) {
    return (cell[0] & kMask) << (2 * kBits) | (cell[1] & kMask) << kBits | (cell[2] & kMask);
  }
  std::size_t Slot(std::uint64_t cell) const {
    const std::uint64_t hash = cell * 0x9E3779B97F4A7C15U;
    return (hash ^ hash >> 32U) & (head_.size() - 1);
  }

  double width_;
  std::vector<unsigned> head_;
  std::vector<unsigned> next_;
  std::vector<std::uint64_t> cells_;
};

float LongestBond(const Place& a, const Place& b) {
  if (a.is_metal || b.is_metal) {
    if ((a.is_metal && b.is_metal) || a.atomic_num == 1 || b.atomic_num == 1) {
      return 0.0F;
    }
    return a.radius + b.radius + kMetalTolerance;
  }
  return a.radius + b.radius + kCovalentTolerance;
}

bool SharesLocation(const Place& a, const Place& b) {
  return a.alternate_location == b.alternate_location || a.alternate_location == ' ' || b.alternate_location == ' ';
}

// All pairs that are close enough, the most certain first.
std::vector<Candidate> FindCandidates(const std::vector<Place>& places) {
  float largest = 0.0F;
  for (const Place& place : places) {
    largest = std::max(largest, place.radius);
  }
  const CellGrid grid(places, static_cast<double>(2.0F * largest + kCovalentTolerance));
  std::vector<Candidate> candidates;
  candidates.reserve(2 * places.size());
  std::vector<Candidate> mine;
  for (unsigned i = 0; i < places.size(); ++i) {
    const Place& a = places[i];
    mine.clear();
    grid.ForEachNear(a.xyz, [&](unsigned j) {
      if (j <= i) {
        return;
      }
      const Place& b = places[j];
      const float dx = a.xyz[0] - b.xyz[0];
      const float dy = a.xyz[1] - b.xyz[1];
      const float dz = a.xyz[2] - b.xyz[2];
      const float squared = dx * dx + dy * dy + dz * dz;
      const float longest = LongestBond(a, b);
      if (squared >= kShortestBond * kShortestBond && squared <= longest * longest && SharesLocation(a, b)) {
        mine.push_back({std::sqrt(squared) - a.radius - b.radius, i, j});
      }
    });
    if (mine.size() > kMaxCandidates) {
      std::nth_element(mine.begin(), mine.begin() + kMaxCandidates, mine.end());
      mine.resize(kMaxCandidates);
    }
    candidates.insert(candidates.end(), mine.begin(), mine.end());
  }
  std::sort(candidates.begin(), candidates.end());
  return candidates;
}

bool AreBonded(const NxAtomBase& a, const NxAtomBase& b) {
  const NxAtomBase& fewer = a.GetBonds().size() <= b.GetBonds().size() ? a : b;
  const NxAtomBase& other = &fewer == &a ? b : a;
  return std::any_of(fewer.GetBonds().begin(), fewer.GetBonds().end(),
                     [&](const NxBondBase* bond) { return bond->GetNbr(fewer) == &other; });
}

}  // namespace

void NxDetermineConnectivity(NxMolBase& mol) {
  const std::vector<Place> places = CollectPlaces(mol);
  if (places.empty()) {
    return;
  }
  std::vector<unsigned> room(places.size());
  for (unsigned i = 0; i < places.size(); ++i) {
    const auto held = static_cast<unsigned>(places[i].atom->GetBonds().size());
    room[i] = NxMaxNeighbours(places[i].atomic_num) - std::min(held, NxMaxNeighbours(places[i].atomic_num));
  }
  std::vector<Candidate> accepted;
  std::vector<std::vector<unsigned>> new_neighbours(places.size());
  for (const Candidate& pair : FindCandidates(places)) {
    auto& of_a = new_neighbours[pair.a];
    auto& of_b = new_neighbours[pair.b];
    if (room[pair.a] == 0 || room[pair.b] == 0 || AreBonded(*places[pair.a].atom, *places[pair.b].atom) ||
        (pair.excess > kThreeRingTolerance &&
         std::find_first_of(of_a.begin(), of_a.end(), of_b.begin(), of_b.end()) != of_a.end())) {
      continue;
    }
    --room[pair.a];
    --room[pair.b];
    of_a.push_back(pair.b);
    of_b.push_back(pair.a);
    accepted.push_back(pair);
  }
  std::sort(accepted.begin(), accepted.end(),
            [](const Candidate& x, const Candidate& y) { return std::tie(x.a, x.b) < std::tie(y.a, y.b); });
  mol.Reserve(mol.GetMaxAtomIdx(), mol.GetMaxBondIdx() + static_cast<unsigned>(accepted.size()));
  for (const Candidate& pair : accepted) {
    mol.NewBond(places[pair.a].atom, places[pair.b].atom, 1);
  }
}

}  // namespace NxChem
