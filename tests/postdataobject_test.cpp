#include "datacarrier/postdataobject.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <stdexcept>

#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::PostDataInfo;
using nkdatacarrier::PostDataObject;
using qvtest::codeOf;
using qvtest::ForgedIStream;

namespace {

using DoubleArrays = PostDataObject::DoubleArrays;
using IntArrays = PostDataObject::IntArrays;
using FloatArrays = PostDataObject::FloatArrays;
using Doubles = std::vector<double>;
using Lines = std::vector<std::string>;
using nkboost::make_shared;

Lines recorded(const PostDataObject& o, bool withLabels = true) {
  qvtest::RecordingOStream os;
  nkbase::Prop prop;
  o.serializeRaw(os, prop);
  return withLabels ? os.lines : os.values();
}

// One or two groups of every kind, spelled out in both forms below: odd doubles (-0, a
// subnormal, NaN), an empty coordinate array, a deformation group without arrays, an empty
// vertex-element group and a property pair with an empty name and an empty value.
nkboost::shared_ptr<PostDataObject> makePlot() {
  PostDataInfo info;
  info.setIndex(PostDataInfo::DT_VALUE, 0);
  info.setIndex(PostDataInfo::DT_KIND_4, 1);
  auto o = make_shared<PostDataObject>(static_cast<PostDataObject::Type>(7), info, 42);
  o->addVertices(make_shared<DoubleArrays>(DoubleArrays{{1.5, -0.0}, {}}));
  o->addVertices(make_shared<DoubleArrays>(DoubleArrays{{5e-324}}));
  o->setBounds(make_shared<DoubleArrays>(DoubleArrays{{-1, 1}}));
  o->addElementIndices(make_shared<IntArrays>(IntArrays{{3}}));
  o->addData(make_shared<DoubleArrays>(DoubleArrays{{2.5, std::nan("")}, {1e300}}));
  o->addDataMax(make_shared<Doubles>(Doubles{7}));
  o->addDataMin(make_shared<Doubles>(Doubles{-7}));
  o->addNormals(make_shared<FloatArrays>(FloatArrays{{0.5f, 1}}));
  o->addNormalIndices(make_shared<std::vector<int>>(std::vector<int>{4}));
  o->addBoundaryIndices(make_shared<IntArrays>(IntArrays{{5, 6}}));
  o->addVerticesDeform(make_shared<DoubleArrays>());
  o->addVertexElems(make_shared<std::vector<int>>());
  o->setProperty("ab", "replaced in place");
  o->setProperty("", "");
  o->setProperty("ab", "cde");
  return o;
}

// The raw form of an empty object: version, type, 22 info entries, ID, then 12 zero counts.
std::vector<char> emptyRawBytes() {
  BinaryOSerialStream out;
  nkbase::Prop prop;
  PostDataObject().serializeRaw(out, prop);
  return out.getBuffer();
}

}  // namespace

// ---- identity, info, sharing ----

TEST(PostDataObjectBasics, IdentityAndInfo) {
  PostDataObject o;
  EXPECT_EQ(
      static_cast<int>(static_cast<const nkdatacarrier::IDataCarrier&>(o).getDataCarrierType()), 4);

  PostDataInfo info;
  EXPECT_TRUE(info.validTypes().empty());
  info.setIndex(3, 0);
  info.setIndex(1, 1);
  EXPECT_EQ(info.validTypes(), (std::vector<PostDataInfo::DataType>{PostDataInfo::DT_DEFORM_X,
                                                                    PostDataInfo::DT_DEFORM_Z}));
  EXPECT_FALSE(info.isValid(2));
}

TEST(PostDataObjectBasics, AddingAndAssignmentShareCloneCopiesDeeply) {
  auto a = makePlot();
  PostDataObject shared, deep;
  shared = *a;
  deep = *a->clone();
  (*a->getVerticesPtr(0))[0][0] = 9;
  (*a->getDataPtr(0))[0][0] = -5;
  a->setProperty("ab", "changed");
  EXPECT_EQ(shared.getVertices(0, PostDataObject::DIR_X)[0], 9);
  EXPECT_EQ(shared.getVertices(0, 0)[0], 9);
  EXPECT_EQ(shared.getData(0)[0][0], -5);
  EXPECT_EQ(&shared.getBounds(), &a->getBounds());
  EXPECT_EQ(shared.getProperty("ab"), "cde");  // the properties are copied either way
  EXPECT_EQ(deep.getVertices(0, PostDataObject::DIR_X)[0], 1.5);
  EXPECT_EQ(deep.getData(0)[0][0], 2.5);
  EXPECT_NE(&deep.getBounds(), &a->getBounds());
}

