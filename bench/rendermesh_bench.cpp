// Throughput of the render mesh collection through the binary streams: a collection of 100 3D
// boundary faces holding 1 million triangles, 0.5 million quads and 1.02 million vertices in all
// (32 MB in the stream), written and read back, beside a memcpy of the same number of bytes.
// "Fresh" runs allocate their destination every time (a new stream, a new collection, page
// faults included); "Reused" runs write into a cleared stream that keeps its capacity.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "datacarrier/rendermeshboundary3d.h"
#include "datacarrier/rendermeshcollection.h"
#include "qvutil/binarystream.h"
#include "qvutil/prop.h"

using nkdatacarrier::RenderMeshBoundary3D;
using nkdatacarrier::RenderMeshCollection;

namespace {

constexpr int kPieces = 100;
constexpr int kCells = 100;  // per piece a grid of 100 x 100 cells: half split in two triangles

// Piece p: a grid at height p, its first half of cells as triangle pairs, the rest as quads.
std::shared_ptr<RenderMeshBoundary3D> makeGridPiece(int p) {
  const int columns = kCells + 1;
  auto piece = std::make_shared<RenderMeshBoundary3D>(p);
  piece->reserve(columns * columns, kCells * kCells, kCells * kCells / 2);
  for (int j = 0; j <= kCells; ++j) {
    for (int i = 0; i <= kCells; ++i)
      piece->appendVertex(float(i) * 0.5f, float(j) * 0.25f, float(p));
  }
  for (int c = 0; c < kCells * kCells; ++c) {
    const int v = (c / kCells) * columns + c % kCells;
    if (c < kCells * kCells / 2) {
      piece->appendTriangle(v, v + 1, v + columns + 1);
      piece->appendTriangle(v, v + columns + 1, v + columns);
    } else {
      piece->appendQuad(v, v + 1, v + columns + 1, v + columns);
    }
  }
  piece->setValid(true);
  return piece;
}

const RenderMeshCollection& collection() {
  static const RenderMeshCollection c = [] {
    RenderMeshCollection m(3);
    m.reserve(kPieces);
    for (int p = 0; p < kPieces; ++p)
      m.addRenderMesh(makeGridPiece(p));
    return m;
  }();
  return c;
}

const std::vector<char>& streamBytes() {
  static const std::vector<char> bytes = [] {
    nkbase::Prop prop;
    BinaryOSerialStream out;
    collection().serialize(out, prop);
    return out.getBuffer();
  }();
  return bytes;
}

void BM_WriteCollection(benchmark::State& state) {
  const RenderMeshCollection& c = collection();
  nkbase::Prop prop;
  for (auto _ : state) {
    BinaryOSerialStream out;
    c.serialize(out, prop);
    benchmark::DoNotOptimize(out.getBuffer().data());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(streamBytes().size()));
}

void BM_WriteCollectionReused(benchmark::State& state) {
  const RenderMeshCollection& c = collection();
  nkbase::Prop prop;
  BinaryOSerialStream out;
  c.serialize(out, prop);
  for (auto _ : state) {
    out.clear();
    c.serialize(out, prop);
    benchmark::DoNotOptimize(out.getBuffer().data());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(streamBytes().size()));
}

void BM_ReadCollection(benchmark::State& state) {
  const std::vector<char>& bytes = streamBytes();
  for (auto _ : state) {
    BinaryISerialStream in(bytes);
    RenderMeshCollection back;
    back.deserialize(in);
    benchmark::DoNotOptimize(back.getRenderMesh(kPieces - 1).get());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(bytes.size()));
}

// The baselines: the same number of bytes copied into a fresh buffer, and into one that exists.
void BM_MemcpyFresh(benchmark::State& state) {
  const std::size_t n = streamBytes().size();
  const std::vector<char> src(n, 1);
  for (auto _ : state) {
    std::unique_ptr<char[]> dst(new char[n]);
    std::memcpy(dst.get(), src.data(), n);
    benchmark::DoNotOptimize(dst.get());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(n));
}

void BM_MemcpyReused(benchmark::State& state) {
  const std::size_t n = streamBytes().size();
  const std::vector<char> src(n, 1);
  std::vector<char> dst(n);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), n);
    benchmark::DoNotOptimize(dst.data());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(n));
}

BENCHMARK(BM_WriteCollection)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteCollectionReused)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadCollection)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpyFresh)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpyReused)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
