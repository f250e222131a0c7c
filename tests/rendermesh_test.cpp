// The mesh pieces and their base: the dimension table, the arrays a producer fills, the exact
// write sequence of every piece, the version each reader accepts (with the line of its refusal),
// reading a piece of unknown kind by its class identifier, and corrupt or truncated streams.
#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>

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

// A piece of any type number, to reach the base's dimension rule for types no piece has.
class AnyTypeMesh : public RenderMesh {
 public:
  explicit AnyTypeMesh(int type) : RenderMesh(Type(type), 11) {}
  void serializeRaw(OSerialStream& os, nkbase::Prop&) const override { serializeAttributes(os); }
  void deserializeRaw(ISerialStream& is) override { deserializeAttributes(is); }
  std::string getClassID() const override { return "AnyTypeMesh"; }
  nkboost::shared_ptr<RenderMesh> clone() const override {
    return nkboost::make_shared<AnyTypeMesh>(*this);
  }
};

// The lines a piece writes after its class identifier.
const auto raw = qvtest::writtenRaw;

Lines attributes(int type, int id, int sdim, int edim, bool valid) {
  return {"int " + std::to_string(type),      "# object type",
          "int " + std::to_string(id),        "# connected domain identity",
          "int " + std::to_string(sdim),      "# space dimension",
          "int " + std::to_string(edim),      "# element dimension",
          valid ? "bool true" : "bool false", "# is valid"};
}

Lines concat(std::initializer_list<Lines> parts) {
  Lines out;
  for (const Lines& p : parts)
    out.insert(out.end(), p.begin(), p.end());
  return out;
}

RenderMeshSubdomain2D squareWithHole() {
  RenderMeshSubdomain2D s(42);
  s.reservePaths(1, 1);
  s.bndPath(0).allocate(1);
  s.bndPath(0).setVertex(0, 0.5f, -2);
  s.reserve(6, 1, 1);
  for (int i = 0; i < 6; ++i)
    s.appendVertex(float(i), 0.25f * float(i));
  s.appendTriangle(0, 1, 2);
  s.appendQuad(2, 3, 4, 5);
  s.setValid(true);
  return s;
}

RenderMeshBoundary3D oneTriangleFace() {
  RenderMeshBoundary3D b(7);
  b.appendVertex(1, 2, 3);
  b.appendVertex(4, 5, 6);
  b.appendVertex(7, 8, 9.5f);
  b.appendTriangle(2, 1, 0);
  return b;
}

// One small piece of every kind.
std::vector<nkboost::shared_ptr<RenderMesh>> everyPiece() {
  auto e = nkboost::make_shared<RenderMeshEdge3D>(1);
  e->appendVertex(1, 2, 3);
  auto s1 = nkboost::make_shared<RenderMeshSubdomain1D>(3);
  s1->appendVertex(4);
  auto b2 = nkboost::make_shared<RenderMeshBoundary2D>(5);
  b2->appendVertex(6, 7);
  return {e, nkboost::make_shared<RenderMeshBoundary3D>(oneTriangleFace()), s1,
          nkboost::make_shared<RenderMeshSubdomain2D>(squareWithHole()), b2};
}

}  // namespace

TEST(RenderMeshAttributes, DimensionsFollowTheTypeOnConstruction) {
  struct Row {
    int type, sdim, edim;
  };
  for (const Row& r : {Row{0, 3, 1}, Row{1, 3, 2}, Row{2, 1, 1}, Row{3, 2, 2}, Row{4, 2, 1},
                       Row{5, 0, 0}, Row{7, 0, 0}, Row{-1, 0, 0}}) {
    const AnyTypeMesh m(r.type);
    EXPECT_EQ(raw(m), attributes(r.type, 11, r.sdim, r.edim, false));
  }
  // Every piece constructs with its own row: see the attribute blocks of ExactWriteSequences.
}

TEST(RenderMeshAttributes, ReadBackAsStoredNotRecomputed) {
  // Type 3 with dimensions that disagree with it, and a type no piece has.
  ForgedIStream s({3, -8, 9, 7, true, 12, 5, 0, 0, false});
  AnyTypeMesh m(0);
  m.deserializeRaw(s);
  EXPECT_EQ(raw(m), attributes(3, -8, 9, 7, true));
  m.deserializeRaw(s);
  EXPECT_EQ(s.consumed(), s.size());
  EXPECT_EQ(raw(m), attributes(12, 5, 0, 0, false));
}

