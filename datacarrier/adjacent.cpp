#include "datacarrier/adjacent.h"

#include "datacarrier/internal/serialio.h"

#include <algorithm>

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(Adjacent, "RenderAdjacent")

Adjacent::Adjacent() = default;
Adjacent::~Adjacent() = default;

void Adjacent::allocate(int numberOfSources, int totalNumberOfAdjacents) {
  sources_.assign(static_cast<std::size_t>(numberOfSources), {-1, 0});
  adjacents_.resize(static_cast<std::size_t>(totalNumberOfAdjacents));
  orientations_.resize(static_cast<std::size_t>(totalNumberOfAdjacents));
  nextFreeElement_ = 0;
}

template <typename List, typename Adj, typename Orient>
void Adjacent::appendRun(int source, const List& list, Adj adjacentOf, Orient orientationOf) {
  const int n = static_cast<int>(list.size());
  if (n <= 0) return;
  sources_[source].first = nextFreeElement_;
  for (int i = 0; i < n; ++i) {
    adjacents_[nextFreeElement_ + i] = adjacentOf(list[i]);
    orientations_[nextFreeElement_ + i] = orientationOf(list[i]);
  }
  nextFreeElement_ += n;
  sources_[source].second = n;
}

void Adjacent::setAdjacent(int source, const std::vector<std::pair<int, int>>& list) {
  appendRun(
      source, list, [](const std::pair<int, int>& e) { return e.first; },
      [](const std::pair<int, int>& e) { return e.second; });
}

void Adjacent::setAdjacent(int source, const std::vector<int>& list) {
  appendRun(
      source, list, [](int e) { return e; }, [](int) { return 0; });
}

void Adjacent::duplicate(Adjacent& target) const {
  target.allocate(getNumberOfFromIndices(), getTotalNumberOfAdjacents());
  target.sources_ = sources_;
  target.adjacents_ = adjacents_;
  target.orientations_ = orientations_;
  target.nextFreeElement_ = nextFreeElement_;
}

int Adjacent::runStart(int source) const {
  if (sources_.empty()) return -1;
  return sources_[source].first < 0 ? -1 : sources_[source].first;
}

int Adjacent::getNumberOfAdjacents(int source) const {
  if (sources_.empty()) return 0;
  const int count = sources_[source].second;
  // The runs that setAdjacent forms always lie inside the array; one read from a corrupt stream
  // may not, and is cut at the array's end (or to nothing without a start) so that a caller
  // reading this many entries from getAdjacents stays inside it.
  const int start = runStart(source);
  if (start < 0 || static_cast<std::size_t>(start) > adjacents_.size()) return 0;
  return static_cast<int>(std::min<std::size_t>(count < 0 ? 0 : count, adjacents_.size() - start));
}

const int* Adjacent::runIn(const std::vector<int>& array, int source) const {
  const int start = runStart(source);
  // A start past the end would form a pointer outside the array (or offset a null one).
  if (start < 0 || static_cast<std::size_t>(start) > array.size()) return nullptr;
  return array.data() + start;
}

const int* Adjacent::getAdjacents(int source) const {
  return runIn(adjacents_, source);
}

const int* Adjacent::getAdjacentOrientations(int source) const {
  return runIn(orientations_, source);
}

int Adjacent::getStartIndexInTotalArray(int source) const {
  const int start = runStart(source);
  return start < 0 ? 0 : start;
}

const int* Adjacent::getTotalAdjacents() const {
  return adjacents_.empty() ? nullptr : adjacents_.data();
}

void Adjacent::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");
  os << getNumberOfFromIndices();
  os.label("number of sources");
  os << getTotalNumberOfAdjacents();
  os.label("total number of adjacents");
  for (const auto& [start, count] : sources_) {
    os << start;
    os.label("start index");
    os << count;
    os.label("number of adjacent");
  }
  for (std::size_t i = 0; i < adjacents_.size(); ++i) {
    os << adjacents_[i];
    os.label("adjacent index");
    os << orientations_[i];
    os.label("adjacent orientation index");
  }
  os << nextFreeElement_;
  os.label("next free element");
}

void Adjacent::deserializeRaw(ISerialStream& is) {
  const int version = DC_READ_VERSION(is, 0, VERSION);
  // Each source takes two ints, each adjacent one (version 0) or two.
  const int sources = DC_READ_COUNT(is, 8);
  const int total = DC_READ_COUNT(is, version == 0 ? 4 : 8);
  // Filled as the values arrive rather than sized by the counts first, so that a corrupt count
  // from a stream that cannot tell its length takes no memory of its own.
  sources_.clear();
  sources_.reserve(serialio::initialCapacity(is, sources));
  for (int i = 0; i < sources; ++i) {
    std::pair<int, int> run;
    is >> run.first >> run.second;
    sources_.push_back(run);
  }
  adjacents_.clear();
  orientations_.clear();
  adjacents_.reserve(serialio::initialCapacity(is, total));
  orientations_.reserve(serialio::initialCapacity(is, total));
  for (int i = 0; i < total; ++i) {
    int adjacent = 0;
    int orientation = 0;  // version 0 had no orientations
    is >> adjacent;
    if (version >= 1) is >> orientation;
    adjacents_.push_back(adjacent);
    orientations_.push_back(orientation);
  }
  is >> nextFreeElement_;
}

}  // namespace nkdatacarrier
