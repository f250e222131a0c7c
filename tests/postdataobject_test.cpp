#include "datacarrier/postdataobject.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "qvutil/binarystream.h"
#include "qvutil/textstream.h"
#include "recordingstream.h"

using nkdatacarrier::IDataCarrier;
using nkdatacarrier::PostDataInfo;
using nkdatacarrier::PostDataObject;
using qvtest::ForgedIStream;
using qvtest::RecordingOStream;

namespace {

using DoubleArrays = PostDataObject::DoubleArrays;
using IntArrays = PostDataObject::IntArrays;
using FloatArrays = PostDataObject::FloatArrays;
using nkboost::make_shared;

std::vector<std::string> recorded(const PostDataObject& o) {
  RecordingOStream os;
  nkbase::Prop prop;
  o.serializeRaw(os, prop);
  return os.lines;
}

template <typename F>
std::string codeOf(F&& f) {
  try {
    f();
  } catch (const nkbase::Exception& e) {
    return e.getCode();
  }
  return "no exception";
}

PostDataInfo valueAndKind4() {
  PostDataInfo info;
  info.setIndex(PostDataInfo::DT_VALUE, 0);
  info.setIndex(PostDataInfo::DT_KIND_4, 1);
  return info;
}

// A plot that uses every array, odd doubles (-0, a subnormal, NaN), an empty inner array and
// property pairs with an empty name and an empty value.
nkboost::shared_ptr<PostDataObject> makeFilledPlot() {
  auto plot =
      make_shared<PostDataObject>(static_cast<PostDataObject::Type>(7), valueAndKind4(), 42);
  PostDataObject& o = *plot;
  o.addVertices(make_shared<DoubleArrays>(DoubleArrays{{0, 1, 0}, {0, 0, 1}, {-0.0, 0.1, 5e-324}}));
  o.addVertices(make_shared<DoubleArrays>(DoubleArrays{{2, 3}, {4, 5}}));
  o.setBounds(make_shared<DoubleArrays>(DoubleArrays{{0, 3}, {0, 5}, {}}));
  o.addElementIndices(make_shared<IntArrays>(IntArrays{{0}, {1}, {2}}));
  o.addElementIndices(make_shared<IntArrays>(IntArrays{{0}, {1}}));
  o.addData(make_shared<DoubleArrays>(
      DoubleArrays{{1.5, 2.5, std::numeric_limits<double>::quiet_NaN()}, {-1, 0, 1}}));
  o.addData(make_shared<DoubleArrays>(DoubleArrays{{7, 8}, {}}));
  o.addDataMax(make_shared<std::vector<double>>(std::vector<double>{2.5, 1}));
  o.addDataMax(make_shared<std::vector<double>>(std::vector<double>{8}));
  o.addDataMin(make_shared<std::vector<double>>(std::vector<double>{1.5, -1}));
  o.addDataMin(make_shared<std::vector<double>>(std::vector<double>{7}));
  o.addNormals(make_shared<FloatArrays>(FloatArrays{{0.f}, {0.25f}, {1.f}}));
  o.addNormalIndices(make_shared<std::vector<int>>(std::vector<int>{0, -3}));
  o.addBoundaryIndices(make_shared<IntArrays>(IntArrays{{0, 1}, {1, 2}}));
  o.addVerticesDeform(make_shared<DoubleArrays>(DoubleArrays{{0.5}, {1e300}, {-2}}));
  o.addVertexElems(make_shared<std::vector<int>>(std::vector<int>{0, 0, 0}));
  o.setProperty("unit", "MPa");
  o.setProperty("", "no name");
  o.setProperty("empty", "");
  return plot;
}

// The lines of the version, type, info and object ID.
std::vector<std::string> headerLines(int type, const std::vector<int>& positions, int id) {
  std::vector<std::string> lines{"unsigned 1", "# version", "int " + std::to_string(type), "# type",
                                 "# info"};
  for (int t = 0; t < 22; ++t) {
    const int position = static_cast<std::size_t>(t) < positions.size() ? positions[t] : -1;
    lines.push_back("int " + std::to_string(position));
  }
  lines.push_back("# id");
  lines.push_back("int " + std::to_string(id));
  return lines;
}

// What follows the object ID when there are no groups, no bounds and no properties.
std::vector<std::string> emptyGroupLines() {
  return {"unsigned 0",
          "# #vertex groups",
          "# bounds",
          "unsigned 0",
          "unsigned 0",
          "# #element index groups",
          "unsigned 0",
          "# #data groups",
          "unsigned 0",
          "# #data max",
          "unsigned 0",
          "# #data min",
          "unsigned 0",
          "# #normal groups",
          "unsigned 0",
          "# #normal index groups",
          "unsigned 0",
          "# #boundary index groups",
          "unsigned 0",
          "# #vertex deformation groups",
          "unsigned 0",
          "# #vertex element groups",
          "# #property/value pairs",
          "unsigned 0"};
}

std::vector<std::string> concat(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace

// ---- identity, info ----

TEST(PostDataObjectIdentity, ClassIdVersionAndCarrierType) {
  PostDataObject o;
  const nkbase::Serializable& asSerializable = o;
  const IDataCarrier& asCarrier = o;
  EXPECT_EQ(asSerializable.getClassID(), "PostDataObject");
  EXPECT_TRUE(PostDataObject::isStaticClassID("PostDataObject"));
  EXPECT_FALSE(PostDataObject::isStaticClassID("RenderPostDataObject"));
  EXPECT_FALSE(PostDataObject::isStaticClassID("postdataobject"));
  EXPECT_EQ(PostDataObject::VERSION, 1u);
  EXPECT_EQ(static_cast<int>(asCarrier.getDataCarrierType()), 4);
}

TEST(PostDataInfo, FreshInfoHasNoKindAndValidTypesAscend) {
  PostDataInfo info;
  EXPECT_TRUE(info.validTypes().empty());
  for (int t = 0; t < 22; ++t)
    EXPECT_EQ(info.getIndex(t), -1);
  info.setIndex(3, 0);
  info.setIndex(1, 1);
  EXPECT_EQ(info.validTypes(), (std::vector<PostDataInfo::DataType>{PostDataInfo::DT_DEFORM_X,
                                                                    PostDataInfo::DT_DEFORM_Z}));
  EXPECT_TRUE(info.isValid(PostDataInfo::DT_DEFORM_Z));
  EXPECT_FALSE(info.isValid(2));
  info.setIndex(3, -5);  // any negative position means absent
  EXPECT_FALSE(info.isValid(3));
}

// ---- construction, sharing and copying ----

TEST(PostDataObjectConstruction, DefaultsAndGivenHeader) {
  PostDataObject o;
  EXPECT_EQ(static_cast<int>(o.getType()), 31);
  EXPECT_EQ(o.getObjectID(), -1);
  EXPECT_EQ(o.getGroups(), 0);
  EXPECT_TRUE(o.getBounds().empty());
  EXPECT_TRUE(o.info().validTypes().empty());

  PostDataObject p(static_cast<PostDataObject::Type>(12), valueAndKind4(), 5);
  EXPECT_EQ(static_cast<int>(p.getType()), 12);
  EXPECT_EQ(p.info().getIndex(PostDataInfo::DT_KIND_4), 1);
  EXPECT_EQ(p.getObjectID(), 5);
  p.setObjectID(6);
  EXPECT_EQ(p.getObjectID(), 6);
}

TEST(PostDataObjectSharing, AddingKeepsTheCallersArray) {
  auto vertices = make_shared<DoubleArrays>(DoubleArrays{{1, 2}, {3, 4}});
  PostDataObject o;
  o.addVertices(vertices);
  (*vertices)[0][1] = 9;
  EXPECT_EQ(o.getVertices(0, PostDataObject::DIR_X)[1], 9);
  EXPECT_EQ(o.getVerticesPtr(0).get(), vertices.get());
}

TEST(PostDataObjectSharing, AssignmentSharesCloneCopiesDeeply) {
  const auto plot = makeFilledPlot();
  PostDataObject& a = *plot;
  PostDataObject shared;
  shared = a;
  PostDataObject deep;
  deep = *a.clone();
  EXPECT_EQ(recorded(deep), recorded(a));

  a.getVerticesPtr(0)->at(0)[1] = 100;
  a.getDataPtr(0)->at(1)[0] = -100;
  a.getElementIndicesPtr(0)->at(0)[0] = 2;
  EXPECT_EQ(shared.getVertices(0, PostDataObject::DIR_X)[1], 100);
  EXPECT_EQ(shared.getData(0, PostDataInfo::DT_KIND_4)[0], -100);
  EXPECT_EQ(shared.getElementIndices(0, 0)[0], 2);
  EXPECT_EQ(deep.getVertices(0, PostDataObject::DIR_X)[1], 1);
  EXPECT_EQ(deep.getData(0, PostDataInfo::DT_KIND_4)[0], -1);
  EXPECT_EQ(deep.getElementIndices(0, 0)[0], 0);
  EXPECT_NE(deep.getVerticesPtr(1).get(), a.getVerticesPtr(1).get());
  EXPECT_NE(&deep.getBounds(), &a.getBounds());
  EXPECT_EQ(&shared.getBounds(), &a.getBounds());
  // The header and the properties are plain copies either way.
  a.setProperty("unit", "Pa");
  EXPECT_EQ(shared.getProperty("unit"), "MPa");
}

TEST(PostDataObjectSharing, ClearKeepsHeaderAndEmptiesTheSharedBounds) {
  auto bounds = make_shared<DoubleArrays>(DoubleArrays{{0, 1}});
  auto plot = makeFilledPlot();
  PostDataObject& o = *plot;
  o.setBounds(bounds);
  o.clear();
  EXPECT_EQ(o.getGroups(), 0);
  EXPECT_TRUE(bounds->empty());  // the same bounds object, emptied
  EXPECT_EQ(&o.getBounds(), bounds.get());
  EXPECT_EQ(o.getProperty("unit"), "");
  EXPECT_EQ(static_cast<int>(o.getType()), 7);
  EXPECT_EQ(o.getObjectID(), 42);
  EXPECT_EQ(o.info().getIndex(PostDataInfo::DT_KIND_4), 1);
  EXPECT_EQ(recorded(o), concat(headerLines(7, {0, -1, -1, -1, 1}, 42), emptyGroupLines()));
}

TEST(PostDataObjectSharing, NullBoundsStandForEmptyBounds) {
  PostDataObject o;
  o.setBounds(nullptr);
  EXPECT_TRUE(o.getBounds().empty());
  o.clear();
}

// ---- accessors ----

TEST(PostDataObjectAccess, ExtremesOverGroupsStartFromGroupZero) {
  PostDataInfo info;
  info.setIndex(PostDataInfo::DT_VALUE, 1);
  PostDataObject o(PostDataObject::DEFAULT_TYPE, info, 0);
  const double maxs[3] = {5, 7, 7};
  const double mins[3] = {-1, -4, -2};
  for (int g = 0; g < 3; ++g) {
    o.addVertices(make_shared<DoubleArrays>());
    o.addDataMax(make_shared<std::vector<double>>(std::vector<double>{100, maxs[g]}));
    o.addDataMin(make_shared<std::vector<double>>(std::vector<double>{-100, mins[g]}));
  }
  EXPECT_EQ(o.getDataMax(PostDataInfo::DT_VALUE), 7);
  EXPECT_EQ(o.getDataMin(PostDataInfo::DT_VALUE), -4);
  EXPECT_EQ(o.getDataMax(1, PostDataInfo::DT_VALUE), 7);
  EXPECT_EQ(o.getDataMin(2, PostDataInfo::DT_VALUE), -2);

  // With no vertex groups, group 0 of the max vector is still read.
  PostDataObject noVertices(PostDataObject::DEFAULT_TYPE, info, 0);
  noVertices.addDataMax(make_shared<std::vector<double>>(std::vector<double>{0, 3}));
  noVertices.addDataMax(make_shared<std::vector<double>>(std::vector<double>{0, 9}));
  EXPECT_EQ(noVertices.getDataMax(PostDataInfo::DT_VALUE), 3);
  // Nothing to read at all: NaN rather than a read past the arrays.
  EXPECT_TRUE(std::isnan(PostDataObject().getDataMax(PostDataInfo::DT_VALUE)));
}

TEST(PostDataObjectAccess, HasNormalsNeedsOneNormalGroupPerVertexGroup) {
  PostDataObject o;
  EXPECT_FALSE(o.hasNormals());
  o.addVertices(make_shared<DoubleArrays>());
  o.addVertices(make_shared<DoubleArrays>());
  EXPECT_FALSE(o.hasNormals());
  o.addNormals(make_shared<FloatArrays>());
  EXPECT_FALSE(o.hasNormals());
  o.addNormals(make_shared<FloatArrays>());
  EXPECT_TRUE(o.hasNormals());
}

TEST(PostDataObjectAccess, PropertiesReplaceByExactName) {
  PostDataObject o;
  o.setProperty("a", "1");
  o.setProperty("a", "2");
  o.setProperty("a ", "3");
  EXPECT_EQ(o.getProperty("a"), "2");
  EXPECT_EQ(o.getProperty("a "), "3");
  EXPECT_EQ(o.getProperty("A"), "");
  EXPECT_EQ(o.getProperty("b"), "");
  const auto lines = recorded(o);
  const std::vector<std::string> tail(lines.end() - 6, lines.end());
  EXPECT_EQ(tail, (std::vector<std::string>{"# #property/value pairs", "unsigned 2", "string a",
                                            "string 2", "string a ", "string 3"}));
}

// ---- stream form ----

TEST(PostDataObjectStream, EmptyObjectWriteSequence) {
  EXPECT_EQ(recorded(PostDataObject()), concat(headerLines(31, {}, -1), emptyGroupLines()));

  // Read back, it is the same empty object.
  BinaryOSerialStream out;
  nkbase::Prop prop;
  PostDataObject().serializeRaw(out, prop);
  BinaryISerialStream in(out.getBuffer());
  PostDataObject back;
  back = *makeFilledPlot();
  back.deserializeRaw(in);
  EXPECT_EQ(recorded(back), concat(headerLines(31, {}, -1), emptyGroupLines()));
}

TEST(PostDataObjectStream, GroupsAreLabelledAndWrittenAsCountedArrays) {
  PostDataObject o;
  o.addVertices(make_shared<DoubleArrays>(DoubleArrays{{1.5}, {}}));
  o.addDataMax(make_shared<std::vector<double>>(std::vector<double>{7}));
  o.addNormals(make_shared<FloatArrays>(FloatArrays{{0.5f, 1}}));
  o.addVertexElems(make_shared<std::vector<int>>(std::vector<int>{-2}));
  o.setProperty("k", "v");
  const auto lines = recorded(o);
  const std::vector<std::string> from27(lines.begin() + 27, lines.end());
  EXPECT_EQ(from27, (std::vector<std::string>{"# id",
                                              "int -1",
                                              "unsigned 1",
                                              "# #vertex groups",
                                              "# vertex group",
                                              "unsigned 2",
                                              "unsigned 1",
                                              "double 1.5",
                                              "unsigned 0",
                                              "# bounds",
                                              "unsigned 0",
                                              "unsigned 0",
                                              "# #element index groups",
                                              "unsigned 0",
                                              "# #data groups",
                                              "unsigned 1",
                                              "# #data max",
                                              "# data max",
                                              "unsigned 1",
                                              "double 7",
                                              "unsigned 0",
                                              "# #data min",
                                              "unsigned 1",
                                              "# #normal groups",
                                              "# normals",
                                              "unsigned 1",
                                              "unsigned 2",
                                              "float 0.5",
                                              "float 1",
                                              "unsigned 0",
                                              "# #normal index groups",
                                              "unsigned 0",
                                              "# #boundary index groups",
                                              "unsigned 0",
                                              "# #vertex deformation groups",
                                              "unsigned 1",
                                              "# #vertex element groups",
                                              "# vertex elements",
                                              "unsigned 1",
                                              "int -2",
                                              "# #property/value pairs",
                                              "unsigned 1",
                                              "string k",
                                              "string v"}));
}

TEST(PostDataObjectStream, BinaryRoundTripReproducesEverything) {
  const auto plot = makeFilledPlot();
  const PostDataObject& a = *plot;
  BinaryOSerialStream out;
  nkbase::Prop prop;
  a.serialize(out, prop);
  BinaryISerialStream in(out.getBuffer());
  PostDataObject b;
  b.setProperty("stale", "x");
  b.deserialize(in);
  EXPECT_EQ(in.available(), 0u);
  EXPECT_EQ(recorded(b), recorded(a));
  EXPECT_EQ(b.getProperty("stale"), "");
  EXPECT_TRUE(std::signbit(b.getVertices(0, PostDataObject::DIR_Z)[0]));
  EXPECT_EQ(b.getVertices(0, PostDataObject::DIR_Z)[2], 5e-324);
  EXPECT_TRUE(std::isnan(b.getData(0, PostDataInfo::DT_VALUE)[2]));
  EXPECT_EQ(b.getNormals(0)[1][0], 0.25f);
  EXPECT_EQ(b.getNormalIndices(0)[1], -3);
  EXPECT_EQ(b.getBoundaryIndices(0, 1)[1], 2);
  EXPECT_EQ(b.getVerticesDeform(0, PostDataObject::DIR_Y)[0], 1e300);
  EXPECT_EQ(b.getVertexElems(0).size(), 3u);
  EXPECT_EQ(b.getProperty(""), "no name");
}

TEST(PostDataObjectStream, TextRoundTripReproducesEverything) {
  const auto plot = makeFilledPlot();
  const PostDataObject& a = *plot;
  std::ostringstream text;
  TextOSerialStream out(text);
  nkbase::Prop prop;
  a.serialize(out, prop);
  EXPECT_NE(text.str().find("#vertex deformation groups"), std::string::npos);
  std::istringstream source(text.str());
  TextISerialStream in(source);
  PostDataObject b;
  b.deserialize(in);
  EXPECT_EQ(recorded(b), recorded(a));
}

TEST(PostDataObjectStream, ReadingReplacesArraysInsteadOfOverwritingThem) {
  const auto plot = makeFilledPlot();
  const PostDataObject& a = *plot;
  auto old = make_shared<DoubleArrays>(DoubleArrays{{9}, {9}});
  auto oldBounds = make_shared<DoubleArrays>(DoubleArrays{{9}});
  PostDataObject b;
  b.addVertices(old);
  b.setBounds(oldBounds);
  BinaryOSerialStream out;
  nkbase::Prop prop;
  a.serializeRaw(out, prop);
  BinaryISerialStream in(out.getBuffer());
  b.deserializeRaw(in);
  EXPECT_EQ(*old, (DoubleArrays{{9}, {9}}));
  EXPECT_EQ(*oldBounds, (DoubleArrays{{9}}));
  EXPECT_EQ(b.getBounds(), (DoubleArrays{{0, 3}, {0, 5}, {}}));
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
  EXPECT_EQ(static_cast<int>(o.getType()), 5);
  EXPECT_EQ(o.getObjectID(), 9);
  EXPECT_EQ(o.info().validTypes(), std::vector<PostDataInfo::DataType>{PostDataInfo::DT_VALUE});
  EXPECT_EQ(o.getVertices(0), (DoubleArrays{{1}, {2}}));
  EXPECT_EQ(o.getProperty("keep"), "me");
}

TEST(PostDataObjectStream, OtherVersionsAreRefusedBeforeAnythingElse) {
  for (int version : {2, -1}) {
    ForgedIStream in({version, 31, 0, 0});
    PostDataObject o;
    EXPECT_EQ(codeOf([&] { o.deserializeRaw(in); }), "Incompatible_native_file_version");
    EXPECT_EQ(in.consumed(), 1u);
    EXPECT_EQ(o.getObjectID(), -1);
  }
}

TEST(PostDataObjectStream, CorruptCountsNeitherAllocateNorReadPastTheEnd) {
  BinaryOSerialStream out;
  nkbase::Prop prop;
  PostDataObject().serializeRaw(out, prop);
  std::vector<char> bytes = out.getBuffer();
  const std::size_t vertexGroupCount = 4 + 4 + 22 * 4 + 4;  // after version, type, info, ID

  auto readWithCount = [&](unsigned int count) {
    std::vector<char> corrupt = bytes;
    std::memcpy(&corrupt[vertexGroupCount], &count, 4);
    BinaryISerialStream in(corrupt);
    PostDataObject o;
    o.deserializeRaw(in);
  };
  EXPECT_EQ(codeOf([&] { readWithCount(1000000000u); }), "End_of_file_reached");
  EXPECT_THROW(readWithCount(0x80000000u), std::length_error);  // reads as a negative int

  // A text stream does not know its length: the arrays grow only as values arrive.
  std::string lines = "unsigned 1\nint 31\n";
  for (int t = 0; t < 22; ++t)
    lines += "int -1\n";
  lines += "int -1\nunsigned 2000000000\nunsigned 1500000000\n";
  std::istringstream source(lines);
  TextISerialStream in(source);
  PostDataObject o;
  EXPECT_EQ(codeOf([&] { o.deserializeRaw(in); }), "End_of_file_reached");

  // A truncated stream stops with the stream's own error.
  bytes.resize(bytes.size() - 3);
  BinaryISerialStream truncated(bytes);
  EXPECT_EQ(codeOf([&] { PostDataObject().deserializeRaw(truncated); }), "End_of_file_reached");
}

// ---- block form ----

TEST(PostDataObjectBlocks, ParametersDescribeEveryShapeInOrder) {
  PostDataInfo info;
  info.setIndex(PostDataInfo::DT_VALUE, 0);
  PostDataObject o(static_cast<PostDataObject::Type>(3), info, 77);
  o.addVertices(make_shared<DoubleArrays>(DoubleArrays{{1, 2}, {3, 4}, {}}));
  o.setBounds(make_shared<DoubleArrays>(DoubleArrays{{0, 1}}));
  o.addElementIndices(make_shared<IntArrays>(IntArrays{{0}, {1}}));
  o.addData(make_shared<DoubleArrays>(DoubleArrays{{5, 6}}));
  o.addDataMax(make_shared<std::vector<double>>(std::vector<double>{6}));
  o.addDataMin(make_shared<std::vector<double>>(std::vector<double>{5}));
  o.addNormals(make_shared<FloatArrays>(FloatArrays{{0}, {0}, {1}}));
  o.addNormalIndices(make_shared<std::vector<int>>(std::vector<int>{0}));
  o.addBoundaryIndices(make_shared<IntArrays>());
  o.addVertexElems(make_shared<std::vector<int>>(std::vector<int>{}));
  o.setProperty("ab", "cde");

  std::vector<int> p{-9};  // appended to, not replaced
  o.createParameters(p);
  std::vector<int> expected{-9, 1, 3, 0};
  for (int t = 1; t < 22; ++t)
    expected.push_back(-1);
  const std::vector<int> shapes{77, 1, 3, 2, 2, 0,  // vertices: one group of three arrays
                                1,  2,              // bounds
                                1,  2, 1, 1,        // element indices
                                1,  1, 2,           // data
                                1,  1,              // data max
                                1,  1,              // data min
                                1,  3, 1, 1, 1,     // normals
                                1,  1,              // normal indices
                                1,  0,              // boundary indices: one empty group
                                0,                  // vertex deformation: no group
                                1,  0,              // vertex elements
                                1,  2, 3};          // one property of 2 and 3 bytes
  expected.insert(expected.end(), shapes.begin(), shapes.end());
  EXPECT_EQ(p, expected);

  InPlaceSerDataHolder h;
  o.createBlocks(h);
  const std::vector<int> sizes{16, 16, 16, 4, 4, 16, 8, 8, 4, 4, 4, 4, 2, 3};
  ASSERT_EQ(h.getBlocks().size(), sizes.size());
  for (std::size_t i = 0; i < sizes.size(); ++i)
    EXPECT_EQ(h.getBlocks()[i].first, sizes[i]) << i;
  EXPECT_EQ(h.getBlocks()[0].second, o.getVertices(0, PostDataObject::DIR_X).data());
  EXPECT_EQ(h.getBlocks()[2].second, o.getBounds(PostDataObject::DIR_X).data());
}

TEST(PostDataObjectBlocks, TransferReproducesThePlotAndKeepsTheBoundsObject) {
  const auto plot = makeFilledPlot();
  PostDataObject& a = *plot;
  auto targetBounds = make_shared<DoubleArrays>(DoubleArrays{{1, 2, 3, 4}});
  PostDataObject b;
  b.setBounds(targetBounds);
  nkbase::transferByBlocks(a, b);
  EXPECT_EQ(recorded(b), recorded(a));
  EXPECT_EQ(&b.getBounds(), targetBounds.get());
  EXPECT_NE(b.getVerticesPtr(0).get(), a.getVerticesPtr(0).get());
  EXPECT_EQ(b.getProperty(""), "no name");
}

TEST(PostDataObjectBlocks, InitFromParametersSizesZeroedArrays) {
  std::vector<int> p{1, 31};
  for (int t = 0; t < 22; ++t)
    p.push_back(t == 5 ? 2 : -1);
  const std::vector<int> shapes{8, 1, 2, 3, 0, 1, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  p.insert(p.end(), shapes.begin(), shapes.end());
  PostDataObject o;
  o.addData(make_shared<DoubleArrays>(DoubleArrays{{1}}));
  o.setProperty("gone", "yes");
  o.initFromParameters(p);
  EXPECT_EQ(o.getObjectID(), 8);
  EXPECT_EQ(o.info().validTypes(),
            std::vector<PostDataInfo::DataType>{PostDataInfo::DT_SPHERE_SIZE});
  EXPECT_EQ(o.getVertices(0), (DoubleArrays{{0, 0, 0}, {}}));
  EXPECT_EQ(o.getBounds(), (DoubleArrays{{0, 0, 0, 0}}));
  EXPECT_EQ(o.getProperty("gone"), "");
  EXPECT_EQ(o.getGroups(), 1);
}

TEST(PostDataObjectBlocks, BadParameterVectorsRaiseAndLeaveTheObjectAlone) {
  std::vector<int> good;
  makeFilledPlot()->createParameters(good);
  const auto reference = makeFilledPlot();

  auto codeFor = [&](const std::vector<int>& p) {
    auto o = makeFilledPlot();
    const std::string code = codeOf([&] { o->initFromParameters(p); });
    EXPECT_EQ(recorded(*o), recorded(*reference)) << code;
    return code;
  };

  EXPECT_EQ(codeFor(std::vector<int>(24, 1)), "End_of_file_reached");
  EXPECT_EQ(codeFor({}), "End_of_file_reached");
  std::vector<int> p = good;
  p[0] = 2;
  EXPECT_EQ(codeFor(p), "Incompatible_native_file_version");
  p[0] = 0;
  EXPECT_EQ(codeFor(p), "Incompatible_native_file_version");

  // Cut anywhere inside the shapes or the properties, the vector ends too early.
  for (std::size_t n = 25; n < good.size(); ++n) {
    EXPECT_EQ(codeFor(std::vector<int>(good.begin(), good.begin() + n)), "End_of_file_reached")
        << n;
  }

  std::vector<int> tooManyGroups = good;
  tooManyGroups[25] = INT_MAX;  // the number of vertex groups
  EXPECT_EQ(codeFor(tooManyGroups), "End_of_file_reached");
  std::vector<int> negativeGroups = good;
  negativeGroups[25] = -1;
  EXPECT_EQ(codeFor(negativeGroups), "Invalid_block_parameter");
  std::vector<int> negativeLength = good;
  negativeLength[27] = -3;  // the length of the first coordinate array
  EXPECT_EQ(codeFor(negativeLength), "Invalid_block_parameter");
  std::vector<int> hugeLength = good;
  hugeLength[27] = INT_MAX / 8 + 1;  // more doubles than one block can hold
  EXPECT_EQ(codeFor(hugeLength), "Invalid_block_parameter");
  std::vector<int> badProperty = good;
  badProperty[badProperty.size() - 1] = -1;
  EXPECT_EQ(codeFor(badProperty), "Invalid_block_parameter");
}

// ---- scaling ----

namespace {

struct ScalePlot {
  std::shared_ptr<DoubleArrays> data = make_shared<DoubleArrays>(DoubleArrays{{1, 2, 3}, {4, 5}});
  std::shared_ptr<std::vector<double>> max =
      make_shared<std::vector<double>>(std::vector<double>{3, 5});
  std::shared_ptr<std::vector<double>> min =
      make_shared<std::vector<double>>(std::vector<double>{1, 4});
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
  EXPECT_EQ(*s.data, (DoubleArrays{{1, 2, 3}, {4, 5}}));
  EXPECT_EQ(*s.max, (std::vector<double>{3, 5}));
}

TEST(PostDataObjectScale, NegativeFactorCopiesDataAndSwapsMinMaxInPlace) {
  ScalePlot s;
  s.plot.scaleData(-1.0, Array<int, 1>{0});
  EXPECT_EQ(s.plot.getData(0), (DoubleArrays{{-1, -2, -3}, {4, 5}}));
  EXPECT_EQ(*s.data, (DoubleArrays{{1, 2, 3}, {4, 5}}));  // the earlier array is untouched
  EXPECT_EQ(*s.min, (std::vector<double>{-3, 4}));        // the shared min/max are not
  EXPECT_EQ(*s.max, (std::vector<double>{-1, 5}));
}

TEST(PostDataObjectScale, RepeatedPositionsScaleTwiceAndNaNIsApplied) {
  ScalePlot s;
  s.plot.scaleData(3.0, Array<int, 1>{1, 1});
  EXPECT_EQ(s.plot.getData(0), (DoubleArrays{{1, 2, 3}, {36, 45}}));
  EXPECT_EQ(*s.min, (std::vector<double>{1, 36}));
  EXPECT_EQ(*s.max, (std::vector<double>{3, 45}));

  s.plot.scaleData(std::nan(""), Array<int, 1>{0});
  EXPECT_TRUE(std::isnan(s.plot.getData(0)[0][2]));
  EXPECT_TRUE(std::isnan((*s.min)[0]));
  EXPECT_TRUE(std::isnan((*s.max)[0]));
  EXPECT_EQ((*s.max)[1], 45);
}

TEST(PostDataObjectScale, EveryGroupIsScaledAndUnheldPositionsAreSkipped) {
  ScalePlot s;
  s.plot.addData(make_shared<DoubleArrays>(DoubleArrays{{10}}));
  s.plot.addDataMax(make_shared<std::vector<double>>(std::vector<double>{10}));
  s.plot.addDataMin(make_shared<std::vector<double>>(std::vector<double>{10}));
  s.plot.scaleData(0.5, Array<int, 1>{1, 0, 7, -1});
  EXPECT_EQ(s.plot.getData(0), (DoubleArrays{{0.5, 1, 1.5}, {2, 2.5}}));
  EXPECT_EQ(s.plot.getData(1), (DoubleArrays{{5}}));
  EXPECT_EQ(*s.min, (std::vector<double>{0.5, 2}));
  EXPECT_EQ(*s.max, (std::vector<double>{1.5, 2.5}));
}
