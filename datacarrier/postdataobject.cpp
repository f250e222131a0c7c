#include "datacarrier/postdataobject.h"

#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <type_traits>

#include "datacarrier/renderdrawgeom.h"
#include "qvutil/nkmath.h"

namespace nkdatacarrier {

namespace {

using nkvec::DVec3;

// Room reserved ahead of a count read from a stream: the rest grows while reading, so that a
// corrupt count in a stream of unknown length cannot reserve gigabytes.
constexpr int kReserveAhead = 4096;

// A null group or bounds pointer reads as an empty array everywhere the object walks its groups.
template <typename A>
const A& orEmpty(const nkboost::shared_ptr<A>& p) {
  static const A empty;
  return p ? *p : empty;
}

// Group `g` of a group vector, empty when the object holds no such group.
template <typename A>
const A& groupOrEmpty(const std::vector<nkboost::shared_ptr<A>>& groups, int g) {
  return g >= 0 && static_cast<std::size_t>(g) < groups.size() ? orEmpty(groups[g])
                                                               : orEmpty(nkboost::shared_ptr<A>());
}

template <typename A>
nkboost::shared_ptr<A> deepCopy(const nkboost::shared_ptr<A>& p) {
  return p ? nkboost::make_shared<A>(*p) : nullptr;
}

template <typename A>
std::vector<nkboost::shared_ptr<A>> deepCopy(const std::vector<nkboost::shared_ptr<A>>& groups) {
  std::vector<nkboost::shared_ptr<A>> copy(groups.size());
  std::transform(groups.begin(), groups.end(), copy.begin(),
                 [](const nkboost::shared_ptr<A>& g) { return deepCopy(g); });
  return copy;
}

template <typename T>
unsigned int countOf(const std::vector<T>& v) {
  return static_cast<unsigned int>(v.size());
}

// ---- stream form ----

// One-level array: unsigned length, then the elements.
template <typename T>
std::enable_if_t<std::is_arithmetic_v<T>> writeValues(OSerialStream& os, const std::vector<T>& v) {
  os << countOf(v);
  for (T x : v)
    os << x;
}

// Two-level array: unsigned number of inner arrays, then each as above.
template <typename T>
void writeValues(OSerialStream& os, const std::vector<std::vector<T>>& arrays) {
  os << countOf(arrays);
  for (const auto& a : arrays)
    writeValues(os, a);
}

// A group vector: its count, the count label, then per group the group label and the group.
template <typename A>
void writeGroups(OSerialStream& os, const std::vector<nkboost::shared_ptr<A>>& groups,
                 const char* countLabel, const char* groupLabel) {
  os << countOf(groups);
  os.label(countLabel);
  for (const auto& g : groups) {
    os.label(groupLabel);
    writeValues(os, orEmpty(g));
  }
}

// The bounds: the label, then the two-level array.
inline void writeGroups(OSerialStream& os, const PostDataObject::DoubleArraysPtr& bounds,
                        const char* label, const char*) {
  os.label(label);
  writeValues(os, orEmpty(bounds));
}

template <typename T>
std::enable_if_t<std::is_arithmetic_v<T>> readValues(ISerialStream& is, std::vector<T>& v) {
  is >> v;  // the stream's vector input bounds the length by the bytes left
}

template <typename T>
void readValues(ISerialStream& is, std::vector<std::vector<T>>& arrays) {
  const int n = DC_READ_COUNT(is, sizeof(unsigned int));  // each inner array has a length
  arrays.clear();
  arrays.reserve(static_cast<std::size_t>(std::min(n, kReserveAhead)));
  for (int i = 0; i < n; ++i) {
    arrays.emplace_back();
    is >> arrays.back();
  }
}

// Every group gets a new array; the previous arrays are released, never overwritten.
template <typename A>
void readGroups(ISerialStream& is, std::vector<nkboost::shared_ptr<A>>& groups) {
  const int n = DC_READ_COUNT(is, sizeof(unsigned int));  // each group starts with a count
  groups.clear();
  groups.reserve(static_cast<std::size_t>(std::min(n, kReserveAhead)));
  for (int i = 0; i < n; ++i) {
    groups.push_back(nkboost::make_shared<A>());
    readValues(is, *groups.back());
  }
}

// The bounds are read into a new array; whoever shared the old one keeps it.
inline void readGroups(ISerialStream& is, PostDataObject::DoubleArraysPtr& bounds) {
  bounds = nkboost::make_shared<PostDataObject::DoubleArrays>();
  readValues(is, *bounds);
}

// ---- emptying, copying and taking over ----

// Group vectors lose their groups; the bounds object is kept and emptied, so that whoever shares
// it sees it emptied.
template <typename A>
void emptyGroups(std::vector<nkboost::shared_ptr<A>>& groups) {
  groups.clear();
}
inline void emptyGroups(PostDataObject::DoubleArraysPtr& bounds) {
  bounds->clear();
}

// A group vector built aside replaces the object's. The bounds object is kept and resized in
// place to the shape built aside (values that remain are kept); whoever shares it sees the new
// shape.
template <typename A>
void takeOver(std::vector<nkboost::shared_ptr<A>>& groups,
              std::vector<nkboost::shared_ptr<A>>& built) {
  groups.swap(built);
}
inline void takeOver(PostDataObject::DoubleArraysPtr& bounds,
                     const PostDataObject::DoubleArraysPtr& built) {
  bounds->resize(built->size());
  for (std::size_t i = 0; i < built->size(); ++i) {
    (*bounds)[i].resize((*built)[i].size());
  }
}

// ---- block form ----
// The shape of a nested vector is its size followed by the shapes of its elements; shared
// pointers are looked through. One recursion thus describes group vectors, two-level arrays and
// the bounds alike, and the sender's and the receiver's walks cannot drift apart.

template <typename T>
int blockBytes(const std::vector<T>& v) {
  if (v.size() > static_cast<std::size_t>(INT_MAX) / sizeof(T)) {
    DC_RAISE(errors::kBlockTooLarge,
             "an array of " + std::to_string(v.size()) + " elements does not fit in one block");
  }
  return static_cast<int>(v.size() * sizeof(T));
}

template <typename T>
void appendShape(std::vector<int>& p, const std::vector<T>& v);
template <typename A>
void appendShape(std::vector<int>& p, const nkboost::shared_ptr<A>& x) {
  appendShape(p, orEmpty(x));
}
template <typename T>
void appendShape(std::vector<int>& p, const std::vector<T>& v) {
  if constexpr (std::is_arithmetic_v<T>) blockBytes(v);  // refuse what the receiver cannot size
  p.push_back(static_cast<int>(v.size()));
  if constexpr (!std::is_arithmetic_v<T>) {
    for (const auto& x : v)
      appendShape(p, x);
  }
}

template <typename T>
void addBlocks(InPlaceSerDataHolder& h, std::vector<T>& v);
template <typename A>
void addBlocks(InPlaceSerDataHolder& h, nkboost::shared_ptr<A>& x) {
  if (x) addBlocks(h, *x);
}
template <typename T>
void addBlocks(InPlaceSerDataHolder& h, std::vector<T>& v) {
  if constexpr (std::is_arithmetic_v<T>) {
    if (!v.empty()) h.addDataBlock(blockBytes(v), v.data());
  } else {
    for (auto& x : v)
      addBlocks(h, x);
  }
}

// Walks a parameter vector, refusing what would read past its end or allocate without bound.
class ParamReader {
 public:
  ParamReader(const std::vector<int>& p, std::size_t cursor) : p_(p), cursor_(cursor) {}

