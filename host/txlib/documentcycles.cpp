#include <algorithm>

#include "documentreader.h"

namespace Tamrin::Tessera {

namespace {

using Edges = std::vector<std::pair<std::size_t, std::size_t>>;

/// The other ends of each node's edges, one after the other.
class Neighbours {
 public:
  Neighbours(std::size_t nodes, const Edges& edges, bool forward) : starts_(nodes + 1) {
    for (const auto& edge : edges) ++starts_[(forward ? edge.first : edge.second) + 1];
    for (std::size_t i = 0; i < nodes; ++i) starts_[i + 1] += starts_[i];
    ends_.resize(edges.size());
    auto next = starts_;
    for (const auto& edge : edges)
      ends_[next[forward ? edge.first : edge.second]++] = forward ? edge.second : edge.first;
  }
  const std::size_t* begin(std::size_t node) const { return ends_.data() + starts_[node]; }
  const std::size_t* end(std::size_t node) const { return ends_.data() + starts_[node + 1]; }

 private:
  std::vector<std::size_t> starts_;
  std::vector<std::size_t> ends_;
};

}  // namespace

std::vector<std::vector<std::size_t>> FindCycles(std::size_t nodes, const Edges& edges) {
  const Neighbours after(nodes, edges, true);
  const Neighbours before(nodes, edges, false);
  std::vector<std::size_t> waiting(nodes);
  std::vector<std::size_t> ready;
  std::vector<char> done(nodes);
  for (std::size_t i = 0; i < nodes; ++i) {
    waiting[i] = static_cast<std::size_t>(before.end(i) - before.begin(i));
    if (waiting[i] == 0) ready.push_back(i);
  }
  std::vector<std::vector<std::size_t>> cycles;
  std::vector<std::size_t> placeOnWalk(nodes);
  for (std::size_t next = 0;;) {
    while (!ready.empty()) {
      const std::size_t node = ready.back();
      ready.pop_back();
      if (done[node]) continue;
      done[node] = 1;
      for (const auto* end = after.begin(node); end != after.end(node); ++end) {
        if (--waiting[*end] == 0 && !done[*end]) ready.push_back(*end);
      }
    }
    while (next < nodes && done[next]) ++next;
    if (next == nodes) return cycles;
    // Each one left waits for another one left: a walk against the edges comes round.
    std::vector<std::size_t> walk;
    std::size_t node = next;
    while (placeOnWalk[node] == 0) {
      walk.push_back(node);
      placeOnWalk[node] = walk.size();
      node = *std::find_if(before.begin(node), before.end(node), [&](std::size_t other) { return !done[other]; });
    }
    const auto first = walk.begin() + static_cast<std::ptrdiff_t>(placeOnWalk[node] - 1);
    std::vector<std::size_t> cycle(first, walk.end());
    std::reverse(cycle.begin(), cycle.end());
    std::rotate(cycle.begin(), std::min_element(cycle.begin(), cycle.end()), cycle.end());
    for (const std::size_t passed : walk) placeOnWalk[passed] = 0;
    // Taken as done, so that what only waits for this cycle is not told as one.
    ready.insert(ready.end(), cycle.begin(), cycle.end());
    cycles.push_back(std::move(cycle));
  }
}

}  // namespace Tamrin::Tessera
