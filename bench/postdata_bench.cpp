// Moving a large plot: the block transfer and the binary stream round trip of a plot holding
// 10 million doubles (80 MB), beside a plain memcpy of the same number of bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <ostream>
#include <streambuf>
#include <vector>

#include "datacarrier/postdataobject.h"
#include "qvutil/binarystream.h"

using nkdatacarrier::PostDataInfo;
using nkdatacarrier::PostDataObject;

namespace {

constexpr std::size_t kVertices = 2000000;  // 3 coordinate arrays + 2 data arrays = 10M doubles
constexpr std::size_t kDoubles = 5 * kVertices;
constexpr std::size_t kBytes = kDoubles * sizeof(double);

const PostDataObject& bigPlot() {
  static const auto plot = [] {
    PostDataInfo info;
    info.setIndex(PostDataInfo::DT_VALUE, 0);
    info.setIndex(PostDataInfo::DT_KIND_4, 1);
    auto o = nkboost::make_shared<PostDataObject>(PostDataObject::DEFAULT_TYPE, info, 1);
    auto vertices =
        nkboost::make_shared<PostDataObject::DoubleArrays>(3, std::vector<double>(kVertices));
    auto data =
        nkboost::make_shared<PostDataObject::DoubleArrays>(2, std::vector<double>(kVertices));
    for (std::size_t k = 0; k < kVertices; ++k) {
      for (int d = 0; d < 3; ++d)
        (*vertices)[d][k] = 0.001 * static_cast<double>(k) + d;
      (*data)[0][k] = static_cast<double>(k % 977) / 977.0;
      (*data)[1][k] = -static_cast<double>(k);
    }
    o->addVertices(vertices);
    o->addData(data);
    o->addDataMax(nkboost::make_shared<std::vector<double>>(std::vector<double>{1.0, 0.0}));
    o->addDataMin(nkboost::make_shared<std::vector<double>>(
        std::vector<double>{0.0, -static_cast<double>(kVertices - 1)}));
    o->setProperty("unit", "MPa");
    return o;
  }();
  return *plot;
}

void setBytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kBytes));
}

void BM_Memcpy(benchmark::State& state) {
  std::vector<char> from(kBytes, 1), to(kBytes);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), kBytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  setBytes(state);
}

// The floor for a receiver that gets new arrays: fresh zeroed memory, then the copy.
void BM_AllocAndMemcpy(benchmark::State& state) {
  std::vector<char> from(kBytes, 1);
  for (auto _ : state) {
    std::vector<double> to(kDoubles);
    std::memcpy(to.data(), from.data(), kBytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  setBytes(state);
}

// A new receiver each time, as in another process: sizing (zeroed arrays) plus the copies.
void BM_BlockTransfer(benchmark::State& state) {
  auto& source = const_cast<PostDataObject&>(bigPlot());  // createBlocks hands out pointers
  for (auto _ : state) {
    PostDataObject target;
    nkbase::transferByBlocks(source, target);
    benchmark::DoNotOptimize(target.getVertices(0, PostDataObject::DIR_X).data());
  }
  setBytes(state);
}

void BM_BinaryWrite(benchmark::State& state) {
  nkbase::Prop prop;
  for (auto _ : state) {
    BinaryOSerialStream out;
    bigPlot().serializeRaw(out, prop);
    benchmark::DoNotOptimize(out.getBuffer().data());
  }
  setBytes(state);
}

// Element by element through the stream into a sink that discards: the writer's own cost, without
// the growth of an in-memory buffer.
class DiscardBuffer : public std::streambuf {
 protected:
  std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
  int overflow(int c) override { return c; }
};

void BM_BinaryWriteDiscard(benchmark::State& state) {
  nkbase::Prop prop;
  DiscardBuffer sink;
  std::ostream discard(&sink);
  for (auto _ : state) {
    BinaryOSerialStream out(discard);
    bigPlot().serializeRaw(out, prop);
    out.flush();
  }
  setBytes(state);
}

void BM_BinaryRead(benchmark::State& state) {
  nkbase::Prop prop;
  BinaryOSerialStream out;
  bigPlot().serializeRaw(out, prop);
  const std::vector<char>& bytes = out.getBuffer();
  for (auto _ : state) {
    BinaryISerialStream in(bytes.data(), bytes.size());
    PostDataObject back;
    back.deserializeRaw(in);
    benchmark::DoNotOptimize(back.getVertices(0, PostDataObject::DIR_X).data());
  }
  setBytes(state);
}

void BM_BinaryRoundTrip(benchmark::State& state) {
  nkbase::Prop prop;
  for (auto _ : state) {
    BinaryOSerialStream out;
    bigPlot().serializeRaw(out, prop);
    BinaryISerialStream in(out.getBuffer());
    PostDataObject back;
    back.deserializeRaw(in);
    benchmark::DoNotOptimize(back.getVertices(0, PostDataObject::DIR_X).data());
  }
  setBytes(state);
}

}  // namespace

BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_AllocAndMemcpy)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BlockTransfer)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BinaryWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BinaryWriteDiscard)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BinaryRead)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BinaryRoundTrip)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
