// The 3D draw geometry on real meshed models (read with the mesher's own library): volumes,
// boundary and surface areas, merged render arrays and point containment against figures
// computed independently from the same meshes. Built only when that library and nlohmann-json
// are installed; skipped when the model directory is missing.
#include <gtest/gtest.h>

#ifdef QV_HAVE_GMSH
#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "models3d.h"

using nkdatacarrier::RenderDraw3D;

namespace {

std::vector<int> all(int n) {
  std::vector<int> v(n);
  for (int i = 0; i < n; ++i)
    v[i] = i;
  return v;
}

}  // namespace

TEST(RenderDrawGeom3DRealModels, VolumesAreasAndContainmentMatchTheFigures) {
  const std::string dir = QV_MODELS_DIR;
  for (const char* name : {"cube", "plate_hole", "sphere", "two_boxes", "bracket_s"}) {
    std::ifstream in(dir + "/" + name + ".figures.json");
    if (!in) GTEST_SKIP() << "no models in " << dir;
    const nlohmann::json fig = nlohmann::json::parse(in);
    const qvtest::MeshedModel m = qvtest::readMeshedModel(dir + "/" + name + ".msh");
    const RenderDraw3D& g = m.geometry;
    ASSERT_EQ(g.getNumberOfSheets(), fig["counts"]["surfaces"].get<int>()) << name;
    ASSERT_EQ(g.getNumberOfSolids(), fig["counts"]["volumes"].get<int>()) << name;
    EXPECT_EQ(g.getNumberOfCurves(), fig["counts"]["curves"].get<int>()) << name;
    EXPECT_EQ(g.getNumberOfPoints(), fig["counts"]["points"].get<int>()) << name;
    auto index = [](const std::vector<int>& tags, int tag) {
      return int(std::find(tags.begin(), tags.end(), tag) - tags.begin());
    };
    for (const auto& s : fig["surfaces"]) {
      const int k = index(m.surfaceTags, s["tag"].get<int>());
      EXPECT_EQ(g.getSheet(k).getNumberOfTriangles(), s["triangles"].get<int>()) << name;
      EXPECT_NEAR(g.getVolume(2, {k}), s["area"].get<double>(), 1e-6 * s["area"].get<double>())
          << name << " surface " << s["tag"];
    }
    for (const auto& v : fig["volumes"]) {
      const int k = index(m.volumeTags, v["tag"].get<int>());
      const double vol = v["volume"].get<double>(), area = v["boundary_area"].get<double>();
      EXPECT_NEAR(g.getVolume(3, {k}), vol, 1e-9 * vol) << name << " volume " << v["tag"];
      EXPECT_NEAR(g.getBndArea(3, {k}), area, 1e-6 * area) << name << " volume " << v["tag"];
    }
    // All volumes together: every boundary surface once.
    std::set<int> bounding;
    for (const auto& v : fig["volumes"])
      for (int tag : v["boundary_surfaces"])
        bounding.insert(tag);
    double union_area = 0;
    for (const auto& s : fig["surfaces"])
      if (bounding.count(s["tag"].get<int>())) union_area += s["area"].get<double>();
    EXPECT_NEAR(g.getBndArea(3, all(g.getNumberOfSolids())), union_area, 1e-6 * union_area) << name;
    // The render export merges the sheets' and curves' copies of every mesh node. A curve
    // without line elements (at a pole) writes no segment but takes a position, left at the
    // origin, and counts -1 in the edge size.
    std::vector<std::vector<float>> coords;
    std::vector<std::vector<int>> el;
    g.getMLRenderData(coords, el);
    int emptyCurves = 0;
    for (int c = 0; c < g.getNumberOfCurves(); ++c)
      emptyCurves += g.getCurve(c).getNumberOfVertices() == 0;
    bool originIsNode = false;
    for (int k = 0; k < g.getNumberOfSheets(); ++k)
      for (int i = 0; i < g.getSheet(k).getNumberOfVertices(); ++i) {
        const auto& v = g.getSheet(k).getVertex(i);
        originIsNode = originIsNode || (v.x == 0 && v.y == 0 && v.z == 0);
      }
    EXPECT_EQ(int(coords[0].size()), m.nodes + (emptyCurves && !originIsNode)) << name;
    EXPECT_EQ(int(el[5].size()), g.getMLRenderTriSize()) << name;
    EXPECT_EQ(int(el[2].size()), g.getMLRenderEdgSize() + emptyCurves) << name;
    for (std::size_t t = 0; t < el[5].size(); ++t)
      ASSERT_TRUE(el[5][t] != el[6][t] && el[6][t] != el[7][t] && el[5][t] != el[7][t])
          << name << " triangle " << t;
    for (const auto& p : fig["inside"]) {
      const std::vector<double> pt = p["point"].get<std::vector<double>>();
      const std::vector<int> in = p["volumes"].get<std::vector<int>>();
      for (std::size_t k = 0; k < m.volumeTags.size(); ++k)
        EXPECT_EQ(g.pointInSolid(pt, int(k)),
                  std::find(in.begin(), in.end(), m.volumeTags[k]) != in.end())
            << name << " volume " << m.volumeTags[k] << " point " << p["point"];
    }
  }
}
#else
TEST(RenderDrawGeom3DRealModels, NeedTheMeshersLibrary) {
  GTEST_SKIP() << "built without libgmsh-dev and nlohmann-json3-dev";
}
#endif