TEST(PostDataObjectBasics, ClearKeepsHeaderAndEmptiesTheSharedBounds) {
  auto bounds = make_shared<DoubleArrays>(DoubleArrays{{0, 1}});
  auto plot = makePlot();
  plot->setBounds(bounds);
  plot->clear();
  EXPECT_EQ(&plot->getBounds(), bounds.get());
  // As new (the bounds emptied), with the plot's type 7, info and ID 42.
  const PostDataObject fresh(7, makePlot()->info(), 42);
  EXPECT_EQ(recorded(*plot), recorded(fresh));
}

// ---- accessors ----

TEST(PostDataObjectAccess, ExtremesOverGroupsStartFromGroupZero) {
  PostDataInfo info;
  info.setIndex(PostDataInfo::DT_VALUE, 1);
  PostDataObject o(PostDataObject::DEFAULT_TYPE, info, 0);
  for (double m : {5, 7, 7}) {
    o.addDataMax(make_shared<Doubles>(Doubles{100, m}));
    o.addDataMin(make_shared<Doubles>(Doubles{-100, -m}));
  }
  EXPECT_EQ(o.getDataMax(PostDataInfo::DT_VALUE), 5);  // no vertex groups: group 0 alone is read
  for (int g = 0; g < 3; ++g)
    o.addVertices(make_shared<DoubleArrays>());
  EXPECT_EQ(o.getDataMax(PostDataInfo::DT_VALUE), 7);
  EXPECT_EQ(o.getDataMin(PostDataInfo::DT_VALUE), -7);
  EXPECT_EQ(o.getDataMax(0, PostDataInfo::DT_VALUE), 5);
  // Kinds given by number read the same entries.
  EXPECT_EQ(o.getDataMax(0), 7);
  EXPECT_EQ(o.getDataMin(1, 0), -7);
  EXPECT_TRUE(std::isnan(PostDataObject().getDataMax(PostDataInfo::DT_VALUE)));  // none held
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

  // Names match exactly; setting a present name replaces its value in place (see the stream).
  const auto plot = makePlot();
  EXPECT_EQ(plot->getProperty("ab"), "cde");
  EXPECT_EQ(plot->getProperty("ab "), "");
  EXPECT_EQ(plot->getProperty("a"), "");
}

// ---- stream form ----

TEST(PostDataObjectStream, EmptyObjectWritesZeroCountsAndReadsBackEmpty) {
  Lines expected{"unsigned 1", "int 31"};
  expected.insert(expected.end(), 23, "int -1");      // 22 absent kinds, object ID -1
  expected.insert(expected.end(), 12, "unsigned 0");  // 10 group counts, the bounds, the pairs
  EXPECT_EQ(recorded(PostDataObject(), false), expected);

  PostDataObject back;
  back = *makePlot();  // reading drops every group and property it held
  BinaryISerialStream in(qvtest::binaryOf(PostDataObject()));
  back.deserialize(in);
  EXPECT_EQ(recorded(back), recorded(PostDataObject()));
}

TEST(PostDataObjectStream, GroupsAreLabelledAndWrittenAsCountedArrays) {
  Lines expected =
      qvtest::seq("unsigned 1|# version|int 7|# type|# info|int 0|int -1|int -1|int -1|int 1");
  expected.insert(expected.end(), 17, "int -1");
  const Lines groups = qvtest::seq(
      "# id|int 42|unsigned 2|# #vertex groups|"
      "# vertex group|unsigned 2|unsigned 2|double 1.5|double -0|unsigned 0|"
      "# vertex group|unsigned 1|unsigned 1|double 5e-324|"
      "# bounds|unsigned 1|unsigned 2|double -1|double 1|"
      "unsigned 1|# #element index groups|# element index group|unsigned 1|unsigned 1|int 3|"
      "unsigned 1|# #data groups|# data group|"
      "unsigned 2|unsigned 2|double 2.5|double nan|unsigned 1|double 1e+300|"
      "unsigned 1|# #data max|# data max|unsigned 1|double 7|"
      "unsigned 1|# #data min|# data min|unsigned 1|double -7|"
      "unsigned 1|# #normal groups|# normals|unsigned 1|unsigned 2|float 0.5|float 1|"
      "unsigned 1|# #normal index groups|# normal indices|unsigned 1|int 4|"
      "unsigned 1|# #boundary index groups|# boundary indices|unsigned 1|unsigned 2|int 5|int 6|"
      "unsigned 1|# #vertex deformation groups|# vertex deformation|unsigned 0|"
      "unsigned 1|# #vertex element groups|# vertex elements|unsigned 0|"
      "# #property/value pairs|unsigned 2|string ab|string cde|string |string ");
  expected.insert(expected.end(), groups.begin(), groups.end());
  EXPECT_EQ(recorded(*makePlot()), expected);
}