TEST(RenderMeshPieces, AppendingReservingAndArrays) {
  RenderMeshBoundary3D b(1);
  EXPECT_EQ(b.getVertexArray(), nullptr);
  EXPECT_EQ(b.getTriangleArray(), nullptr);
  EXPECT_EQ(b.getQuadArray(), nullptr);
  b.setValid(true);
  b.appendVertex(1, 2, 3);
  b.appendTriangle(0, 1, 2);
  b.appendQuad(2, 3, 4, 5);
  EXPECT_TRUE(b.isValid());  // appending leaves the flag alone
  EXPECT_EQ(b.getTriangleArray()[2] * 10 + b.getQuadArray()[3], 25);
  EXPECT_EQ(b.getVertexArray()[0].z, 3.0f);
  b.reserve(10, 10, 10);
  EXPECT_FALSE(b.isValid());
  EXPECT_EQ(b.getNumberOfVertices() + b.getNumberOfTriangles() + b.getNumberOfQuads(), 0);
  EXPECT_EQ(b.getVertexArray(), nullptr);

  RenderMeshSubdomain1D s(2);
  s.appendVertex(0.5f);
  s.reserve(-4);  // a negative size reserves nothing
  EXPECT_EQ(s.getNumberOfVertices(), 0);

  RenderMeshSubdomain2D d = squareWithHole();
  d.reservePaths(0, 3);
  EXPECT_EQ(d.getNumberOfBndPaths(), 0);
  EXPECT_EQ(d.getNumberOfIntPaths(), 3);
  EXPECT_EQ(d.getIntPath(2).getNumberOfVertices(), 0);
  EXPECT_EQ(d.getNumberOfQuads(), 1);  // paths and faces are apart
}

TEST(RenderMeshPieces, CopiesAndClonesAreDeep) {
  const RenderMeshSubdomain2D a = squareWithHole();
  RenderMeshSubdomain2D b = a;
  b.bndPath(0).setVertex(0, 9, 9);
  EXPECT_EQ(a.getBndPath(0).getVertex(0).x, 0.5f);

  const nkboost::shared_ptr<RenderMesh> c = a.clone();
  auto c2 = nkboost::dynamic_pointer_cast<RenderMeshSubdomain2D>(c);
  c2->reserve(0, 0, 0);
  EXPECT_EQ(a.getNumberOfVertices(), 6);
  for (const auto& p : everyPiece())
    EXPECT_EQ(qvtest::binaryOf(*p->clone()), qvtest::binaryOf(*p)) << p->getClassID();
}

TEST(RenderMeshSerialization, ExactWriteSequences) {
  EXPECT_EQ(raw(squareWithHole()),
            concat({{"unsigned 1", "# version"},
                    attributes(3, 42, 2, 2, true),
                    qvtest::seq("int 1|# number of boundary paths|int 1|# number of interior paths|"
                                "# Boundary paths|string RenderClosedPath2D|unsigned 0|# version|"
                                "int 1|# number of vertices|# Vertex coordinates|float 0.5|"
                                "float -2|# |# Interior paths|string RenderClosedPath2D|"
                                "unsigned 0|# version|int 0|# number of vertices|"
                                "# Vertex coordinates|int 6|# number of vertices|int 1|"
                                "# number of triangles|int 1|# number of quads|"
                                "# Vertex coordinates|float 0|float 0|# |float 1|float 0.25|# |"
                                "float 2|float 0.5|# |float 3|float 0.75|# |float 4|float 1|# |"
                                "float 5|float 1.25|# |# Triangles|int 0|int 1|int 2|# |# Quads|"
                                "int 2|int 3|int 4|int 5|# ")}));
  EXPECT_EQ(raw(oneTriangleFace()),
            concat({{"unsigned 0", "# version"},
                    attributes(1, 7, 3, 2, false),
                    qvtest::seq("int 3|# number of vertices|int 1|# number of triangles|int 0|"
                                "# number of quads|# Vertex coordinates|float 1|float 2|float 3|"
                                "# |float 4|float 5|float 6|# |float 7|float 8|float 9.5|# |"
                                "# Triangles|int 2|int 1|int 0|# |# Quads")}));
  RenderMeshEdge3D e(-3);
  e.appendVertex(0.5f, 1, 2);
  EXPECT_EQ(raw(e), concat({{"unsigned 0", "# version"},
                            attributes(0, -3, 3, 1, false),
                            qvtest::seq("int 1|# number of vertices|# Vertex coordinates|"
                                        "float 0.5|float 1|float 2|# ")}));
  RenderMeshBoundary2D b(0);
  b.appendVertex(3, 4);
  b.setValid(true);
  EXPECT_EQ(raw(b), concat({{"unsigned 0", "# version"},
                            attributes(4, 0, 2, 1, true),
                            qvtest::seq("int 1|# number of vertices|# Vertex coordinates|"
                                        "float 3|float 4|# ")}));
  // The 1D subdomain writes its version without the "version" label.
  RenderMeshSubdomain1D s(5);
  s.appendVertex(-1);
  s.appendVertex(2);
  EXPECT_EQ(raw(s), concat({{"unsigned 0"},
                            attributes(2, 5, 1, 1, false),
                            qvtest::seq("int 2|# number of vertices|# Vertex coordinates|"
                                        "float -1|# |float 2|# ")}));
}

