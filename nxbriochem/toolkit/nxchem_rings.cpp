// Ring perception: which bonds are in rings, the size of the smallest ring through each atom and bond, and which bonds
// are rotors.
//
// A bond is in a ring exactly when it is not a bridge of the molecular graph (Tarjan, Inf. Process. Lett. 2 (1974)
// 160). Without the bridges, all bonds of a chain of atoms with two neighbours are in the same rings, so the search
// starts at the branching atoms alone. A breadth-first search labels every atom with the first bond of its path; where
// an edge joins two labels, it closes the smallest ring through those two bonds (after Itai and Rodeh, SIAM J. Comput.
// 7 (1978) 413). The search ends when no smaller ring is possible, which in chemistry is a few bonds away. A protein's
// large rings through disulfide bridges have few branching atoms.
#include <algorithm>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include <nxbriochem/toolkit/nxchem.h>

namespace NxChem {
namespace {

constexpr unsigned kNone = std::numeric_limits<unsigned>::max();

// An undirected graph without loops and multiple edges, as adjacency lists in one array.
class Graph {
 public:
  struct Step {
    unsigned to;
    unsigned edge;
  };
  using Edge = std::pair<unsigned, unsigned>;

  // Keeps the edges for which keep[edge] is set, all of them when keep is empty.
  Graph(unsigned n_vertices, const std::vector<Edge>& edges, const std::vector<char>& keep) : start_(n_vertices + 1) {
    const auto kept = [&keep](unsigned e) { return keep.empty() || keep[e] != 0; };
    for (unsigned e = 0; e < edges.size(); ++e) {
      if (kept(e)) {
        ++start_[edges[e].first];
        ++start_[edges[e].second];
      }
    }
    unsigned sum = 0;
    for (unsigned& begin : start_) {
      sum += begin;
      begin = sum;
    }
    // Filled backwards, so that each start ends at the beginning of its list.
    steps_.resize(sum);
    for (unsigned e = static_cast<unsigned>(edges.size()); e-- > 0;) {
      if (kept(e)) {
        const auto [a, b] = edges[e];
        steps_[--start_[a]] = {b, e};
        steps_[--start_[b]] = {a, e};
      }
    }
  }

  unsigned NumVertices() const { return static_cast<unsigned>(start_.size()) - 1; }
  unsigned Degree(unsigned v) const { return start_[v + 1] - start_[v]; }
  const Step& At(unsigned v, unsigned k) const { return steps_[start_[v] + k]; }
  std::span<const Step> Steps(unsigned v) const { return {steps_.data() + start_[v], Degree(v)}; }

 private:
  std::vector<unsigned> start_;
  std::vector<Step> steps_;
};

// Marks the edges that lie on a cycle, by a depth-first search: an edge to a child is a bridge exactly when nothing at
// or below the child leads back above it.
std::vector<char> FindCycleEdges(const Graph& graph, std::size_t n_edges) {
  struct Visit {
    unsigned vertex;
    unsigned edge;
    unsigned next;
  };
  std::vector<char> in_cycle(n_edges, 1);
  std::vector<unsigned> order(graph.NumVertices(), kNone);
  std::vector<unsigned> low(graph.NumVertices(), kNone);
  std::vector<Visit> path;
  unsigned clock = 0;
  for (unsigned root = 0; root < graph.NumVertices(); ++root) {
    if (order[root] != kNone) {
      continue;
    }
    order[root] = low[root] = clock++;
    path.push_back({root, kNone, 0});
    while (!path.empty()) {
      Visit& at = path.back();
      if (at.next < graph.Degree(at.vertex)) {
        const Graph::Step step = graph.At(at.vertex, at.next++);
        if (step.edge == at.edge) {
          continue;
        }
        if (order[step.to] != kNone) {
          low[at.vertex] = std::min(low[at.vertex], order[step.to]);
        } else {
          order[step.to] = low[step.to] = clock++;
          path.push_back({step.to, step.edge, 0});
        }
        continue;
      }
      const Visit done = at;
      path.pop_back();
      if (!path.empty()) {
        const unsigned parent = path.back().vertex;
        low[parent] = std::min(low[parent], low[done.vertex]);
        if (low[done.vertex] > order[parent]) {
          in_cycle[done.edge] = 0;
        }
      }
    }
  }
  return in_cycle;
}

// Finds the smallest cycle through every edge of a graph without bridges.
class SmallestCycles {
 public:
  SmallestCycles(const Graph& graph, std::size_t n_edges)
      : graph_(graph), size_(n_edges, 0), found_(graph.NumVertices()) {
    for (unsigned v = 0; v < graph.NumVertices(); ++v) {
      if (graph.Degree(v) > 2) {
        SearchFrom(v);
      }
    }
    // The remaining vertices form isolated cycles.
    for (unsigned v = 0; v < graph.NumVertices(); ++v) {
      if (graph.Degree(v) == 2 && size_[graph.At(v, 0).edge] == 0) {
        Spread(v, graph.At(v, 0), Spread(v, graph.At(v, 0), 0));
      }
    }
  }

