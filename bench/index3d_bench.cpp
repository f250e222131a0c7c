// The 3D draw-geometry index on a model of about 1.5 million triangles (a torus of 100 sheets):
// its build, a pick (all hits of a line), a closest point over all sheets and a point-in-solid
// test, each beside the geometry's plain query in the same run. When the build finds a
// ray-tracing library (embree 3), its scene build and an all-hits query of the same lines on
// the same triangles run beside them.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

#include "datacarrier/renderdrawgeom3dindex.h"
#include "index3dmodels.h"

#ifdef QV_HAVE_EMBREE
#include <embree3/rtcore.h>
#endif

namespace {

using nkdatacarrier::RenderDraw3D;
using nkdatacarrier::RenderDrawGeom3DIndex;
using nkdatacarrier::Sheet3D;

// 100 sheets of 75 x 100 cells, two triangles each: 1.5 million triangles.
const RenderDraw3D& model() {
  static const RenderDraw3D g = qvtest::torus(3.0, 1.0, 10, 10, 75, 100);
  return g;
}

const RenderDrawGeom3DIndex& index() {
  static const RenderDrawGeom3DIndex i(model());
  return i;
}

std::vector<int> allSheets() {
  std::vector<int> s(model().getNumberOfSheets());
  for (std::size_t k = 0; k < s.size(); ++k)
    s[k] = int(k);
  return s;
}

// 256 lines from random points outside the model through random triangle centres, and 256
// random points in the model's box.
struct Queries {
  std::vector<std::vector<double>> from, to, points;
};

const Queries& queries() {
  static const Queries q = [] {
    Queries r;
    std::mt19937_64 rng(99);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    const RenderDraw3D& g = model();
    for (int i = 0; i < 256; ++i) {
      const Sheet3D& s = g.getSheet(int(rng() % g.getNumberOfSheets()));
      const int t = int(rng() % s.getNumberOfTriangles());
      std::vector<double> c(3, 0.0);
      for (int k = 0; k < 3; ++k) {
        const Sheet3D::Vertex& v = s.getVertex(s.getTriangleArray()[3 * t + k]);
        c[0] += v.x / 3.0;
        c[1] += v.y / 3.0;
        c[2] += v.z / 3.0;
      }
      r.from.push_back({8.0 * unit(rng), 8.0 * unit(rng), 6.0 + 2.0 * unit(rng)});
      r.to.push_back(c);
      r.points.push_back({4.5 * unit(rng), 4.5 * unit(rng), 1.2 * unit(rng)});
    }
    return r;
  }();
  return q;
}

// Arg: the number of build threads (0: as many as the machine runs at once). Wall time, as
// for embree's build below.
void BM_IndexBuild(benchmark::State& state) {
  const RenderDraw3D& g = model();
  for (auto _ : state) {
    RenderDrawGeom3DIndex i(g, static_cast<int>(state.range(0)));
    benchmark::DoNotOptimize(i.getNumberOfIndexedTriangles());
  }
  state.counters["triangles"] = double(index().getNumberOfIndexedTriangles());
}

void BM_Pick(benchmark::State& state) {
  const bool indexed = state.range(0) != 0;
  const Queries& q = queries();
  std::vector<std::vector<double>> hits;
  std::vector<int> sheets;
  std::size_t i = 0, found = 0;
  for (auto _ : state) {
    if (indexed) {
      index().findLineIntersections(q.from[i], q.to[i], hits, sheets);
    } else {
      model().findLineIntersections(q.from[i], q.to[i], hits, sheets);
    }
    found += hits.size();
    i = (i + 1) % q.from.size();
  }
  state.counters["hits"] = benchmark::Counter(double(found), benchmark::Counter::kAvgIterations);
}

void BM_ClosestPoint(benchmark::State& state) {
  const bool indexed = state.range(0) != 0;
  const Queries& q = queries();
  const std::vector<int> all = allSheets();
  std::vector<double> c;
  std::size_t i = 0;
  for (auto _ : state) {
    const int s = indexed ? index().findClosestPoint(q.points[i], all, c)
                          : model().findClosestPoint(q.points[i], all, c);
    benchmark::DoNotOptimize(s);
    i = (i + 1) % q.points.size();
  }
}

void BM_PointInSolid(benchmark::State& state) {
  const bool indexed = state.range(0) != 0;
  const Queries& q = queries();
  std::size_t i = 0, inside = 0;
  for (auto _ : state) {
    inside += indexed ? index().pointInSolid(q.points[i], 0) : model().pointInSolid(q.points[i], 0);
    i = (i + 1) % q.points.size();
  }
  state.counters["inside"] = benchmark::Counter(double(inside), benchmark::Counter::kAvgIterations);
}

// Argument 0: the geometry's plain query; 1: through the index. The plain queries look at
// every triangle, so they run a few iterations only.
BENCHMARK(BM_IndexBuild)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pick)->Arg(0)->Iterations(8)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Pick)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ClosestPoint)->Arg(0)->Iterations(8)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ClosestPoint)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PointInSolid)->Arg(0)->Iterations(4)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PointInSolid)->Arg(1)->Unit(benchmark::kMicrosecond);