TEST(PostDataObjectStream, BinaryAndTextRoundTripsReproduceEverything) {
  const auto a = makePlot();
  for (const PostDataObject& copy : qvtest::streamCopies(*a))
    EXPECT_EQ(recorded(copy), recorded(*a));
  qvtest::expectEveryTruncationRaisesEndOfFile(*a);

  auto old = make_shared<DoubleArrays>(DoubleArrays{{9}});
  PostDataObject b;
  b.addVertices(old);
  b.setBounds(old);
  BinaryISerialStream in(qvtest::binaryOf(*a));
  b.deserialize(in);
  EXPECT_EQ(recorded(b), recorded(*a));
  EXPECT_EQ(*old, DoubleArrays{{9}});  // the vertices and bounds are replaced, not overwritten
}

TEST(PostDataObjectStream, VersionZeroHasNoPairsAndKeepsTheProperties) {
  std::vector<char> bytes = emptyRawBytes();
  std::memset(bytes.data(), 0, 4);  // version 0,
  bytes.resize(bytes.size() - 4);   // which ends before the pair count
  BinaryISerialStream in(std::move(bytes));
  PostDataObject o;
  o.setProperty("keep", "me");
  o.deserializeRaw(in);
  EXPECT_EQ(in.available(), 0u);
  EXPECT_EQ(o.getProperty("keep"), "me");
  for (int version : {2, -1}) {
    ForgedIStream bad({version, 31, 0, 0});
    EXPECT_EQ(qvtest::raiseSite([&] { o.deserializeRaw(bad); }),
              "datacarrier/postdataobject:1181 Incompatible_native_file_version");
    EXPECT_EQ(bad.consumed(), 1u);
  }
  EXPECT_EQ(o.getProperty("keep"), "me");
}

TEST(PostDataObjectStream, CorruptCountsNeitherAllocateNorReadPastTheEnd) {
  auto readWithVertexGroups = [](unsigned int count) {
    std::vector<char> corrupt = emptyRawBytes();
    std::memcpy(&corrupt[4 + 4 + 22 * 4 + 4], &count, 4);  // after version, type, info, ID
    BinaryISerialStream in(std::move(corrupt));
    PostDataObject().deserializeRaw(in);
  };
  EXPECT_EQ(codeOf([&] { readWithVertexGroups(1000000000u); }), "End_of_file_reached");
  EXPECT_THROW(readWithVertexGroups(0x80000000u), std::length_error);  // a negative int

  // A stream of unknown length: arrays grow only as values arrive.
  std::vector<ForgedIStream::Value> values{1, 31};
  values.insert(values.end(), 23, -1);  // info, object ID
  values.insert(values.end(), {2000000000u, 1500000000u});
  ForgedIStream unsized(values);
  EXPECT_EQ(codeOf([&] { PostDataObject().deserializeRaw(unsized); }), "End_of_file_reached");
}

// ---- block form ----

TEST(PostDataObjectBlocks, ParametersAndBlocksDescribeEveryArrayInOrder) {
  const auto o = makePlot();
  std::vector<int> p{-9};  // appended to, not replaced
  o->createParameters(p);
  std::vector<int> expected{-9, 1, 7, 0, -1, -1, -1, 1};
  expected.insert(expected.end(), 17, -1);
  // clang-format off
  expected.insert(expected.end(), {42,
      2, 2, 2, 0, 1, 1,  1, 2,  // vertices (the first group's second array empty), bounds
      1, 1, 1,  1, 2, 2, 1,     // element indices, data
      1, 1,  1, 1,  1, 1, 2,    // data max, data min, normals
      1, 1,  1, 1, 2,           // normal indices, boundary indices
      1, 0,  1, 0,              // vertex deformation (no arrays), vertex elements (empty)
      2, 2, 3, 0, 0});          // properties: byte lengths of the names and values
  // clang-format on
  EXPECT_EQ(p, expected);

  InPlaceSerDataHolder h;
  o->createBlocks(h);
  std::vector<int> sizes;  // empty arrays and strings give no block
  for (const auto& block : h.getBlocks())
    sizes.push_back(block.first);
  EXPECT_EQ(sizes, (std::vector<int>{16, 8, 16, 4, 16, 8, 8, 8, 8, 4, 8, 2, 3}));
  EXPECT_EQ(h.getBlocks()[2].second, o->getBounds(PostDataObject::DIR_X).data());
}