  std::size_t cursor() const { return cursor_; }

  // A number of containers, each of which needs at least one further entry (its own size).
  int takeCount() {
    const int n = takeSize();
    if (static_cast<std::size_t>(n) > p_.size() - cursor_) {
      DC_RAISE(nkbase::kEndOfFileReached,
               "parameter " + std::to_string(cursor_ - 1) + " announces " + std::to_string(n) +
                   " entries but " + std::to_string(p_.size() - cursor_) + " parameters follow");
    }
    return n;
  }

  // A number of elements of `elementBytes` bytes, which must fit in one block.
  int takeLength(std::size_t elementBytes) {
    const int n = takeSize();
    if (static_cast<std::size_t>(n) > static_cast<std::size_t>(INT_MAX) / elementBytes) {
      DC_RAISE(errors::kInvalidBlockParameter, "parameter " + std::to_string(cursor_ - 1) +
                                                   " announces an array of " + std::to_string(n) +
                                                   " elements, more than one block holds");
    }
    return n;
  }

 private:
  int takeSize() {
    if (cursor_ >= p_.size()) {
      DC_RAISE(nkbase::kEndOfFileReached,
               "the parameters end at " + std::to_string(p_.size()) + " before the shape does");
    }
    const int n = p_[cursor_++];
    if (n < 0) {
      DC_RAISE(errors::kInvalidBlockParameter, "negative size " + std::to_string(n) +
                                                   " at parameter " + std::to_string(cursor_ - 1));
    }
    return n;
  }

  const std::vector<int>& p_;
  std::size_t cursor_;
};

// Builds fresh, zeroed arrays in the shape that appendShape wrote.
template <typename T>
void buildFromShape(ParamReader& r, std::vector<T>& v);
template <typename A>
void buildFromShape(ParamReader& r, nkboost::shared_ptr<A>& x) {
  x = nkboost::make_shared<A>();
  buildFromShape(r, *x);
}
template <typename T>
void buildFromShape(ParamReader& r, std::vector<T>& v) {
  if constexpr (std::is_arithmetic_v<T>) {
    v.assign(static_cast<std::size_t>(r.takeLength(sizeof(T))), T());
  } else {
    const int n = r.takeCount();
    v.clear();
    v.resize(static_cast<std::size_t>(n));
    for (auto& x : v)
      buildFromShape(r, x);
  }
}

// ---- geometry of the groups ----

// Missing coordinates of a point argument count as 0.
DVec3 pointOf(const Array<double, 1>& a) {
  const int n = a.size();
  return DVec3(n > 0 ? a[0] : 0.0, n > 1 ? a[1] : 0.0, n > 2 ? a[2] : 0.0);
}

// One vertex group with its element group, read with every length checked: the vertex count is
// that of the shortest coordinate array used, the element count that of the shortest corner
// array, and an element with a corner outside the vertices is not valid.
class GroupView {
 public:
  GroupView(const PostDataObject::DoubleArrays& coords, const PostDataObject::IntArrays& elements,
            bool zFromThirdArray)
      : coords_(coords), elements_(elements) {
    dims_ = static_cast<int>(coords.size());
    hasZ_ = zFromThirdArray && dims_ >= 3;
    if (dims_ >= 2) {
      numVertices_ = std::min(coords[0].size(), coords[1].size());
      if (hasZ_) numVertices_ = std::min(numVertices_, coords[2].size());
    }
    if (!elements.empty()) {
      numElements_ = elements[0].size();
      for (const auto& cornerArray : elements) {
        numElements_ = std::min(numElements_, cornerArray.size());
      }
    }
  }

