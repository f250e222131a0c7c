// Adjacent: one many-to-many relation between two kinds of geometric entity (the points at the
// ends of every curve, the solids on the sides of every sheet), compressed into one flat array
// of adjacent indices with an orientation number beside each, and per source a start and a
// count. The draw geometries fill it in tight loops and hand it out by reference.
//
// Source indices are not checked against the allocated size, nor runs against the allocated
// total: allocate() first with enough room.
#pragma once

#include <initializer_list>
#include <type_traits>
#include <utility>
#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT Adjacent : public nkbase::Serializable {
  DC_DECLARE_CLASS_IDENTITY(1)

 public:
  Adjacent();
  Adjacent(const Adjacent&) = default;
  Adjacent& operator=(const Adjacent&) = default;
  ~Adjacent() override;

  // Sizes the sources (every one, old and new, reset to "no adjacents") and the adjacent and
  // orientation arrays (existing values kept, new ones 0); filling restarts at position 0.
  void allocate(int numberOfSources, int totalNumberOfAdjacents);
  // Appends `list` (adjacent index, orientation) as the run of `source`. An empty list changes
  // nothing; a second call for one source orphans its first run.
  void setAdjacent(int source, const std::vector<std::pair<int, int>>& list);
  // The same with orientation 0 for every adjacent.
  void setAdjacent(int source, const std::vector<int>& list);
  // Braced lists, which would fit both vector overloads equally well: {4, 9}, {1} and {} are
  // adjacent indices, {{4, 1}} is (adjacent index, orientation) pairs. The pair form is a
  // template only so that an empty list prefers the index form.
  void setAdjacent(int source, std::initializer_list<int> list) {
    setAdjacent(source, std::vector<int>(list));
  }
  template <typename Pair = std::pair<int, int>,
            typename = std::enable_if_t<std::is_same_v<Pair, std::pair<int, int>>>>
  void setAdjacent(int source, std::initializer_list<Pair> list) {
    setAdjacent(source, std::vector<std::pair<int, int>>(list.begin(), list.end()));
  }
  // Replaces the whole content of `target` with a copy of this one.
  void duplicate(Adjacent& target) const;

  int getNumberOfFromIndices() const { return static_cast<int>(sources_.size()); }
  // The allocated length of the adjacent array, not the part filled so far.
  int getTotalNumberOfAdjacents() const { return static_cast<int>(adjacents_.size()); }
  // 0 when there are no sources at all, else the count of `source`. A run read from a corrupt
  // stream that reaches past the array counts only the entries inside it (none without a start).
  int getNumberOfAdjacents(int source) const;
  // The run of `source`, or null when there are no sources, the source has no run, or its
  // start (read from a corrupt stream) lies past the end of the array.
  const int* getAdjacents(int source) const;
  const int* getAdjacentOrientations(int source) const;
  // The run's start, or 0 when there are no sources or the source has no run.
  int getStartIndexInTotalArray(int source) const;
  // The whole adjacent array (null when empty).
  const int* getTotalAdjacents() const;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  template <typename List, typename Adj, typename Orient>
  void appendRun(int source, const List& list, Adj adjacentOf, Orient orientationOf);
  // Start of the run of `source`, or -1 when there is none to hand out.
  int runStart(int source) const;
  // Where the run of `source` begins in `array`, or null (see getAdjacents).
  const int* runIn(const std::vector<int>& array, int source) const;

  std::vector<std::pair<int, int>> sources_;  // (start, count); (-1, 0) when not set
  std::vector<int> adjacents_;
  std::vector<int> orientations_;  // beside adjacents_, same length
  int nextFreeElement_ = 0;
};

}  // namespace nkdatacarrier
