// Throughput of the binary streams against a plain memcpy of the same bytes: 10 million floats,
// 10 million ints and 1 million short strings, each written value by value and read back.
// "Fresh" runs allocate their destination every time (page faults included, as for a new
// stream); "Reused" runs write into a buffer that already has the capacity (a cleared stream).
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "qvutil/binarystream.h"

namespace {

constexpr int kScalars = 10'000'000;
constexpr int kStrings = 1'000'000;

const std::vector<std::string>& strings() {
  static const std::vector<std::string> s = [] {
    std::vector<std::string> v;
    v.reserve(kStrings);
    for (int i = 0; i < kStrings; ++i)
      v.push_back("entity label " + std::to_string(i));
    return v;
  }();
  return s;
}

template <typename T>
std::vector<T> values() {
  std::vector<T> v(kScalars);
  for (int i = 0; i < kScalars; ++i)
    v[i] = static_cast<T>(i) * T(3) / T(2);
  return v;
}

template <typename T>
void BM_Write(benchmark::State& state) {
  const std::vector<T> v = values<T>();
  for (auto _ : state) {
    BinaryOSerialStream out;
    for (T x : v)
      out << x;
    benchmark::DoNotOptimize(out.getBuffer().data());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(kScalars) * int64_t(sizeof(T)));
}

template <typename T>
void BM_WriteReused(benchmark::State& state) {
  const std::vector<T> v = values<T>();
  BinaryOSerialStream out;
  for (T x : v)
    out << x;
  for (auto _ : state) {
    out.clear();
    for (T x : v)
      out << x;
    benchmark::DoNotOptimize(out.getBuffer().data());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(kScalars) * int64_t(sizeof(T)));
}

template <typename T>
void BM_Read(benchmark::State& state) {
  const std::vector<T> v = values<T>();
  BinaryOSerialStream out;
  for (T x : v)
    out << x;
  const std::vector<char>& bytes = out.getBuffer();
  std::vector<T> back(kScalars);
  for (auto _ : state) {
    BinaryISerialStream in(bytes);
    for (T& x : back)
      in >> x;
    benchmark::DoNotOptimize(back.data());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(kScalars) * int64_t(sizeof(T)));
}

// The baselines: copying the same number of bytes into a fresh buffer, and into one that exists.
void BM_MemcpyFresh(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  std::vector<char> src(n, 1);
  for (auto _ : state) {
    std::unique_ptr<char[]> dst(new char[n]);
    std::memcpy(dst.get(), src.data(), n);
    benchmark::DoNotOptimize(dst.get());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(n));
}

void BM_MemcpyReused(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  std::vector<char> src(n, 1), dst(n);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), n);
    benchmark::DoNotOptimize(dst.data());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(n));
}

void BM_WriteStrings(benchmark::State& state) {
  const auto& s = strings();
  std::size_t bytes = 0;
  for (auto _ : state) {
    BinaryOSerialStream out;
    for (const auto& x : s)
      out << x;
    bytes = out.getBuffer().size();
    benchmark::DoNotOptimize(out.getBuffer().data());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(bytes));
}

void BM_WriteStringsReused(benchmark::State& state) {
  const auto& s = strings();
  BinaryOSerialStream out;
  for (const auto& x : s)
    out << x;
  const std::size_t bytes = out.getBuffer().size();
  for (auto _ : state) {
    out.clear();
    for (const auto& x : s)
      out << x;
    benchmark::DoNotOptimize(out.getBuffer().data());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(bytes));
}

void BM_ReadStrings(benchmark::State& state) {
  const auto& s = strings();
  BinaryOSerialStream out;
  for (const auto& x : s)
    out << x;
  const std::vector<char>& bytes = out.getBuffer();
  std::vector<std::string> back(kStrings);
  for (auto _ : state) {
    BinaryISerialStream in(bytes);
    for (auto& x : back)
      in >> x;
    benchmark::DoNotOptimize(back.data());
  }
  state.SetBytesProcessed(state.iterations() * int64_t(bytes.size()));
}

BENCHMARK(BM_Write<float>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteReused<float>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Read<float>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write<int>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteReused<int>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Read<int>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpyFresh)->Arg(kScalars * 4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpyReused)->Arg(kScalars * 4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteStrings)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteStringsReused)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadStrings)->Unit(benchmark::kMillisecond);
// The string payload: 1 million times a 4-byte length and 19 bytes on average.
BENCHMARK(BM_MemcpyFresh)->Arg(kStrings * 23)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpyReused)->Arg(kStrings * 23)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