TEST(PostDataObjectBlocks, TransferReproducesThePlotAndResizesTheKeptBounds) {
  const auto a = makePlot();
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
  // Resized in place: the bounds keep what they held from the transfer, {-1, 1}.
  EXPECT_EQ(b.getBounds(), (DoubleArrays{{-1, 1, 0, 0}}));
  EXPECT_EQ(b.getProperty("ab"), "");
}

TEST(PostDataObjectBlocks, BadParameterVectorsRaiseAndLeaveTheObjectAlone) {
  std::vector<int> good;
  makePlot()->createParameters(good);
  const Lines reference = recorded(*makePlot());
  auto codeFor = [&](std::vector<int> p, int at = -1, int value = 0) {
    if (at >= 0) p[at] = value;
    auto o = makePlot();
    const std::string code = codeOf([&] { o->initFromParameters(p); });
    EXPECT_EQ(recorded(*o), reference) << code;
    return code;
  };

  EXPECT_EQ(codeFor(std::vector<int>(24, 1)), "End_of_file_reached");
  EXPECT_EQ(codeFor(good, 0, 0), "Incompatible_native_file_version");
  EXPECT_EQ(codeFor(good, 0, 2), "Incompatible_native_file_version");
  for (std::size_t n = 25; n < good.size(); ++n) {  // cut anywhere in the shapes or properties
    EXPECT_EQ(codeFor(std::vector<int>(good.begin(), good.begin() + n)), "End_of_file_reached")
        << n;
  }
  // good[25] is the number of vertex groups, good[27] the length of the first coordinate array.
  EXPECT_EQ(codeFor(good, 25, INT_MAX), "End_of_file_reached");
  EXPECT_EQ(codeFor(good, 25, -1), "Invalid_block_parameter");
  EXPECT_EQ(codeFor(good, 27, -3), "Invalid_block_parameter");
  EXPECT_EQ(codeFor(good, 27, INT_MAX / 8 + 1), "Invalid_block_parameter");  // > one block
  EXPECT_EQ(codeFor(good, static_cast<int>(good.size()) - 1, -1),
            "Invalid_block_parameter");  // a property
  // Consumers' error tables know these reports (and the refused version) by module and line.
  EXPECT_EQ(qvtest::raiseSite([] { PostDataObject().initFromParameters(std::vector<int>(24, 1)); }),
            "datacarrier/postdataobject:1222 End_of_file_reached");
  EXPECT_EQ(qvtest::raiseSite([] { PostDataObject().initFromParameters(std::vector<int>(25, 0)); }),
            "datacarrier/postdataobject:1226 Incompatible_native_file_version");
}

// ---- scaling ----

TEST(PostDataObjectScale, DataAreCopiedMinMaxChangeInPlace) {
  auto data = make_shared<DoubleArrays>(DoubleArrays{{1, 2, 3}, {4, 5}});
  auto max = make_shared<Doubles>(Doubles{3, 5});
  auto min = make_shared<Doubles>(Doubles{1, 4});
  PostDataObject plot;
  plot.addData(data);
  plot.addDataMax(max);
  plot.addDataMin(min);
  plot.scaleData(1.0, Array<int, 1>{0});
  plot.scaleData(2.0, Array<int, 1>());
  EXPECT_EQ(plot.getDataPtr(0), data);  // nothing changed, nothing copied

  plot.scaleData(-1.0, Array<int, 1>{0});
  EXPECT_EQ(plot.getData(0), (DoubleArrays{{-1, -2, -3}, {4, 5}}));
  EXPECT_EQ(*data, (DoubleArrays{{1, 2, 3}, {4, 5}}));  // the earlier array keeps its values
  EXPECT_EQ(*min, (Doubles{-3, 4}));
  EXPECT_EQ(*max, (Doubles{-1, 5}));

  plot.scaleData(3.0, Array<int, 1>{1, 1, 7, -1});  // twice; unheld positions are skipped
  EXPECT_EQ(plot.getData(0)[1], (Doubles{36, 45}));
  EXPECT_EQ(*min, (Doubles{-3, 36}));
  EXPECT_EQ(*max, (Doubles{-1, 45}));

  plot.scaleData(std::nan(""), Array<int, 1>{0});  // not 1, so applied: NaN goes to both
  EXPECT_TRUE(std::isnan(plot.getData(0)[0][2]));
  EXPECT_TRUE(std::isnan((*min)[0]) && std::isnan((*max)[0]));
}