  int dims() const { return dims_; }
  bool hasZ() const { return hasZ_; }
  int corners() const { return static_cast<int>(elements_.size()); }
  std::size_t numVertices() const { return numVertices_; }
  std::size_t numElements() const { return numElements_; }
  // The corner arrays' own first length: what decides whether the group has elements at all.
  std::size_t firstCornerLength() const { return elements_.empty() ? 0 : elements_[0].size(); }

  int corner(std::size_t element, int c) const { return elements_[c][element]; }
  bool validVertex(int i) const { return i >= 0 && static_cast<std::size_t>(i) < numVertices_; }
  DVec3 point(int i) const {
    return DVec3(coords_[0][i], coords_[1][i], hasZ_ ? coords_[2][i] : 0.0);
  }

  // Corners 0 to count-1 of `element`; false when one lies outside the vertices.
  bool elementCorners(std::size_t element, int count, int* out) const {
    for (int c = 0; c < count; ++c) {
      out[c] = corner(element, c);
      if (!validVertex(out[c])) return false;
    }
    return true;
  }

 private:
  const PostDataObject::DoubleArrays& coords_;
  const PostDataObject::IntArrays& elements_;
  int dims_ = 0;
  bool hasZ_ = false;
  std::size_t numVertices_ = 0;
  std::size_t numElements_ = 0;
};

// The triangle normal of the probe and of deform(): (0, 0, 1) in a plane; otherwise the cross
// product of the edges, made unit length when it is not zero (a degenerate triangle keeps 0).
DVec3 triangleNormal(bool threeD, const DVec3& p0, const DVec3& p1, const DVec3& p2) {
  DVec3 n(0.0, 0.0, 1.0);
  if (threeD) {
    n = nkvec::cross(p1 - p0, p2 - p0);
    const double len2 = nkvec::dot(n, n);
    if (len2 > 0.0) n = n / std::sqrt(len2);
  }
  return n;
}

bool holds(const std::vector<double>& a, const int* indices, int count) {
  for (int c = 0; c < count; ++c) {
    if (static_cast<std::size_t>(indices[c]) >= a.size()) return false;
  }
  return true;
}

}  // namespace

// ---- PostDataInfo ----

PostDataInfo::PostDataInfo() {
  std::fill(index_, index_ + NUMBER_OF_DATA_TYPES, -1);
}

std::vector<PostDataInfo::DataType> PostDataInfo::validTypes() const {
  std::vector<DataType> types;
  for (int t = 0; t < NUMBER_OF_DATA_TYPES; ++t) {
    if (index_[t] >= 0) types.push_back(static_cast<DataType>(t));
  }
  return types;
}

bool PostDataInfo::operator==(const PostDataInfo& other) const {
  return std::equal(index_, index_ + NUMBER_OF_DATA_TYPES, other.index_);
}

// ---- PostDataObject: construction, copying, groups ----

// The one order of the group arrays: every form writes, reads and shapes them in it, and every
// whole-object operation walks them through it. visit(member, countLabel, groupLabel) gets a
// pointer to the member and its labels in the stream form; the bounds have one label.
template <typename Visit>
void PostDataObject::forEachGroupArray(Visit&& visit) {
  visit(&PostDataObject::vertices_, "#vertex groups", "vertex group");
  visit(&PostDataObject::bounds_, "bounds", "");
  visit(&PostDataObject::elementIndices_, "#element index groups", "element index group");
  visit(&PostDataObject::data_, "#data groups", "data group");
  visit(&PostDataObject::dataMax_, "#data max", "data max");
  visit(&PostDataObject::dataMin_, "#data min", "data min");
  visit(&PostDataObject::normals_, "#normal groups", "normals");
  visit(&PostDataObject::normalIndices_, "#normal index groups", "normal indices");
  visit(&PostDataObject::boundaryIndices_, "#boundary index groups", "boundary indices");
  visit(&PostDataObject::verticesDeform_, "#vertex deformation groups", "vertex deformation");
  visit(&PostDataObject::vertexElems_, "#vertex element groups", "vertex elements");
}

DC_DEFINE_CLASS_IDENTITY(PostDataObject, "PostDataObject")

PostDataObject::PostDataObject() : PostDataObject(DEFAULT_TYPE, PostDataInfo(), -1) {}

PostDataObject::PostDataObject(Type type, const PostDataInfo& info, int objectID)
    : type_(type),
      info_(info),
      objectID_(objectID),
      bounds_(nkboost::make_shared<DoubleArrays>()) {}

PostDataObject::PostDataObject(const PostDataObject& other)
    : nkbase::InPlaceSerializable(other),
      IDataCarrier(other),
      type_(other.type_),
      info_(other.info_),
      objectID_(other.objectID_),
      properties_(other.properties_) {
  forEachGroupArray(
      [&](auto member, const char*, const char*) { this->*member = deepCopy(other.*member); });
}

PostDataObject& PostDataObject::operator=(const PostDataObject& other) = default;

PostDataObject::~PostDataObject() = default;

nkboost::shared_ptr<PostDataObject> PostDataObject::clone() const {
  return nkboost::shared_ptr<PostDataObject>(new PostDataObject(*this));
}

void PostDataObject::clear() {
  forEachGroupArray([&](auto member, const char*, const char*) { emptyGroups(this->*member); });
  properties_.clear();
}

void PostDataObject::addVertices(DoubleArraysPtr vertices) {
  vertices_.push_back(std::move(vertices));
}
void PostDataObject::addElementIndices(IntArraysPtr indices) {
  elementIndices_.push_back(std::move(indices));
}
void PostDataObject::addData(DoubleArraysPtr data) {
  data_.push_back(std::move(data));
}
void PostDataObject::addDataMax(DoubleArrayPtr max) {
  dataMax_.push_back(std::move(max));
}
void PostDataObject::addDataMin(DoubleArrayPtr min) {
  dataMin_.push_back(std::move(min));
}
void PostDataObject::addNormals(FloatArraysPtr normals) {
  normals_.push_back(std::move(normals));
}
void PostDataObject::addNormalIndices(IntArrayPtr indices) {
  normalIndices_.push_back(std::move(indices));
}
void PostDataObject::addBoundaryIndices(IntArraysPtr indices) {
  boundaryIndices_.push_back(std::move(indices));
}
void PostDataObject::addVerticesDeform(DoubleArraysPtr vertices) {
  verticesDeform_.push_back(std::move(vertices));
}
void PostDataObject::addVertexElems(IntArrayPtr vertexElems) {
  vertexElems_.push_back(std::move(vertexElems));
}
void PostDataObject::setBounds(DoubleArraysPtr bounds) {
  bounds_ = bounds ? std::move(bounds) : nkboost::make_shared<DoubleArrays>();
}

// ---- queries ----

namespace {

// Element `position` of group `g` of a min or max vector, NaN when the object holds none there.
double extremeAt(const std::vector<PostDataObject::DoubleArrayPtr>& groups, int g, int position) {
  if (g < 0 || static_cast<std::size_t>(g) >= groups.size() || !groups[g] || position < 0 ||
      static_cast<std::size_t>(position) >= groups[g]->size()) {
    return nkGetNaN();
  }
  return (*groups[g])[position];
}

}  // namespace

double PostDataObject::getDataMax(PostDataInfo::DataType t) const {
  const int position = info_.getIndex(t);
  double result = extremeAt(dataMax_, 0, position);
  for (int g = 1; g < getGroups(); ++g) {
    const double v = extremeAt(dataMax_, g, position);
    if (v > result) result = v;
  }
  return result;
}

double PostDataObject::getDataMin(PostDataInfo::DataType t) const {
  const int position = info_.getIndex(t);
  double result = extremeAt(dataMin_, 0, position);
  for (int g = 1; g < getGroups(); ++g) {
    const double v = extremeAt(dataMin_, g, position);
    if (v < result) result = v;
  }
  return result;
}

bool PostDataObject::hasNormals() const {
  return !normals_.empty() && normals_.size() == vertices_.size();
}

std::string PostDataObject::getProperty(const std::string& name) const {
  for (const auto& [n, v] : properties_) {
    if (n == name) return v;
  }
  return std::string();
}

void PostDataObject::setProperty(const std::string& name, const std::string& value) {
  for (auto& [n, v] : properties_) {
    if (n == name) {
      v = value;
      return;
    }
  }
  properties_.emplace_back(name, value);
}

const PostDataObject::DoubleArray* PostDataObject::dataArray(int g, int position) const {
  if (position < 0 || g < 0 || static_cast<std::size_t>(g) >= data_.size() || !data_[g] ||
      static_cast<std::size_t>(position) >= data_[g]->size()) {
    return nullptr;
  }
  return &(*data_[g])[position];
}

int PostDataObject::probedDataPosition() const {
  if (info_.isValid(PostDataInfo::DT_VALUE)) return info_.getIndex(PostDataInfo::DT_VALUE);
  // Kind 19 stands in for the value when a plot has none; kept as the consumers expect it.
  if (info_.isValid(PostDataInfo::DT_FALLBACK_VALUE)) {
    return info_.getIndex(PostDataInfo::DT_FALLBACK_VALUE);
  }
  return -1;
}

// ---- scaling ----

void PostDataObject::scaleData(double factor, const Array<int, 1>& positions) {
  if (factor == 1.0) return;  // a NaN factor is not 1 and is applied
  const int count = positions.size();
  if (count == 0) return;

  // Copy on write: the old array is only released, so its other holders keep the old values.
  for (auto& group : data_) {
    if (!group) continue;
    auto scaled = nkboost::make_shared<DoubleArrays>(*group);
    for (int i = 0; i < count; ++i) {
      const int k = positions[i];
      if (k < 0 || static_cast<std::size_t>(k) >= scaled->size()) continue;
      DoubleArray& values = (*scaled)[k];
      std::transform(values.begin(), values.end(), values.begin(),
                     [factor](double x) { return x * factor; });
    }
    group = std::move(scaled);
  }

  // Min and max change in place, deliberately: every holder of them sees the scaled values.
  for (std::size_t g = 0; g < dataMin_.size() && g < dataMax_.size(); ++g) {
    if (!dataMin_[g] || !dataMax_[g]) continue;
    DoubleArray& mins = *dataMin_[g];
    DoubleArray& maxs = *dataMax_[g];
    for (int i = 0; i < count; ++i) {
      const int k = positions[i];
      if (k < 0 || static_cast<std::size_t>(k) >= mins.size() ||
          static_cast<std::size_t>(k) >= maxs.size()) {
        continue;
      }
      const double a = factor * mins[k];
      const double b = factor * maxs[k];
      if (b > a) {
        mins[k] = a;
        maxs[k] = b;
      } else if (a > b) {
        mins[k] = b;
        maxs[k] = a;
      } else {  // equal, or NaN: a goes to both
        mins[k] = a;
        maxs[k] = a;
      }
    }
  }
}

// ---- deformation ----

void PostDataObject::deform() {
  const int kind[3] = {info_.getIndex(PostDataInfo::DT_DEFORM_X),
                       info_.getIndex(PostDataInfo::DT_DEFORM_Y),
                       info_.getIndex(PostDataInfo::DT_DEFORM_Z)};
  if (kind[0] < 0 && kind[1] < 0 && kind[2] < 0) return;

  DoubleArrays& bounds = *bounds_;
  bool seen[3] = {false, false, false};
  for (int g = 0; g < getGroups(); ++g) {
    if (!vertices_[g]) continue;
    DoubleArrays& coords = *vertices_[g];
    const int dims = std::min(static_cast<int>(coords.size()), 3);
    for (int d = 0; d < dims; ++d) {
      DoubleArray& x = coords[d];
      const DoubleArray* shift = dataArray(g, kind[d]);
      if (x.empty()) continue;
      // Entries 0 and 1 of this direction's bounds receive min and max: grow what is too small.
      if (bounds.size() <= static_cast<std::size_t>(d)) bounds.resize(d + 1);
      if (bounds[d].size() < 2) bounds[d].resize(2);
      double& lo = bounds[d][0];
      double& hi = bounds[d][1];
      for (std::size_t k = 0; k < x.size(); ++k) {
        if (shift && k < shift->size() && !nkIsNaN((*shift)[k])) x[k] += (*shift)[k];
        if (!seen[d]) {
          lo = x[k];
          hi = x[k];
          seen[d] = true;
        } else if (x[k] < lo) {
          lo = x[k];
        } else if (x[k] > hi) {
          hi = x[k];
        }
      }
    }
  }

  // The triangle normals follow the moved vertices, into new arrays.
  for (std::size_t g = 0; g < normals_.size() && g < vertices_.size(); ++g) {
    const GroupView view(orEmpty(vertices_[g]), groupOrEmpty(elementIndices_, static_cast<int>(g)),
                         true);
    if (view.corners() != 3 || view.dims() < 2) continue;
    auto normals = nkboost::make_shared<FloatArrays>(3);
    for (auto& component : *normals)
      component.reserve(view.numElements());
    for (std::size_t k = 0; k < view.numElements(); ++k) {
      int c[3];
      DVec3 n(0.0, 0.0, 0.0);  // a triangle with a corner outside the vertices has no normal
      if (view.elementCorners(k, 3, c)) {
        n = triangleNormal(view.hasZ(), view.point(c[0]), view.point(c[1]), view.point(c[2]));
      }
      for (int i = 0; i < 3; ++i)
        (*normals)[i].push_back(static_cast<float>(n[i]));
    }
    normals_[g] = std::move(normals);
  }
}

void PostDataObject::fill(RenderDrawGeom& geometry) {
  std::vector<std::vector<float>> coords;
  std::vector<std::vector<int>> elements;
  geometry.getMLRenderData(coords, elements);  // raises for a geometry without render arrays
  clear();
  objectID_ = geometry.getId();
  if (!geometry.getLabel().empty()) setProperty("label", geometry.getLabel());

  // One vertex array, shared by every group: the merged render positions.
  auto vertices = std::make_shared<DoubleArrays>(coords.size());
  auto bounds = std::make_shared<DoubleArrays>(3, DoubleArray{0.0, 0.0});
  for (std::size_t d = 0; d < coords.size(); ++d) {
    (*vertices)[d].assign(coords[d].begin(), coords[d].end());
    if (d < 3 && !coords[d].empty()) {
      const auto [lo, hi] = std::minmax_element(coords[d].begin(), coords[d].end());
      (*bounds)[d] = {double(*lo), double(*hi)};
    }
  }
  bounds_ = bounds;

  // The render records, largest first: triangles (positions in elements 5, 6, 7), curve
  // segments (2, 3) and isolated points (0). Each kind present becomes one group.
  const int kinds[3][4] = {{5, 6, 7, -1}, {2, 3, -1, -1}, {0, -1, -1, -1}};
  for (const auto& corners : kinds) {
    if (static_cast<std::size_t>(corners[0]) >= elements.size() || elements[corners[0]].empty()) {
      continue;
    }
    auto indices = std::make_shared<IntArrays>();
    for (int k = 0; k < 4 && corners[k] >= 0; ++k)
      indices->push_back(elements[corners[k]]);
    addVertices(vertices);
    addElementIndices(indices);
    addData(std::make_shared<DoubleArrays>());
    addDataMax(std::make_shared<DoubleArray>());
    addDataMin(std::make_shared<DoubleArray>());
  }
}

// ---- line probes ----

bool PostDataObject::findLineTriangleIntersection(const Array<double, 1>& a,
                                                  const Array<double, 1>& b, const DVec3& p0,
                                                  const DVec3& p1, const DVec3& p2, DVec3& result) {
  const DVec3 pa = pointOf(a);
  const DVec3 e1 = p1 - p0;
  const DVec3 e2 = p2 - p0;
  const DVec3 d = pa - pointOf(b);
  const DVec3 s = pa - p0;
  const DVec3 q = nkvec::cross(e2, d);
  // No test on the determinant: a zero one makes inv infinite or NaN, which fails every
  // comparison below.
  const double inv = 1.0 / nkvec::dot(e1, q);
  const double u = nkvec::dot(s, q) * inv;
  if (!(u > -1e-5 && u < 1.00001)) return false;
  const double v = nkvec::dot(s, nkvec::cross(d, e1)) * inv;
  if (!(v > -1e-5 && u + v < 1.00001)) return false;
  const double t = nkvec::dot(s, nkvec::cross(e1, e2)) * inv;  // no range test: t may be < 0 or > 1
  result = DVec3(u, v, t);
  return true;
}

void PostDataObject::findLineTriangleIntersections(
    const Array<double, 1>& a, const Array<double, 1>& b, std::vector<double>& params,
    std::vector<double>& values, std::vector<std::vector<double>>& normals) const {
  params.clear();
  values.clear();
  normals.assign(3, std::vector<double>());
  const int position = probedDataPosition();

  for (int g = 0; g < getGroups(); ++g) {
    const GroupView view(orEmpty(vertices_[g]), groupOrEmpty(elementIndices_, g), true);
    if (view.corners() != 3 || view.firstCornerLength() == 0) continue;
    const bool planar = view.dims() == 2;
    const DoubleArray* data = dataArray(g, position);

    for (std::size_t k = 0; k < view.numElements(); ++k) {
      int c[3];
      if (!view.elementCorners(k, 3, c)) continue;
      const DVec3 p0 = view.point(c[0]);
      const DVec3 p1 = view.point(c[1]);
      const DVec3 p2 = view.point(c[2]);
      DVec3 uvt;
      if (!findLineTriangleIntersection(a, b, p0, p1, p2, uvt)) continue;
      const double u = uvt.x;
      const double v = uvt.y;
      params.push_back(uvt.z);
      if (data && holds(*data, c, 3)) {
        const DoubleArray& D = *data;
        values.push_back((1.0 - u - v) * D[c[0]] + u * D[c[1]] + v * D[c[2]]);
      } else {
        values.push_back(nkGetNaN());
      }
      const DVec3 n = triangleNormal(!planar, p0, p1, p2);
      normals[0].push_back(n.x);
      normals[1].push_back(n.y);
      normals[2].push_back(n.z);
    }
  }
}

void PostDataObject::findLineSphereIntersections(const Array<double, 1>& a,
                                                 const Array<double, 1>& b, double radiusScale,
                                                 std::vector<double>& params,
                                                 std::vector<double>& values,
                                                 std::vector<double>& xs, std::vector<double>& ys,
                                                 std::vector<double>& zs) const {
  params.clear();
  values.clear();
  xs.clear();
  ys.clear();
  zs.clear();
  if (!info_.isValid(PostDataInfo::DT_VALUE) || !info_.isValid(PostDataInfo::DT_SPHERE_SIZE)) {
    return;
  }
  const DVec3 pa = pointOf(a);
  const DVec3 d = pointOf(b) - pa;
  const double dd = nkvec::dot(d, d);
  if (dd == 0.0) return;

  for (int g = 0; g < getGroups(); ++g) {
    const DoubleArrays& coords = orEmpty(vertices_[g]);
    // z is read only from a group of exactly three coordinate arrays.
    const GroupView view(coords, groupOrEmpty(elementIndices_, -1), coords.size() == 3);
    const DoubleArray* sizes = dataArray(g, info_.getIndex(PostDataInfo::DT_SPHERE_SIZE));
    const DoubleArray* data = dataArray(g, info_.getIndex(PostDataInfo::DT_VALUE));
    if (!sizes || !data) continue;
    const std::size_t n = std::min({view.numVertices(), sizes->size(), data->size()});

    for (std::size_t k = 0; k < n; ++k) {
      const DVec3 m = view.point(static_cast<int>(k));
      const double r = radiusScale * (*sizes)[k];
      const DVec3 w = m - pa;
      const double B = -2.0 * nkvec::dot(w, d) / dd;
      const double C4 = 4.0 * (nkvec::dot(w, w) - r * r) / dd;
      const double discriminant = B * B - C4;
      if (!(discriminant >= 0.0)) continue;                    // below 0 or NaN: missed
      params.push_back((-B - std::sqrt(discriminant)) * 0.5);  // the entry point, no range test
      values.push_back((*data)[k]);
      xs.push_back(m.x);
      ys.push_back(m.y);
      zs.push_back(m.z);
    }
  }
}

// ---- plane cut ----

void PostDataObject::findPlaneIntersections(const Array<double, 1>& point,
                                            const Array<double, 1>& normal,
                                            PostDataObject& result) const {
  const DVec3 n = pointOf(normal);
  const double offset = nkvec::dot(pointOf(point), n);
  const int groups = getGroups();  // `result` may be this object: its new groups are not cut

  for (int g = 0; g < groups; ++g) {
    const GroupView view(orEmpty(vertices_[g]), groupOrEmpty(elementIndices_, g), true);
    if (view.corners() != 3) continue;
    const DoubleArrays& data = groupOrEmpty(data_, g);

    auto cutVertices = nkboost::make_shared<DoubleArrays>(3);
    auto cutElements = nkboost::make_shared<IntArrays>(2);
    auto cutData = nkboost::make_shared<DoubleArrays>(data.size());
    result.addVertices(cutVertices);
    result.addElementIndices(cutElements);
    result.addData(cutData);

    // The tolerance follows the group's size, not the normal's length.
    double extent = 0.0;
    for (int d = 0; d < 3 && view.numVertices() > 0; ++d) {
      double lo = view.point(0)[d];
      double hi = lo;
      for (std::size_t k = 1; k < view.numVertices(); ++k) {
        const double x = view.point(static_cast<int>(k))[d];
        lo = std::min(lo, x);
        hi = std::max(hi, x);
      }
      extent = std::max(extent, hi - lo);
    }
    const double tol = 1e-7 * (extent > 0.0 ? extent : 1.0);

    // Appends the point between corners i and j at which the signed distances cross zero, with
    // every data array interpolated the same way.
    auto appendCrossing = [&](int i, int j, double lambda) {
      const DVec3 p = (1.0 - lambda) * view.point(i) + lambda * view.point(j);
      for (int d = 0; d < 3; ++d)
        (*cutVertices)[d].push_back(p[d]);
      for (std::size_t a = 0; a < data.size(); ++a) {
        const DoubleArray& D = data[a];
        const bool perVertex = static_cast<std::size_t>(std::max(i, j)) < D.size();
        (*cutData)[a].push_back(perVertex ? (1.0 - lambda) * D[i] + lambda * D[j] : nkGetNaN());
      }
    };
    auto appendVertex = [&](int i) {
      const DVec3 p = view.point(i);
      for (int d = 0; d < 3; ++d)
        (*cutVertices)[d].push_back(p[d]);
      for (std::size_t a = 0; a < data.size(); ++a) {
        const DoubleArray& D = data[a];
        (*cutData)[a].push_back(static_cast<std::size_t>(i) < D.size() ? D[i] : nkGetNaN());
      }
    };

    for (std::size_t k = 0; k < view.numElements(); ++k) {
      int c[3];
      if (!view.elementCorners(k, 3, c)) continue;
      double s[3];
      int positive = 0, onPlane = 0, negative = 0, on = 0;
      for (int i = 0; i < 3; ++i) {
        s[i] = nkvec::dot(view.point(c[i]), n) - offset;
        if (s[i] > tol) {
          ++positive;
        } else if (s[i] < -tol) {
          ++negative;
        } else {
          ++onPlane;
          on = i;
        }
      }
      const int code = 100 * positive + 10 * onPlane + negative;
      if (code != 201 && code != 102 && code != 111) continue;  // touching or lying in the plane

      const int first = static_cast<int>((*cutVertices)[0].size());
      if (code == 111) {  // from the corner on the plane to the crossing on the opposite edge
        const int i = (on + 1) % 3;
        const int j = (on + 2) % 3;
        appendVertex(c[on]);
        appendCrossing(c[i], c[j], s[i] / (s[i] - s[j]));
      } else {
        static const int kPairs[3][2] = {{0, 1}, {0, 2}, {1, 2}};
        for (int e = 0; e < 3; ++e) {
          const int i = kPairs[e][0];
          const int j = kPairs[e][1];
          // No corner lies on the plane here: opposite classes are opposite signs.
          if ((s[i] > tol) != (s[j] > tol)) appendCrossing(c[i], c[j], s[i] / (s[i] - s[j]));
        }
      }
      (*cutElements)[0].push_back(first);
      (*cutElements)[1].push_back(first + 1);
    }
  }
}

// ---- line and isosurface ----

void PostDataObject::findLineIsosurfaceIntersections(const Array<double, 1>& a,
                                                     const Array<double, 1>& b,
                                                     const Array<double, 1>& isoValues,
                                                     std::vector<double>& params,
                                                     std::vector<double>& values) const {
  params.clear();
  values.clear();
  const int position = probedDataPosition();
  if (position < 0 || isoValues.size() == 0) return;
  const DVec3 pa = pointOf(a);
  const DVec3 dir = pointOf(b) - pa;
  std::vector<std::pair<double, double>> crossings;  // (t, iso value)

  for (int g = 0; g < getGroups(); ++g) {
    const GroupView view(orEmpty(vertices_[g]), groupOrEmpty(elementIndices_, g), true);
    const DoubleArray* data = dataArray(g, position);
    if (!data) continue;
    // Elements that fill space: triangles of a plane, tetrahedra in 3D.
    const int corners = view.dims() == 2 ? 3 : 4;
    if (view.corners() != corners || (view.dims() != 2 && !view.hasZ())) continue;
    const int dims = corners - 1;

    for (std::size_t k = 0; k < view.numElements(); ++k) {
      int c[4];
      if (!view.elementCorners(k, corners, c) || !holds(*data, c, corners)) continue;
      // Barycentric coordinates of a + t dir are affine in t: lambda_i = alpha_i + t beta_i,
      // from the edge vectors e_i = p_i - p0 by Cramer's rule.
      const DVec3 p0 = view.point(c[0]);
      const DVec3 s = pa - p0;
      double alpha[4], beta[4];
      if (dims == 2) {
        const DVec3 e1 = view.point(c[1]) - p0;
        const DVec3 e2 = view.point(c[2]) - p0;
        const double inv = 1.0 / (e1.x * e2.y - e1.y * e2.x);
        alpha[1] = (s.x * e2.y - s.y * e2.x) * inv;
        alpha[2] = (e1.x * s.y - e1.y * s.x) * inv;
        beta[1] = (dir.x * e2.y - dir.y * e2.x) * inv;
        beta[2] = (e1.x * dir.y - e1.y * dir.x) * inv;
      } else {
        const DVec3 e1 = view.point(c[1]) - p0;
        const DVec3 e2 = view.point(c[2]) - p0;
        const DVec3 e3 = view.point(c[3]) - p0;
        const DVec3 n1 = nkvec::cross(e2, e3);
        const DVec3 n2 = nkvec::cross(e3, e1);
        const DVec3 n3 = nkvec::cross(e1, e2);
        const double inv = 1.0 / nkvec::dot(e1, n1);
        alpha[1] = nkvec::dot(s, n1) * inv;
        alpha[2] = nkvec::dot(s, n2) * inv;
        alpha[3] = nkvec::dot(s, n3) * inv;
        beta[1] = nkvec::dot(dir, n1) * inv;
        beta[2] = nkvec::dot(dir, n2) * inv;
        beta[3] = nkvec::dot(dir, n3) * inv;
      }
      alpha[0] = 1.0;
      beta[0] = 0.0;
      for (int i = 1; i <= dims; ++i) {
        alpha[0] -= alpha[i];
        beta[0] -= beta[i];
      }
      // The data along the line inside the element: f(t) = f0 + t f1.
      double f0 = 0.0, f1 = 0.0;
      for (int i = 0; i <= dims; ++i) {
        f0 += alpha[i] * (*data)[c[i]];
        f1 += beta[i] * (*data)[c[i]];
      }
      if (f1 == 0.0 || !std::isfinite(f1)) continue;  // constant along the line here
      for (int iv = 0; iv < isoValues.size(); ++iv) {
        const double t = (isoValues[iv] - f0) / f1;
        bool inside = true;
        for (int i = 0; i <= dims && inside; ++i)
          inside = alpha[i] + t * beta[i] > -1e-5;
        if (inside) crossings.emplace_back(t, isoValues[iv]);
      }
    }
  }

  std::stable_sort(crossings.begin(), crossings.end(),
                   [](const auto& x, const auto& y) { return x.first < y.first; });
  for (const auto& [t, value] : crossings) {
    params.push_back(t);
    values.push_back(value);
  }
}

// ---- stream form ----

void PostDataObject::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");
  os << static_cast<int>(type_);
  os.label("type");
  os.label("info");
  for (int t = 0; t < PostDataInfo::NUMBER_OF_DATA_TYPES; ++t)
    os << info_.getIndex(t);
  os.label("id");
  os << objectID_;
  forEachGroupArray([&](auto member, const char* countLabel, const char* groupLabel) {
    writeGroups(os, this->*member, countLabel, groupLabel);
  });
  os.label("#property/value pairs");  // deliberately before its count, unlike the groups above
  os << countOf(properties_);
  for (const auto& [name, value] : properties_)
    os << name << value;
}