#ifdef QV_HAVE_EMBREE

// The same triangles in one embree triangle geometry.
struct EmbreeScene {
  explicit EmbreeScene(const char* config) {
    device = rtcNewDevice(config);
    scene = rtcNewScene(device);
    const RenderDraw3D& g = model();
    std::size_t nv = 0, nt = 0;
    for (int s = 0; s < g.getNumberOfSheets(); ++s) {
      nv += g.getSheet(s).getNumberOfVertices();
      nt += g.getSheet(s).getNumberOfTriangles();
    }
    RTCGeometry geom = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
    float* v = static_cast<float*>(rtcSetNewGeometryBuffer(
        geom, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float), nv));
    unsigned* t = static_cast<unsigned*>(rtcSetNewGeometryBuffer(
        geom, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(unsigned), nt));
    unsigned base = 0;
    for (int s = 0; s < g.getNumberOfSheets(); ++s) {
      const Sheet3D& sheet = g.getSheet(s);
      for (int i = 0; i < sheet.getNumberOfVertices(); ++i) {
        const Sheet3D::Vertex& x = sheet.getVertex(i);
        *v++ = x.x;
        *v++ = x.y;
        *v++ = x.z;
      }
      const int* tri = sheet.getTriangleArray();
      for (int i = 0; i < 3 * sheet.getNumberOfTriangles(); ++i)
        *t++ = base + unsigned(tri[i]);
      base += unsigned(sheet.getNumberOfVertices());
    }
    rtcSetGeometryIntersectFilterFunction(geom, collect);
    rtcCommitGeometry(geom);
    rtcAttachGeometry(scene, geom);
    rtcReleaseGeometry(geom);
  }
  ~EmbreeScene() {
    rtcReleaseScene(scene);
    rtcReleaseDevice(device);
  }

  // The intersection context carries the hit list; the filter records every hit and rejects
  // it, so that the traversal goes on to the next.
  struct Context {
    RTCIntersectContext base;
    std::vector<std::pair<float, unsigned>>* hits;
  };
  static void collect(const RTCFilterFunctionNArguments* args) {
    const Context* ctx = reinterpret_cast<const Context*>(args->context);
    ctx->hits->push_back(
        {RTCRayN_tfar(args->ray, args->N, 0), RTCHitN_primID(args->hit, args->N, 0)});
    args->valid[0] = 0;
  }

  RTCDevice device;
  RTCScene scene;
};

void BM_EmbreeBuild(benchmark::State& state) {
  const char* config = state.range(0) == 1 ? "threads=1" : nullptr;
  for (auto _ : state) {
    state.PauseTiming();
    EmbreeScene* e = new EmbreeScene(config);
    state.ResumeTiming();
    rtcCommitScene(e->scene);
    state.PauseTiming();
    delete e;
    state.ResumeTiming();
  }
}

void BM_EmbreePick(benchmark::State& state) {
  static EmbreeScene e("threads=1");
  static bool committed = (rtcCommitScene(e.scene), true);
  (void)committed;
  const Queries& q = queries();
  std::vector<std::pair<float, unsigned>> hits;
  std::size_t i = 0, found = 0;
  for (auto _ : state) {
    hits.clear();
    EmbreeScene::Context ctx;
    rtcInitIntersectContext(&ctx.base);
    ctx.hits = &hits;
    RTCRayHit rh;
    rh.ray.org_x = float(q.from[i][0]);
    rh.ray.org_y = float(q.from[i][1]);
    rh.ray.org_z = float(q.from[i][2]);
    rh.ray.dir_x = float(q.to[i][0] - q.from[i][0]);
    rh.ray.dir_y = float(q.to[i][1] - q.from[i][1]);
    rh.ray.dir_z = float(q.to[i][2] - q.from[i][2]);
    rh.ray.tnear = 0.0f;
    rh.ray.tfar = std::numeric_limits<float>::infinity();
    rh.ray.mask = ~0u;
    rh.ray.flags = 0;
    rh.ray.time = 0.0f;
    rh.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    rh.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(e.scene, &ctx.base, &rh);
    std::sort(hits.begin(), hits.end());
    found += hits.size();
    i = (i + 1) % q.from.size();
  }
  state.counters["hits"] = benchmark::Counter(double(found), benchmark::Counter::kAvgIterations);
}

// Argument 0: embree's default threading; 1: one thread.
BENCHMARK(BM_EmbreeBuild)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EmbreePick)->Unit(benchmark::kMicrosecond);

#endif

}  // namespace

BENCHMARK_MAIN();
