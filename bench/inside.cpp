// What is measured inside a process: the loops over the body's bytes, and what parses a request.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "platform/cgi/cgi.h"
#include "platform/http_range/http_range.h"
#include "request/item_id.h"
#include "request/swap_pairs.h"

namespace {

void Swap(benchmark::State& state) {
  std::vector<unsigned char> data(256 * 1024);
  for (auto _ : state) {
    SwapPairs(data.data(), data.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.size()));
}
BENCHMARK(Swap);

void ParseQuery(benchmark::State& state) {
  for (auto _ : state) {
    OrvaCgiParams params;
    OrvaCgiInit("", &params);
    OrvaCgiParseCGIParam(&params, "id=42&format=mp3&radio=http%3A%2F%2Fstation.example%2Flive");
    benchmark::DoNotOptimize(OrvaCgiGetCGIParam(&params, "radio", 0));
    OrvaCgiFree(&params);
  }
}
BENCHMARK(ParseQuery);

void ParseRange(benchmark::State& state) {
  setenv("HTTP_RANGE", "bytes=100-200,300-", 1);
  setenv("REQUEST_METHOD", "GET", 1);
  for (auto _ : state) {
    _tag_HTTP_RANGE_SEGMENT* segments = nullptr;
    benchmark::DoNotOptimize(HTTPFileOutputer().SeekHttpRange(&segments, 1'000'000));
    std::free(segments);
  }
}
BENCHMARK(ParseRange);

}  // namespace