  // 0 for edges that the graph left out.
  const std::vector<unsigned>& Sizes() const { return size_; }

 private:
  struct Found {
    unsigned source = kNone;
    unsigned depth = 0;
    unsigned branch = 0;
    unsigned parent_edge = kNone;
  };

  void SearchFrom(unsigned source) {
    const unsigned degree = graph_.Degree(source);
    best_.assign(degree, kNone);
    queue_.clear();
    found_[source] = {source, 0, kNone, kNone};
    bool needed = false;
    for (unsigned k = 0; k < degree; ++k) {
      const Graph::Step step = graph_.At(source, k);
      found_[step.to] = {source, 1, k, step.edge};
      queue_.push_back(step.to);
      needed = needed || size_[step.edge] == 0;
    }
    if (!needed) {
      return;
    }
    unsigned depth = 0;
    // The queue grows during the loop.
    std::size_t head = 0;
    while (head < queue_.size()) {
      const unsigned vertex = queue_[head++];
      if (found_[vertex].depth != depth) {
        depth = found_[vertex].depth;
        // Any cycle found from here on has at least 2 depth + 1 edges.
        if (2 * depth + 1 >= LargestOpen(source)) {
          break;
        }
      }
      Expand(source, vertex);
    }
    for (unsigned k = 0; k < degree; ++k) {
      const Graph::Step step = graph_.At(source, k);
      if (size_[step.edge] == 0) {
        Spread(source, step, best_[k]);
      }
    }
  }

  void Expand(unsigned source, unsigned vertex) {
    const Found here = found_[vertex];
    for (const Graph::Step& step : graph_.Steps(vertex)) {
      Found& there = found_[step.to];
      if (step.edge == here.parent_edge) {
        continue;
      }
      if (there.source != source) {
        there = {source, here.depth + 1, here.branch, step.edge};
        queue_.push_back(step.to);
      } else if (there.branch != here.branch) {
        const unsigned size = here.depth + there.depth + 1;
        best_[here.branch] = std::min(best_[here.branch], size);
        best_[there.branch] = std::min(best_[there.branch], size);
      }
    }
  }

  unsigned LargestOpen(unsigned source) const {
    unsigned largest = 0;
    for (unsigned k = 0; k < best_.size(); ++k) {
      if (size_[graph_.At(source, k).edge] == 0) {
        largest = std::max(largest, best_[k]);
      }
    }
    return largest;
  }

  // Gives the size to the edges from the start along the step, up to the next branching vertex or back to the start.
  // Returns their number.
  unsigned Spread(unsigned start, Graph::Step step, unsigned size) {
    unsigned n = 1;
    size_[step.edge] = size;
    while (step.to != start && graph_.Degree(step.to) == 2) {
      const Graph::Step& first = graph_.At(step.to, 0);
      step = first.edge != step.edge ? first : graph_.At(step.to, 1);
      size_[step.edge] = size;
      ++n;
    }
    return n;
  }