TEST(RenderMeshSerialization, EveryTruncationRaisesAndReadingReplaces) {
  // Every kind read by its identifier, whole and cut short, is checked through the collection.
  qvtest::expectEveryTruncationRaisesEndOfFile(squareWithHole());
  // Reading replaces whatever the piece held.
  RenderMeshSubdomain2D full = squareWithHole();
  full.reservePaths(4, 4);
  std::vector<char> bytes = qvtest::binaryOf(RenderMeshSubdomain2D(8));
  BinaryISerialStream in(bytes);
  full.deserialize(in);
  EXPECT_EQ(raw(full), raw(RenderMeshSubdomain2D(8)));
}

TEST(RenderMeshSerialization, RefusedVersionsWithTheirLines) {
  struct Case {
    const char* classID;
    const char* site;
    std::vector<int> refused;
  };
  for (const Case& c : {Case{"RenderMeshEdge3D", "rendermeshedge3d:94", {1, -1}},
                        Case{"RenderMeshBoundary3D", "rendermeshboundary3d:182", {1, -1}},
                        Case{"RenderMeshSubdomain1D", "rendermeshsubdomain1d:86", {1, -1}},
                        Case{"RenderMeshSubdomain2D", "rendermeshsubdomain2d:243", {0, 2, -1}},
                        Case{"RenderMeshBoundary2D", "rendermeshboundary2d:91", {1, -1}}}) {
    for (int version : c.refused) {
      ForgedIStream s({std::string(c.classID), version, 0, 0, 0, 0, false});
      EXPECT_EQ(raiseSite([&] { RenderMesh::deserializePolymorphic(s); }),
                std::string("datacarrier/") + c.site + " Incompatible_native_file_version")
          << version;
      EXPECT_EQ(s.consumed(), 2u);
    }
  }
}

TEST(RenderMeshSerialization, CorruptCountsRaiseBeforeAllocating) {
  // A binary stream announces two billion vertices (triangles, paths) and holds a few bytes.
  for (int field : {0, 1, 2}) {
    BinaryOSerialStream os;
    os << 0u << 1 << 7 << 3 << 2 << true;
    for (int i = 0; i < 3; ++i)
      os << (i == field ? INT_MAX : 0);
    os << 1.0f << 2.0f << 3.0f;
    BinaryISerialStream is(os.getBuffer());
    RenderMeshBoundary3D b;
    EXPECT_EQ(qvtest::codeOf([&] { b.deserializeRaw(is); }), "End_of_file_reached") << field;
  }
  BinaryOSerialStream paths;
  paths << 1u << 3 << 7 << 2 << 2 << true << 0 << INT_MAX;
  BinaryISerialStream pathsIn(paths.getBuffer());
  RenderMeshSubdomain2D d;
  EXPECT_EQ(qvtest::codeOf([&] { d.deserializeRaw(pathsIn); }), "End_of_file_reached");
  // A stream of unknown length: the arrays grow as values arrive until the stream runs dry.
  ForgedIStream unknown({0, 2, 1, 1, 1, true, INT_MAX, 1.0f, 2.0f});
  RenderMeshSubdomain1D s;
  EXPECT_EQ(qvtest::codeOf([&] { s.deserializeRaw(unknown); }), "End_of_file_reached");
  ForgedIStream negative({0, 4, 1, 2, 1, true, -1});
  RenderMeshBoundary2D b2;
  EXPECT_THROW(b2.deserializeRaw(negative), std::length_error);
  // A path that is not a closed path inside a subdomain.
  ForgedIStream wrongPath({1, 3, 1, 2, 2, true, 1, 0, std::string("RenderCurve2D")});
  EXPECT_EQ(qvtest::codeOf([&] { d.deserializeRaw(wrongPath); }), "Unexpected_class_identifier");
}

TEST(RenderMeshPolymorphic, RefusesEveryOtherIdentifier) {
  for (const char* id : {"RenderMesh", "RenderMeshCollection", "rendermeshedge3d",
                         "RenderMeshEdge3D ", "RenderClosedPath2D", ""}) {
    ForgedIStream s({std::string(id), 0u});
    EXPECT_EQ(raiseSite([&] { RenderMesh::deserializePolymorphic(s); }),
              "datacarrier/rendermesh:114 Incompatible_native_file_version")
        << id;
    EXPECT_EQ(s.consumed(), 1u);
  }
  // An error inside the piece passes through unchanged.
  ForgedIStream bad({std::string("RenderMeshEdge3D"), 1u});
  EXPECT_EQ(raiseSite([&] { RenderMesh::deserializePolymorphic(bad); }),
            "datacarrier/rendermeshedge3d:94 Incompatible_native_file_version");
}
