// The mesh collection: adding and assigning share pieces while clone copies them, the exact
// write sequence, reading pieces of every kind back by identifier, and the streams it refuses
// (bad version, unknown piece, corrupt count, truncation) without losing what was read.
#include "datacarrier/rendermeshcollection.h"

#include <gtest/gtest.h>

#include <climits>

#include "datacarrier/rendermeshboundary2d.h"
#include "datacarrier/rendermeshboundary3d.h"
#include "datacarrier/rendermeshedge3d.h"
#include "datacarrier/rendermeshsubdomain1d.h"
#include "datacarrier/rendermeshsubdomain2d.h"
#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "carrierstreamchecks.h"
#include "recordingstream.h"

using namespace nkdatacarrier;
using qvtest::ForgedIStream;
using qvtest::raiseSite;
using Lines = std::vector<std::string>;

namespace {

const auto raw = qvtest::writtenRaw;

// One piece of every kind, in an order unlike the reader's order of identifiers.
RenderMeshCollection everyKind() {
  RenderMeshCollection c(3);
  auto e = nkboost::make_shared<RenderMeshEdge3D>(10);
  e->appendVertex(1, 2, 3);
  e->appendVertex(4, 5, 6);
  auto b3 = nkboost::make_shared<RenderMeshBoundary3D>(11);
  b3->appendVertex(0, 0, 0);
  b3->appendVertex(1, 0, 0);
  b3->appendVertex(0, 1, 0);
  b3->appendVertex(1, 1, 0);
  b3->appendTriangle(0, 1, 2);
  b3->appendQuad(0, 1, 3, 2);
  b3->setValid(true);
  auto s1 = nkboost::make_shared<RenderMeshSubdomain1D>(12);
  s1->appendVertex(0.5f);
  auto s2 = nkboost::make_shared<RenderMeshSubdomain2D>(13);
  s2->reservePaths(1, 0);
  s2->bndPath(0).allocate(2);
  s2->appendVertex(1, 2);
  s2->appendTriangle(0, 0, 0);
  auto b2 = nkboost::make_shared<RenderMeshBoundary2D>(14);
  b2->appendVertex(3, 4);
  c.addRenderMesh(e);
  c.addRenderMesh(s2);
  c.addRenderMesh(b3);
  c.addRenderMesh(b2);
  c.addRenderMesh(s1);
  return c;
}

std::vector<std::string> classesOf(const RenderMeshCollection& c) {
  std::vector<std::string> ids;
  for (int i = 0; i < c.getNumberOfRenderMeshs(); ++i)
    ids.push_back(c.getRenderMesh(i)->getClassID());
  return ids;
}

const Lines kEveryKindClasses = {"RenderMeshEdge3D", "RenderMeshSubdomain2D",
                                 "RenderMeshBoundary3D", "RenderMeshBoundary2D",
                                 "RenderMeshSubdomain1D"};

}  // namespace

TEST(RenderMeshCollectionModel, AddingAndAssigningShareWhileCloneCopies) {
  EXPECT_EQ(static_cast<const IDataCarrier&>(RenderMeshCollection(2)).getDataCarrierType(), 3);
  RenderMeshCollection a = everyKind();
  EXPECT_EQ(classesOf(a), kEveryKindClasses);
  auto edge = nkboost::dynamic_pointer_cast<RenderMeshEdge3D>(a.getRenderMesh(0));
  ASSERT_TRUE(edge);
  EXPECT_EQ(edge.use_count(), 2);  // the collection and this pointer: added, not copied

  RenderMeshCollection shared(1);
  shared = a;
  EXPECT_EQ(shared.getSDim(), 3);
  EXPECT_EQ(shared.getRenderMesh(0).get(), edge.get());
  const nkboost::shared_ptr<RenderMeshCollection> deep = a.clone();
  EXPECT_EQ(qvtest::binaryOf(*deep), qvtest::binaryOf(a));

  edge->getVertex(0).x = -7;  // seen through every sharing collection, by no copy
  EXPECT_EQ(nkboost::static_pointer_cast<RenderMeshEdge3D>(shared.getRenderMesh(0))->getVertex(0).x,
            -7.0f);
  EXPECT_EQ(nkboost::static_pointer_cast<RenderMeshEdge3D>(deep->getRenderMesh(0))->getVertex(0).x,
            1.0f);
  for (int i = 0; i < a.getNumberOfRenderMeshs(); ++i)
    EXPECT_EQ(deep->getRenderMesh(i).use_count(), 1);

  shared.reserve(8);  // empties this list only
  EXPECT_EQ(shared.getNumberOfRenderMeshs(), 0);
  EXPECT_EQ(a.getNumberOfRenderMeshs(), 5);
  EXPECT_EQ(edge.use_count(), 2);
}

