#include <nxbriochem/toolkit/nxmatching_internal.h>

#include <algorithm>
#include <set>
#include <utility>

namespace NxChem {
namespace {

// Bounds of the search. A path of 40 exchanged edges crosses any ring system of a drug or a cofactor.
constexpr unsigned kMaxExchanges = 40;
constexpr std::size_t kStepsPerStart = 4000;
constexpr std::size_t kStepsPerVertex = 400;
constexpr std::size_t kStepsAtLeast = 200000;

}  // namespace

unsigned NxMatching::AddVertex(int alone_cost) {
  alone_cost_.push_back(alone_cost);
  edges_of_.emplace_back();
  chosen_.push_back(kNone);
  return static_cast<unsigned>(alone_cost_.size() - 1);
}

unsigned NxMatching::AddEdge(unsigned a, unsigned b, int cost) {
  const auto edge = static_cast<unsigned>(edges_.size());
  edges_.push_back({a, b, cost});
  edges_of_[a].push_back(edge);
  edges_of_[b].push_back(edge);
  return edge;
}

void NxMatching::Choose(unsigned edge) { chosen_[edges_[edge].a] = chosen_[edges_[edge].b] = edge; }

void NxMatching::Release(unsigned edge) { chosen_[edges_[edge].a] = chosen_[edges_[edge].b] = kNone; }

void NxMatching::Solve() {
  StartGreedily();
  on_path_.assign(alone_cost_.size(), 0);
  std::size_t budget = kStepsAtLeast + kStepsPerVertex * alone_cost_.size();
  // Costs are whole numbers and fall with every improvement, so this ends.
  bool improved = true;
  while (improved) {
    improved = false;
    for (unsigned vertex = 0; vertex < alone_cost_.size(); ++vertex) {
      if (budget == 0) {
        return;
      }
      const std::size_t granted = std::min(budget, kStepsPerStart);
      steps_left_ = granted;
      improved = ImproveFrom(vertex) || improved;
      budget -= granted - steps_left_;
    }
  }
}

void NxMatching::StartGreedily() {
  // Open vertices by how many open neighbours they have.
  std::set<std::pair<std::size_t, unsigned>> open;
  std::vector<std::size_t> choices(alone_cost_.size());
  for (unsigned v = 0; v < alone_cost_.size(); ++v) {
    choices[v] = edges_of_[v].size();
    if (choices[v] != 0) {
      open.emplace(choices[v], v);
    }
  }
  const auto close = [&](unsigned v) {
    open.erase({choices[v], v});
    for (const unsigned edge : edges_of_[v]) {
      const unsigned w = Other(edge, v);
      if (open.erase({choices[w], w}) != 0) {
        open.emplace(--choices[w], w);
      }
    }
  };
  while (!open.empty()) {
    const unsigned v = open.begin()->second;
    unsigned best = kNone;
    for (const unsigned edge : edges_of_[v]) {
      const unsigned w = Other(edge, v);
      if (chosen_[w] != kNone || !open.contains({choices[w], w}) ||
          edges_[edge].cost >= alone_cost_[v] + alone_cost_[w]) {
        continue;
      }
      if (best == kNone ||
          std::pair(choices[w], edges_[edge].cost) < std::pair(choices[Other(best, v)], edges_[best].cost)) {
        best = edge;
      }
    }
    close(v);
    if (best != kNone) {
      Choose(best);
      close(Other(best, v));
    }
  }
}

// Looks for an alternating path or cycle through the vertex that lowers the cost, and applies it.
bool NxMatching::ImproveFrom(unsigned vertex) {
  const unsigned edge = chosen_[vertex];
  if (edge == kNone) {
    return alone_cost_[vertex] > 0 && Extend(vertex, -alone_cost_[vertex], 0);
  }
  Release(edge);
  // The vertex stays alone, unless the path comes back to it; its mate looks for a new mate.
  if (Extend(Other(edge, vertex), alone_cost_[vertex] - edges_[edge].cost, 0)) {
    return true;
  }
  Choose(edge);
  return false;
}

// The vertex has just lost its mate; the cost of that is not counted yet. `change` is the cost of everything else done
// so far. The vertex either stays alone or takes another mate, which may lose its own mate in turn. False, with
// everything as before, when no way within the bounds ends below 0.
bool NxMatching::Extend(unsigned vertex, int change, unsigned depth) {
  if (steps_left_ == 0 || depth > kMaxExchanges) {
    return false;
  }
  --steps_left_;
  if (change + alone_cost_[vertex] < 0) {
    return true;
  }
  on_path_[vertex] = 1;
  bool found = false;
  for (const unsigned edge : edges_of_[vertex]) {
    const unsigned mate = Other(edge, vertex);
    if (on_path_[mate] != 0) {
      continue;
    }
    const int with_edge = change + edges_[edge].cost;
    const unsigned old = chosen_[mate];
    if (old == kNone) {
      if (with_edge - alone_cost_[mate] < 0) {
        Choose(edge);
        found = true;
        break;
      }
      continue;
    }
    Release(old);
    Choose(edge);
    on_path_[mate] = 1;
    found = Extend(Other(old, mate), with_edge - edges_[old].cost, depth + 1);
    on_path_[mate] = 0;
    if (found) {
      break;
    }
    Release(edge);
    Choose(old);
  }
  on_path_[vertex] = 0;
  return found;
}

}  // namespace NxChem