  const Graph& graph_;
  std::vector<unsigned> size_;
  std::vector<Found> found_;
  std::vector<unsigned> queue_;
  std::vector<unsigned> best_;
};

// The molecule's bonds as edges: one for each bonded pair of different atoms.
struct BondEdges {
  std::vector<Graph::Edge> edges;
  // By bond index; kNone for deleted bonds, placeholders and bonds of an atom with itself.
  std::vector<unsigned> of_bond;
};

BondEdges CollectEdges(const NxMolBase& mol) {
  BondEdges result;
  result.edges.reserve(mol.NumBonds());
  result.of_bond.assign(mol.GetMaxBondIdx(), kNone);
  // For each atom, the last atom that was seen bonded to it, and the edge of that bond.
  std::vector<std::pair<unsigned, unsigned>> last(mol.GetMaxAtomIdx(), {kNone, kNone});
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    for (const NxBondBase* bond : atom.GetBonds()) {
      const NxAtomBase* other = bond->GetNbr(atom);
      if (other == nullptr || other->GetIdx() <= atom.GetIdx()) {
        continue;
      }
      auto& [seen_from, edge] = last[other->GetIdx()];
      if (seen_from != atom.GetIdx()) {
        seen_from = atom.GetIdx();
        edge = static_cast<unsigned>(result.edges.size());
        result.edges.emplace_back(atom.GetIdx(), other->GetIdx());
      }
      result.of_bond[bond->GetIdx()] = edge;
    }
  }
  return result;
}

}  // namespace

void NxMolBase::PerceiveRings() const {
  if (rings_known_) {
    return;
  }
  const BondEdges bonds = CollectEdges(*this);
  const Graph whole(GetMaxAtomIdx(), bonds.edges, {});
  const Graph rings(GetMaxAtomIdx(), bonds.edges, FindCycleEdges(whole, bonds.edges.size()));
  const SmallestCycles cycles(rings, bonds.edges.size());

  const unsigned* atomic_nums = store_.AtomicNums();
  const auto is_heavy = [atomic_nums](unsigned idx) { return atomic_nums[idx] > 1; };
  std::vector<unsigned> heavy_degree(GetMaxAtomIdx());
  std::vector<unsigned> atom_rings(GetMaxAtomIdx());
  std::vector<unsigned> bond_rings(GetMaxBondIdx());
  for (const NxAtomBase& atom : GetAtoms()) {
    const unsigned idx = atom.GetIdx();
    unsigned smallest = kNone;
    for (const Graph::Step& step : rings.Steps(idx)) {
      smallest = std::min(smallest, cycles.Sizes()[step.edge]);
    }
    atom_rings[idx] = smallest != kNone ? smallest : 0;
    const auto steps = whole.Steps(idx);
    heavy_degree[idx] = static_cast<unsigned>(
        std::count_if(steps.begin(), steps.end(), [&](const Graph::Step& step) { return is_heavy(step.to); }));
  }
  for (const NxBondBase& bond : GetBonds()) {
    const unsigned edge = bonds.of_bond[bond.GetIdx()];
    if (edge == kNone) {
      continue;
    }
    const unsigned ring = cycles.Sizes()[edge];
    bool is_rotor = false;
    if (bond.GetOrder() == 1 && ring == 0) {
      // The heavy neighbours of each end, the other end not counted.
      const auto bgn = static_cast<unsigned>(bond.GetBgnIdx());
      const auto end = static_cast<unsigned>(bond.GetEndIdx());
      is_rotor = heavy_degree[bgn] > (is_heavy(end) ? 1U : 0U) && heavy_degree[end] > (is_heavy(bgn) ? 1U : 0U);
    }
    bond_rings[bond.GetIdx()] = 2 * ring + static_cast<unsigned>(is_rotor);
  }
  atom_rings_.swap(atom_rings);
  bond_rings_.swap(bond_rings);
  rings_known_ = true;
}

}  // namespace NxChem