void PostDataObject::deserializeRaw(ISerialStream& is) {
  const int version = DC_READ_VERSION_AT(1181, is, 0, VERSION);  // the line is part of the report
  int type = 0;
  is >> type;
  type_ = static_cast<Type>(type);
  for (int t = 0; t < PostDataInfo::NUMBER_OF_DATA_TYPES; ++t) {
    int position = 0;
    is >> position;
    info_.setIndex(t, position);
  }
  is >> objectID_;
  forEachGroupArray([&](auto member, const char*, const char*) { readGroups(is, this->*member); });
  if (version == 0) return;  // version 0 has no pairs: the properties stay as they were

  const int pairs = DC_READ_COUNT(is, 2 * sizeof(unsigned int));  // two string lengths each
  properties_.clear();
  properties_.reserve(static_cast<std::size_t>(std::min(pairs, kReserveAhead)));
  for (int i = 0; i < pairs; ++i) {
    properties_.emplace_back();
    is >> properties_.back().first >> properties_.back().second;
  }
}

// ---- block form ----

namespace {
constexpr std::size_t kHeaderSize = 3 + PostDataInfo::NUMBER_OF_DATA_TYPES;  // version .. ID
}

void PostDataObject::createParameters(std::vector<int>& p) const {
  p.push_back(static_cast<int>(VERSION));
  p.push_back(static_cast<int>(type_));
  for (int t = 0; t < PostDataInfo::NUMBER_OF_DATA_TYPES; ++t)
    p.push_back(info_.getIndex(t));
  p.push_back(objectID_);
  forEachGroupArray([&](auto member, const char*, const char*) { appendShape(p, this->*member); });
  getBlockSerializationParameters(properties_, p);
}

