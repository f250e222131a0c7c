// The loop that every selection query of the draw geometries shares: the dimension check, the
// walk over the listed candidates with its index check, and the three ways of answering (append
// the matches, do all match, does any match). A query is one row of fixed raise lines and one
// per-entity predicate; the geometry says how many entities of each dimension it selects from.
#pragma once

#include <array>
#include <vector>

#include "datacarrier/errorcodes.h"
#include "datacarrier/internal/raise.h"

namespace nkdatacarrier {
namespace selection {

// How a query answers: the find forms append every match to the result; the test forms answer
// "all match" (inside: true for no candidates) or "some match" (touching: false for none).
enum class Answer { APPEND, ALL, ANY };

// The answer of a test form: all candidates for the inside sense, any of them for touching.
inline Answer testAnswer(bool inside) {
  return inside ? Answer::ALL : Answer::ANY;
}

// The fixed source lines of one query's raises (one row per operation and sense).
struct Sites {
  // Line of the raise for a dimension the geometry does not select.
  int dimension;
  // Lines of the "VEXAL_assertion_failure" raise for a candidate out of range, per dimension
  // 1, 2, 3; 0 leaves candidates of that dimension unchecked: one that names no entity then
  // never matches (so "all match" is false).
  std::array<int, 3> index = {0, 0, 0};
  // The code of the dimension raise.
  const char* dimensionCode = errors::kInvalidEntityDimension;
};

// The operation's two rows, by sense. A checked geometry gives both kinds of lines, e.g.
// {{663, {627, 635, 643}}, {711, {670, 678, 686}}} for inside and touching.
struct SitesBySense {
  Sites inside;
  Sites touching;
  const Sites& operator()(bool isInside) const { return isInside ? inside : touching; }
};

// How many entities of each dimension (0 to 3) a query selects from; -1 where it selects none.
using EntityCounts = std::array<int, 4>;

// Runs one query. `file` is the raising module's __FILE__. The dimension is checked before any
// candidate, so a refused call appends nothing, also for an empty list. Candidates are taken
// in order; matches(dim, index) tests one that names an entity; APPEND appends to *result. A raise
// on a later candidate keeps what was appended before it. Returns the answer of the test forms
// (APPEND: true).
template <typename Matches>
bool run(const char* file, const Sites& sites, Answer answer, const EntityCounts& counts, int dim,
         const std::vector<int>& candidates, Matches matches, std::vector<int>* result = nullptr) {
  const int n = dim >= 0 && dim <= 3 ? counts[static_cast<std::size_t>(dim)] : -1;
  if (n < 0) raiseError(file, sites.dimension, sites.dimensionCode);
  const int indexLine = dim >= 1 ? sites.index[static_cast<std::size_t>(dim - 1)] : 0;
  for (int i : candidates) {
    const bool known = i >= 0 && i < n;
    if (!known && indexLine != 0) raiseError(file, indexLine, errors::kAssertionFailure);
    const bool match = known && matches(dim, i);
    switch (answer) {
      case Answer::APPEND:
        if (match && result != nullptr) result->push_back(i);
        break;
      case Answer::ALL:
        if (!match) return false;
        break;
      case Answer::ANY:
        if (match) return true;
        break;
    }
  }
  return answer != Answer::ANY;
}

}  // namespace selection
}  // namespace nkdatacarrier
