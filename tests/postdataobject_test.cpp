#include "datacarrier/postdataobject.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "carrierstreamchecks.h"
#include "qvutil/binarystream.h"
#include "qvutil/textstream.h"
#include "recordingstream.h"

using nkdatacarrier::IDataCarrier;
using nkdatacarrier::PostDataInfo;
using nkdatacarrier::PostDataObject;
using qvtest::ForgedIStream;
using qvtest::RecordingOStream;

namespace {

using qvtest::codeOf;

using DoubleArrays = PostDataObject::DoubleArrays;
using IntArrays = PostDataObject::IntArrays;
using FloatArrays = PostDataObject::FloatArrays;
using Doubles = std::vector<double>;
using Lines = std::vector<std::string>;
using nkboost::make_shared;

Lines recorded(const PostDataObject& o) {
  RecordingOStream os;
  nkbase::Prop prop;
  o.serializeRaw(os, prop);
  return os.lines;
}

// A plot that uses every array, odd doubles (-0, a subnormal, NaN), empty inner arrays and
// property pairs with an empty name and an empty value.
nkboost::shared_ptr<PostDataObject> makeFilledPlot() {
  PostDataInfo info;
  info.setIndex(PostDataInfo::DT_VALUE, 0);
  info.setIndex(PostDataInfo::DT_KIND_4, 1);
  auto o = make_shared<PostDataObject>(static_cast<PostDataObject::Type>(7), info, 42);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  o->addVertices(
      make_shared<DoubleArrays>(DoubleArrays{{0, 1, 0}, {0, 0, 1}, {-0.0, 0.1, 5e-324}}));
  o->addVertices(make_shared<DoubleArrays>(DoubleArrays{{2, 3}, {4, 5}}));
  o->setBounds(make_shared<DoubleArrays>(DoubleArrays{{0, 3}, {0, 5}, {}}));
  o->addElementIndices(make_shared<IntArrays>(IntArrays{{0}, {1}, {2}}));
  o->addElementIndices(make_shared<IntArrays>(IntArrays{{0}, {1}}));
  o->addData(make_shared<DoubleArrays>(DoubleArrays{{1.5, 2.5, nan}, {-1, 0, 1}}));
  o->addData(make_shared<DoubleArrays>(DoubleArrays{{7, 8}, {}}));
  o->addDataMax(make_shared<Doubles>(Doubles{2.5, 1}));
  o->addDataMax(make_shared<Doubles>(Doubles{8}));
  o->addDataMin(make_shared<Doubles>(Doubles{1.5, -1}));
  o->addDataMin(make_shared<Doubles>(Doubles{7}));
  o->addNormals(make_shared<FloatArrays>(FloatArrays{{0.f}, {0.25f}, {1.f}}));
  o->addNormalIndices(make_shared<std::vector<int>>(std::vector<int>{0, -3}));
  o->addBoundaryIndices(make_shared<IntArrays>(IntArrays{{0, 1}, {1, 2}}));
  o->addVerticesDeform(make_shared<DoubleArrays>(DoubleArrays{{0.5}, {1e300}, {-2}}));
  o->addVertexElems(make_shared<std::vector<int>>(std::vector<int>{0, 0, 0}));
  o->setProperty("unit", "MPa");
  o->setProperty("", "no name");
  o->setProperty("empty", "");
  return o;
}

// The lines of the version, type, info and object ID.
Lines headerLines(int type, const std::vector<int>& positions, int id) {
  Lines lines{"unsigned 1", "# version", "int " + std::to_string(type), "# type", "# info"};
  for (std::size_t t = 0; t < 22; ++t) {
    lines.push_back("int " + std::to_string(t < positions.size() ? positions[t] : -1));
  }
  lines.insert(lines.end(), {"# id", "int " + std::to_string(id)});
  return lines;
}

Lines concat(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// What follows the object ID when there are no groups, no bounds and no properties.
// clang-format off
const Lines kEmptyGroups{
    "unsigned 0", "# #vertex groups",
    "# bounds", "unsigned 0",
    "unsigned 0", "# #element index groups",
    "unsigned 0", "# #data groups",
    "unsigned 0", "# #data max",
    "unsigned 0", "# #data min",
    "unsigned 0", "# #normal groups",
    "unsigned 0", "# #normal index groups",
    "unsigned 0", "# #boundary index groups",
    "unsigned 0", "# #vertex deformation groups",
    "unsigned 0", "# #vertex element groups",
    "# #property/value pairs", "unsigned 0"};
// clang-format on

}  // namespace

// ---- identity, info, sharing ----

TEST(PostDataObjectBasics, IdentityAndInfo) {
  PostDataObject o;
  const nkbase::Serializable& asSerializable = o;
  EXPECT_EQ(asSerializable.getClassID(), "PostDataObject");
  EXPECT_TRUE(PostDataObject::isStaticClassID("PostDataObject"));
  EXPECT_FALSE(PostDataObject::isStaticClassID("postdataobject"));
  EXPECT_EQ(PostDataObject::VERSION, 1u);
  EXPECT_EQ(static_cast<int>(static_cast<const IDataCarrier&>(o).getDataCarrierType()), 4);

  PostDataInfo info;
  EXPECT_TRUE(info.validTypes().empty());
  info.setIndex(3, 0);
  info.setIndex(1, 1);
  EXPECT_EQ(info.validTypes(), (std::vector<PostDataInfo::DataType>{PostDataInfo::DT_DEFORM_X,
                                                                    PostDataInfo::DT_DEFORM_Z}));
  EXPECT_FALSE(info.isValid(2));
}

TEST(PostDataObjectBasics, AddingAndAssignmentShareCloneCopiesDeeply) {
  auto vertices = make_shared<DoubleArrays>(DoubleArrays{{1, 2}, {3, 4}});
  PostDataObject a;
  a.addVertices(vertices);
  a.addData(make_shared<DoubleArrays>(DoubleArrays{{5}}));
  a.setProperty("unit", "MPa");
  PostDataObject shared, deep;
  shared = a;
  deep = *a.clone();

  (*vertices)[0][1] = 9;
  a.getDataPtr(0)->at(0)[0] = -5;
  a.setProperty("unit", "Pa");
  EXPECT_EQ(shared.getVertices(0, PostDataObject::DIR_X)[1], 9);
  EXPECT_EQ(shared.getData(0)[0][0], -5);
  EXPECT_EQ(&shared.getBounds(), &a.getBounds());
  EXPECT_EQ(shared.getProperty("unit"), "MPa");  // the properties are copied either way
  EXPECT_EQ(deep.getVertices(0, PostDataObject::DIR_X)[1], 2);
  EXPECT_EQ(deep.getData(0)[0][0], 5);
  EXPECT_NE(&deep.getBounds(), &a.getBounds());
}

TEST(PostDataObjectBasics, ClearKeepsHeaderAndEmptiesTheSharedBounds) {
  auto bounds = make_shared<DoubleArrays>(DoubleArrays{{0, 1}});
  auto plot = makeFilledPlot();
  plot->setBounds(bounds);
  plot->clear();
  EXPECT_TRUE(bounds->empty());
  EXPECT_EQ(&plot->getBounds(), bounds.get());
  EXPECT_EQ(recorded(*plot), concat(headerLines(7, {0, -1, -1, -1, 1}, 42), kEmptyGroups));
}

// ---- accessors ----

TEST(PostDataObjectAccess, ExtremesOverGroupsStartFromGroupZero) {
  PostDataInfo info;
  info.setIndex(PostDataInfo::DT_VALUE, 1);
  PostDataObject o(PostDataObject::DEFAULT_TYPE, info, 0);
  for (double m : {5, 7, 7}) {
    o.addVertices(make_shared<DoubleArrays>());
    o.addDataMax(make_shared<Doubles>(Doubles{100, m}));
    o.addDataMin(make_shared<Doubles>(Doubles{-100, -m}));
  }
  EXPECT_EQ(o.getDataMax(PostDataInfo::DT_VALUE), 7);
  EXPECT_EQ(o.getDataMin(PostDataInfo::DT_VALUE), -7);
  EXPECT_EQ(o.getDataMax(0, PostDataInfo::DT_VALUE), 5);

  // Without vertex groups, group 0 of the max vector is still read, and only it.
  PostDataObject noVertices(PostDataObject::DEFAULT_TYPE, info, 0);
  noVertices.addDataMax(make_shared<Doubles>(Doubles{0, 3}));
  noVertices.addDataMax(make_shared<Doubles>(Doubles{0, 9}));
  EXPECT_EQ(noVertices.getDataMax(PostDataInfo::DT_VALUE), 3);
  EXPECT_TRUE(std::isnan(PostDataObject().getDataMax(PostDataInfo::DT_VALUE)));
}

TEST(PostDataObjectAccess, NormalsAndProperties) {
  PostDataObject o;
  EXPECT_FALSE(o.hasNormals());
  o.addVertices(make_shared<DoubleArrays>());
  o.addVertices(make_shared<DoubleArrays>());
  o.addNormals(make_shared<FloatArrays>());
  EXPECT_FALSE(o.hasNormals());
  o.addNormals(make_shared<FloatArrays>());
  EXPECT_TRUE(o.hasNormals());

  o.setProperty("a", "1");
  o.setProperty("a", "2");
  o.setProperty("a ", "3");
  EXPECT_EQ(o.getProperty("a"), "2");
  EXPECT_EQ(o.getProperty("A"), "");
  const Lines lines = recorded(o);
  EXPECT_EQ(Lines(lines.end() - 6, lines.end()),
            (Lines{"# #property/value pairs", "unsigned 2", "string a", "string 2", "string a ",
                   "string 3"}));
}

// ---- stream form ----

TEST(PostDataObjectStream, EmptyObjectWritesZeroCountsAndReadsBackEmpty) {
  const Lines expected = concat(headerLines(31, {}, -1), kEmptyGroups);
  EXPECT_EQ(recorded(PostDataObject()), expected);

  BinaryOSerialStream out;
  nkbase::Prop prop;
  PostDataObject().serializeRaw(out, prop);
  BinaryISerialStream in(out.getBuffer());
  PostDataObject back;
  back = *makeFilledPlot();
  back.deserializeRaw(in);
  EXPECT_EQ(recorded(back), expected);
}

TEST(PostDataObjectStream, GroupsAreLabelledAndWrittenAsCountedArrays) {
  PostDataObject o;
  o.addVertices(make_shared<DoubleArrays>(DoubleArrays{{1.5}, {}}));
  o.setBounds(make_shared<DoubleArrays>(DoubleArrays{{-1}}));
  o.addElementIndices(make_shared<IntArrays>(IntArrays{{3}}));
  o.addData(make_shared<DoubleArrays>(DoubleArrays{{2.5}}));
  o.addDataMax(make_shared<Doubles>(Doubles{7}));
  o.addDataMin(make_shared<Doubles>(Doubles{-7}));
  o.addNormals(make_shared<FloatArrays>(FloatArrays{{0.5f, 1}}));
  o.addNormalIndices(make_shared<std::vector<int>>(std::vector<int>{4}));
  o.addBoundaryIndices(make_shared<IntArrays>(IntArrays{{5, 6}}));
  o.addVerticesDeform(make_shared<DoubleArrays>(DoubleArrays{{0.125}}));
  o.addVertexElems(make_shared<std::vector<int>>(std::vector<int>{-2}));
  o.setProperty("k", "v");
  // clang-format off
  const Lines expected{
      "unsigned 1", "# #vertex groups", "# vertex group",
          "unsigned 2", "unsigned 1", "double 1.5", "unsigned 0",
      "# bounds", "unsigned 1", "unsigned 1", "double -1",
      "unsigned 1", "# #element index groups", "# element index group",
          "unsigned 1", "unsigned 1", "int 3",
      "unsigned 1", "# #data groups", "# data group", "unsigned 1", "unsigned 1", "double 2.5",
      "unsigned 1", "# #data max", "# data max", "unsigned 1", "double 7",
      "unsigned 1", "# #data min", "# data min", "unsigned 1", "double -7",
      "unsigned 1", "# #normal groups", "# normals",
          "unsigned 1", "unsigned 2", "float 0.5", "float 1",
      "unsigned 1", "# #normal index groups", "# normal indices", "unsigned 1", "int 4",
      "unsigned 1", "# #boundary index groups", "# boundary indices",
          "unsigned 1", "unsigned 2", "int 5", "int 6",
      "unsigned 1", "# #vertex deformation groups", "# vertex deformation",
          "unsigned 1", "unsigned 1", "double 0.125",
      "unsigned 1", "# #vertex element groups", "# vertex elements", "unsigned 1", "int -2",
      "# #property/value pairs", "unsigned 1", "string k", "string v"};
  // clang-format on
  EXPECT_EQ(recorded(o), concat(headerLines(31, {}, -1), expected));
}

TEST(PostDataObjectStream, BinaryAndTextRoundTripsReproduceEverything) {
  const auto a = makeFilledPlot();
  nkbase::Prop prop;
  BinaryOSerialStream out;
  a->serialize(out, prop);
  BinaryISerialStream in(out.getBuffer());
  auto oldVertices = make_shared<DoubleArrays>(DoubleArrays{{9}});
  PostDataObject b;
  b.addVertices(oldVertices);
  b.setProperty("stale", "x");
  b.deserialize(in);
  EXPECT_EQ(in.available(), 0u);
  EXPECT_EQ(recorded(b), recorded(*a));
  EXPECT_EQ(*oldVertices, DoubleArrays{{9}});  // replaced, not overwritten
  EXPECT_TRUE(std::signbit(b.getVertices(0, PostDataObject::DIR_Z)[0]));
  EXPECT_TRUE(std::isnan(b.getData(0, PostDataInfo::DT_VALUE)[2]));
  EXPECT_EQ(b.getProperty("stale"), "");

  std::ostringstream text;
  TextOSerialStream textOut(text);
  a->serialize(textOut, prop);
  std::istringstream source(text.str());
  TextISerialStream textIn(source);
  PostDataObject c;
  c.deserialize(textIn);
  EXPECT_EQ(recorded(c), recorded(*a));
}

TEST(PostDataObjectStream, VersionZeroHasNoPairsAndKeepsTheProperties) {
  std::vector<ForgedIStream::Value> values{0, 5};  // version, type
  for (int t = 0; t < 22; ++t)
    values.emplace_back(t == 0 ? 0 : -1);
  const std::vector<ForgedIStream::Value> rest{
      9,                                      // object ID
      1u, 2u, 1u, 1.0, 1u, 2.0,               // one vertex group: {{1}, {2}}
      0u,                                     // bounds
      0u, 0u, 0u, 0u,  0u, 0u,  0u, 0u, 0u};  // element index .. vertex element groups
  values.insert(values.end(), rest.begin(), rest.end());
  ForgedIStream in(values);
  PostDataObject o;
  o.setProperty("keep", "me");
  o.deserializeRaw(in);
  EXPECT_EQ(in.consumed(), in.size());
  EXPECT_EQ(o.getObjectID(), 9);
  EXPECT_EQ(o.info().validTypes(), std::vector<PostDataInfo::DataType>{PostDataInfo::DT_VALUE});
  EXPECT_EQ(o.getVertices(0), (DoubleArrays{{1}, {2}}));
  EXPECT_EQ(o.getProperty("keep"), "me");

  for (int version : {2, -1}) {
    ForgedIStream bad({version, 31, 0, 0});
    EXPECT_EQ(codeOf([&] { o.deserializeRaw(bad); }), "Incompatible_native_file_version");
    EXPECT_EQ(bad.consumed(), 1u);
  }
}

TEST(PostDataObjectStream, CorruptCountsNeitherAllocateNorReadPastTheEnd) {
  BinaryOSerialStream out;
  nkbase::Prop prop;
  PostDataObject().serializeRaw(out, prop);
  std::vector<char> bytes = out.getBuffer();
  auto readWithVertexGroups = [&](unsigned int count) {
    std::vector<char> corrupt = bytes;
    std::memcpy(&corrupt[4 + 4 + 22 * 4 + 4], &count, 4);  // after version, type, info, ID
    BinaryISerialStream in(corrupt);
    PostDataObject().deserializeRaw(in);
  };
  EXPECT_EQ(codeOf([&] { readWithVertexGroups(1000000000u); }), "End_of_file_reached");
  EXPECT_THROW(readWithVertexGroups(0x80000000u), std::length_error);  // a negative int

  // A text stream does not know its length: arrays grow only as values arrive.
  std::string lines = "unsigned 1\nint 31\n";
  for (int t = 0; t < 23; ++t)
    lines += "int -1\n";
  lines += "unsigned 2000000000\nunsigned 1500000000\n";
  std::istringstream source(lines);
  TextISerialStream text(source);
  EXPECT_EQ(codeOf([&] { PostDataObject().deserializeRaw(text); }), "End_of_file_reached");

  bytes.resize(bytes.size() - 3);
  BinaryISerialStream truncated(bytes);
  EXPECT_EQ(codeOf([&] { PostDataObject().deserializeRaw(truncated); }), "End_of_file_reached");
}

// ---- block form ----

TEST(PostDataObjectBlocks, ParametersAndBlocksDescribeEveryArrayInOrder) {
  PostDataInfo info;
  info.setIndex(PostDataInfo::DT_VALUE, 0);
  PostDataObject o(static_cast<PostDataObject::Type>(3), info, 77);
  o.addVertices(make_shared<DoubleArrays>(DoubleArrays{{1, 2}, {3, 4}, {}}));
  o.setBounds(make_shared<DoubleArrays>(DoubleArrays{{0, 1}}));
  o.addElementIndices(make_shared<IntArrays>(IntArrays{{0}, {1}}));
  o.addData(make_shared<DoubleArrays>(DoubleArrays{{5, 6}}));
  o.addDataMax(make_shared<Doubles>(Doubles{6}));
  o.addDataMin(make_shared<Doubles>(Doubles{5}));
  o.addNormals(make_shared<FloatArrays>(FloatArrays{{0}, {0}, {1}}));
  o.addNormalIndices(make_shared<std::vector<int>>(std::vector<int>{0}));
  o.addBoundaryIndices(make_shared<IntArrays>());
  o.addVertexElems(make_shared<std::vector<int>>());
  o.setProperty("ab", "cde");

  std::vector<int> p{-9};  // appended to, not replaced
  o.createParameters(p);
  std::vector<int> expected{-9, 1, 3, 0};
  expected.insert(expected.end(), 21, -1);
  // clang-format off
  expected.insert(expected.end(), {77,
      1, 3, 2, 2, 0,  // vertices: one group of three arrays
      1, 2,           // bounds
      1, 2, 1, 1,     // element indices
      1, 1, 2,        // data
      1, 1,  1, 1,    // data max, data min
      1, 3, 1, 1, 1,  // normals
      1, 1,           // normal indices
      1, 0,           // boundary indices: one group without arrays
      0,              // vertex deformation: no group
      1, 0,           // vertex elements: one empty group
      1, 2, 3});      // one property of 2 and 3 bytes
  // clang-format on
  EXPECT_EQ(p, expected);

  InPlaceSerDataHolder h;
  o.createBlocks(h);
  const std::vector<int> sizes{16, 16, 16, 4, 4, 16, 8, 8, 4, 4, 4, 4, 2, 3};
  ASSERT_EQ(h.getBlocks().size(), sizes.size());
  for (std::size_t i = 0; i < sizes.size(); ++i)
    EXPECT_EQ(h.getBlocks()[i].first, sizes[i]) << i;
  EXPECT_EQ(h.getBlocks()[2].second, o.getBounds(PostDataObject::DIR_X).data());
}

TEST(PostDataObjectBlocks, TransferReproducesThePlotAndResizesTheKeptBounds) {
  const auto a = makeFilledPlot();
  auto targetBounds = make_shared<DoubleArrays>(DoubleArrays{{1, 2, 3, 4}});
  PostDataObject b;
  b.setBounds(targetBounds);
  nkbase::transferByBlocks(*a, b);
  EXPECT_EQ(recorded(b), recorded(*a));
  EXPECT_EQ(&b.getBounds(), targetBounds.get());

  std::vector<int> p{1, 31};
  p.insert(p.end(), 22, -1);
  p.insert(p.end(), {8, 1, 2, 3, 0, 1, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  b.initFromParameters(p);
  EXPECT_EQ(b.getVertices(0), (DoubleArrays{{0, 0, 0}, {}}));
  // Resized in place: the bounds keep what they held from the transfer, {0, 3}.
  EXPECT_EQ(b.getBounds(), (DoubleArrays{{0, 3, 0, 0}}));
  EXPECT_EQ(b.getProperty("unit"), "");
}

TEST(PostDataObjectBlocks, BadParameterVectorsRaiseAndLeaveTheObjectAlone) {
  std::vector<int> good;
  makeFilledPlot()->createParameters(good);
  const Lines reference = recorded(*makeFilledPlot());
  auto codeFor = [&](std::vector<int> p, std::size_t at = 0, int value = 0) {
    if (at > 0) p[at] = value;
    auto o = makeFilledPlot();
    const std::string code = codeOf([&] { o->initFromParameters(p); });
    EXPECT_EQ(recorded(*o), reference) << code;
    return code;
  };

  EXPECT_EQ(codeFor(std::vector<int>(24, 1)), "End_of_file_reached");
  EXPECT_EQ(codeFor({}), "End_of_file_reached");
  for (int version : {0, 2}) {
    std::vector<int> p = good;
    p[0] = version;
    EXPECT_EQ(codeFor(p), "Incompatible_native_file_version");
  }
  for (std::size_t n = 25; n < good.size(); ++n) {  // cut anywhere in the shapes or properties
    EXPECT_EQ(codeFor(std::vector<int>(good.begin(), good.begin() + n)), "End_of_file_reached")
        << n;
  }
  // good[25] is the number of vertex groups, good[27] the length of the first coordinate array.
  EXPECT_EQ(codeFor(good, 25, INT_MAX), "End_of_file_reached");
  EXPECT_EQ(codeFor(good, 25, -1), "Invalid_block_parameter");
  EXPECT_EQ(codeFor(good, 27, -3), "Invalid_block_parameter");
  EXPECT_EQ(codeFor(good, 27, INT_MAX / 8 + 1), "Invalid_block_parameter");  // > one block
  EXPECT_EQ(codeFor(good, good.size() - 1, -1), "Invalid_block_parameter");  // a property
}

// ---- scaling ----

namespace {

struct ScalePlot {
  nkboost::shared_ptr<DoubleArrays> data =
      make_shared<DoubleArrays>(DoubleArrays{{1, 2, 3}, {4, 5}});
  nkboost::shared_ptr<Doubles> max = make_shared<Doubles>(Doubles{3, 5});
  nkboost::shared_ptr<Doubles> min = make_shared<Doubles>(Doubles{1, 4});
  PostDataObject plot;
  ScalePlot() {
    plot.addData(data);
    plot.addDataMax(max);
    plot.addDataMin(min);
  }
};

}  // namespace

TEST(PostDataObjectScale, FactorOneOrNoPositionsChangeNothing) {
  ScalePlot s;
  s.plot.scaleData(1.0, Array<int, 1>{0});
  s.plot.scaleData(2.0, Array<int, 1>());
  EXPECT_EQ(s.plot.getDataPtr(0).get(), s.data.get());
  EXPECT_EQ(*s.max, (Doubles{3, 5}));
}

TEST(PostDataObjectScale, DataAreCopiedMinMaxChangeInPlace) {
  ScalePlot s;
  s.plot.scaleData(-1.0, Array<int, 1>{0});
  EXPECT_EQ(s.plot.getData(0), (DoubleArrays{{-1, -2, -3}, {4, 5}}));
  EXPECT_EQ(*s.data, (DoubleArrays{{1, 2, 3}, {4, 5}}));  // the earlier array keeps its values
  EXPECT_EQ(*s.min, (Doubles{-3, 4}));
  EXPECT_EQ(*s.max, (Doubles{-1, 5}));

  s.plot.scaleData(3.0, Array<int, 1>{1, 1, 7, -1});  // twice; unheld positions are skipped
  EXPECT_EQ(s.plot.getData(0)[1], (Doubles{36, 45}));
  EXPECT_EQ(*s.min, (Doubles{-3, 36}));
  EXPECT_EQ(*s.max, (Doubles{-1, 45}));

  s.plot.scaleData(std::nan(""), Array<int, 1>{0});  // not 1, so applied: NaN goes to both
  EXPECT_TRUE(std::isnan(s.plot.getData(0)[0][2]));
  EXPECT_TRUE(std::isnan((*s.min)[0]) && std::isnan((*s.max)[0]));
}

namespace {

// The error reports of these three checks carry lines that consumers' error tables know.
TEST(PostDataObjectErrors, ReportsCarryTheirFixedModuleAndLine) {
  auto raised = [](const std::function<void()>& f) {
    try {
      f();
    } catch (const nkbase::Exception& e) {
      return std::make_pair(e.getModule(), e.getLine());
    }
    return std::make_pair(std::string("no exception"), 0);
  };
  qvtest::ForgedIStream badVersion({2});
  EXPECT_EQ(raised([&] { PostDataObject().deserializeRaw(badVersion); }),
            std::make_pair(std::string("datacarrier/postdataobject"), 1181));
  EXPECT_EQ(raised([&] { PostDataObject().initFromParameters(std::vector<int>(24, 1)); }),
            std::make_pair(std::string("datacarrier/postdataobject"), 1222));
  std::vector<int> p(25, 0);
  EXPECT_EQ(raised([&] { PostDataObject().initFromParameters(p); }),
            std::make_pair(std::string("datacarrier/postdataobject"), 1226));
}

}  // namespace
