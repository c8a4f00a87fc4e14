// Minimum-cost matching: pairs up vertices of a graph so that the sum of the costs of the chosen edges and of the
// vertices left alone is least. Bond-order perception places its double bonds with it. Internal to the toolkit.
#ifndef NXBRIOCHEM_TOOLKIT_NXMATCHING_INTERNAL_H
#define NXBRIOCHEM_TOOLKIT_NXMATCHING_INTERNAL_H

#include <cstddef>
#include <limits>
#include <vector>

namespace NxChem {

class NxMatching {
 public:
  // Returns the vertex's number, counted from 0. The cost is paid when the vertex stays alone. A negative cost is paid,
  // as its amount, when the vertex is matched.
  unsigned AddVertex(int alone_cost);
  // Returns the edge's number, counted from 0. Cost not below 0; the ends differ.
  unsigned AddEdge(unsigned a, unsigned b, int cost);

  // Starts greedily, vertices with the fewest choices first, and improves along alternating paths, searched with a
  // bounded number of steps: a matching is best exactly when no such path improves it. The same input gives the same
  // matching.
  void Solve();

  bool IsChosen(unsigned edge) const { return chosen_[edges_[edge].a] == edge; }

 private:
  static constexpr unsigned kNone = std::numeric_limits<unsigned>::max();

  struct Edge {
    unsigned a;
    unsigned b;
    int cost;
  };

  unsigned Other(unsigned edge, unsigned vertex) const {
    return edges_[edge].a == vertex ? edges_[edge].b : edges_[edge].a;
  }
  void Choose(unsigned edge);
  void Release(unsigned edge);
  void StartGreedily();
  bool ImproveFrom(unsigned vertex);
  bool Extend(unsigned vertex, int change, unsigned depth);

  std::vector<Edge> edges_;
  std::vector<std::vector<unsigned>> edges_of_;
  std::vector<int> alone_cost_;
  std::vector<unsigned> chosen_;
  std::vector<char> on_path_;
  std::size_t steps_left_ = 0;
};

}  // namespace NxChem

#endif