void PostDataObject::createBlocks(InPlaceSerDataHolder& h) {
  forEachGroupArray([&](auto member, const char*, const char*) { addBlocks(h, this->*member); });
  getBlockSerialization(properties_, h);
}

void PostDataObject::initFromParameters(const std::vector<int>& p) {
  // These reports carry fixed lines that consumers know.
  if (p.size() < kHeaderSize) DC_RAISE_AT(1222, nkbase::kEndOfFileReached);
  if (p[0] != static_cast<int>(VERSION)) DC_RAISE_AT(1226, errors::kIncompatibleVersion);

  // Everything is sized aside first and taken over at the end, so that a corrupt vector leaves
  // the object as it was.
  ParamReader r(p, kHeaderSize);
  PostDataObject built;
  forEachGroupArray(
      [&](auto member, const char*, const char*) { buildFromShape(r, built.*member); });
  nkbase::PropertyList properties;
  initDataFromParameters(properties, p, r.cursor());

  type_ = static_cast<Type>(p[1]);
  for (int t = 0; t < PostDataInfo::NUMBER_OF_DATA_TYPES; ++t)
    info_.setIndex(t, p[2 + t]);
  objectID_ = p[2 + PostDataInfo::NUMBER_OF_DATA_TYPES];
  forEachGroupArray(
      [&](auto member, const char*, const char*) { takeOver(this->*member, built.*member); });
  properties_.swap(properties);
}

}  // namespace nkdatacarrier