TEST(RenderMeshCollectionSerialization, ExactWriteSequence) {
  EXPECT_EQ(raw(RenderMeshCollection(2)),
            (Lines{"unsigned 0", "# version", "int 2", "# space dimension", "int 0",
                   "# number of objects", "# ", "# RenderMesh objects"}));
  RenderMeshCollection c(1);
  auto s = nkboost::make_shared<RenderMeshSubdomain1D>(4);
  s->appendVertex(2);
  c.addRenderMesh(s);
  c.addRenderMesh(s);
  const Lines piece = qvtest::seq(
      "string RenderMeshSubdomain1D|unsigned 0|int 2|# object type|int 4|# connected domain "
      "identity|int 1|# space dimension|int 1|# element dimension|bool false|# is valid|int 1|# "
      "number of vertices|# Vertex coordinates|float 2|# ");
  Lines expected = qvtest::seq(
      "unsigned 0|# version|int 1|# space dimension|int 2|# number of objects|# |# RenderMesh "
      "objects|# ");
  expected.insert(expected.end(), piece.begin(), piece.end());
  expected.push_back("# ");
  expected.insert(expected.end(), piece.begin(), piece.end());
  EXPECT_EQ(raw(c), expected);
}

TEST(RenderMeshCollectionSerialization, ReadsEveryKindBackThroughBothStreams) {
  const RenderMeshCollection c = everyKind();
  for (const RenderMeshCollection& r : qvtest::streamCopies(c))
    EXPECT_EQ(raw(r), raw(c));  // the pieces' class identifiers included
  qvtest::expectEveryTruncationRaisesEndOfFile(c);
  // An empty collection reads back empty, and reading replaces what was there.
  RenderMeshCollection r = everyKind();
  const std::vector<char> bytes = qvtest::binaryOf(RenderMeshCollection(2));
  BinaryISerialStream in(bytes);
  r.deserialize(in);
  EXPECT_EQ(r.getNumberOfRenderMeshs(), 0);
  EXPECT_EQ(r.getSDim(), 2);
}

TEST(RenderMeshCollectionSerialization, CountsBelowOneReadNoPieces) {
  for (int count : {0, -1, INT_MIN}) {
    ForgedIStream s({0u, 2, count, std::string("RenderMeshEdge3D")});
    RenderMeshCollection c = everyKind();
    c.deserializeRaw(s);
    EXPECT_EQ(c.getNumberOfRenderMeshs(), 0);
    EXPECT_EQ(c.getSDim(), 2);
    EXPECT_EQ(s.consumed(), 3u);
  }
}

TEST(RenderMeshCollectionSerialization, RefusedStreams) {
  ForgedIStream version({1, 2, 0});
  RenderMeshCollection c;
  EXPECT_EQ(raiseSite([&] { c.deserializeRaw(version); }),
            "datacarrier/rendermeshcollection:96 Incompatible_native_file_version");
  EXPECT_EQ(version.consumed(), 1u);

  // An unknown piece after two good ones: the reader's error, and the two pieces stay.
  BinaryOSerialStream os;
  nkbase::Prop prop;
  os << 0u << 2 << 3;
  RenderMeshEdge3D e(1);
  e.serialize(os, prop);
  RenderMeshBoundary2D b(2);
  b.serialize(os, prop);
  os << std::string("RenderMeshCollection");  // the stream ends with the unknown identifier
  BinaryISerialStream in(os.getBuffer());
  EXPECT_EQ(raiseSite([&] { c.deserializeRaw(in); }),
            "datacarrier/rendermesh:114 Incompatible_native_file_version");
  EXPECT_EQ(classesOf(c), (Lines{"RenderMeshEdge3D", "RenderMeshBoundary2D"}));

  // Two billion pieces announced in a few bytes: no room reserved beyond what the stream holds,
  // and the piece that is there is kept when the stream runs dry.
  BinaryOSerialStream huge;
  huge << 0u << 2 << INT_MAX;
  e.serialize(huge, prop);
  BinaryISerialStream hugeIn(huge.getBuffer());
  EXPECT_EQ(qvtest::codeOf([&] { c.deserializeRaw(hugeIn); }), "End_of_file_reached");
  EXPECT_EQ(classesOf(c), (Lines{"RenderMeshEdge3D"}));
  // The same in a stream of unknown length: pieces are read as they come until it runs dry.
  ForgedIStream unknown(
      {0u, 2, INT_MAX, std::string("RenderMeshSubdomain1D"), 0u, 2, 0, 1, 1, false, 0});
  EXPECT_EQ(qvtest::codeOf([&] { c.deserializeRaw(unknown); }), "End_of_file_reached");
  EXPECT_EQ(classesOf(c), (Lines{"RenderMeshSubdomain1D"}));
}
