// How fast CopyTile moves a 4000 x 4000 box through each of its workers,
// beside a plain memcpy of the same number of bytes in the same run. After
// the usual console output a table relates each worker to memcpy:
//   whole-pixel and planar copies aim for 80% of memcpy or better,
//   layout conversions and per-plane chunky copies for 25% or better.
//
// The box usually sits in tiles a little wider than itself, as a selection
// sits in an image, so every row is a move of its own. The "whole rows" cases
// use tiles exactly as wide as the box, where the rows of a plane make one
// run.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tiles/CopyTile.h"

namespace {

constexpr SInt32 kSide = 4000;
constexpr SInt32 kMargin = 40;  // columns of the tile beside the box

// The layout of one side of a copy, relative to the number of planes moved.
enum class Layout {
  planar,     // colBytes 1
  pixel,      // chunky, colBytes = planes
  widePixel,  // chunky, one extra byte per pixel that belongs to no moved plane
};

struct Case {
  const char* worker;
  Layout source;
  Layout destination;
  bool wholeRows;  // tiles as wide as the box
  double goal;     // fraction of memcpy's throughput aimed for
};

constexpr Case kCases[] = {
    {"planar->planar", Layout::planar, Layout::planar, false, 0.80},
    {"planar->planar, whole rows", Layout::planar, Layout::planar, true, 0.80},
    {"chunky->chunky whole pixels", Layout::pixel, Layout::pixel, false, 0.80},
    {"chunky->chunky whole pixels, whole rows", Layout::pixel, Layout::pixel, true, 0.80},
    {"planar->chunky", Layout::planar, Layout::pixel, false, 0.25},
    {"chunky->planar", Layout::pixel, Layout::planar, false, 0.25},
    {"chunky->chunky dropping a byte", Layout::widePixel, Layout::pixel, false, 0.25},
    {"chunky->chunky into wider pixels", Layout::pixel, Layout::widePixel, false, 0.25},
};

struct TileBuffer {
  std::vector<UInt8> bytes;
  Tile tile{};
};

// A tile of kSide rows holding planes planes (plus the spare byte of a wide
// pixel), every page touched before timing starts. Tiles are made once per
// shape and side (0 source, 1 destination) and kept: filling them costs more
// than the runs.
const Tile& tileFor(Layout layout, SInt32 planes, bool wholeRows, int side) {
  static std::map<std::tuple<Layout, SInt32, bool, int>, TileBuffer> made;
  TileBuffer& buffer = made[{layout, planes, wholeRows, side}];
  if (!buffer.bytes.empty()) return buffer.tile;
  const SInt32 width = wholeRows ? kSide : kSide + kMargin;
  const SInt32 colBytes =
      layout == Layout::planar ? 1 : (layout == Layout::pixel ? planes : planes + 1);
  const SInt32 tilePlanes = layout == Layout::widePixel ? planes + 1 : planes;
  buffer.bytes.resize(std::size_t(width) * std::size_t(kSide) * std::size_t(tilePlanes));
  for (std::size_t i = 0; i < buffer.bytes.size(); ++i) buffer.bytes[i] = UInt8(i * 7);
  buffer.tile.data = buffer.bytes.data();
  buffer.tile.area = {0, 0, kSide, width, 0, tilePlanes};
  buffer.tile.colBytes = colBytes;
  buffer.tile.rowBytes = colBytes == 1 ? width : width * colBytes;
  buffer.tile.planeBytes = colBytes == 1 ? width * kSide : 0;
  return buffer.tile;
}

std::int64_t boxBytes(SInt32 planes) { return std::int64_t(kSide) * kSide * planes; }

void copyTileBenchmark(benchmark::State& state, Case shape, SInt32 planes) {
  const Tile& source = tileFor(shape.source, planes, shape.wholeRows, 0);
  const Tile& destination = tileFor(shape.destination, planes, shape.wholeRows, 1);
  const TileArea box = {0, 0, kSide, kSide, 0, planes};
  for (auto _ : state) {
    CopyTile(source, box, destination, box);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * boxBytes(planes));
}

// Between the two whole-row planar tiles, which hold exactly the box's bytes.
void memcpyBenchmark(benchmark::State& state, SInt32 planes) {
  const UInt8* source = tileFor(Layout::planar, planes, true, 0).data;
  UInt8* destination = tileFor(Layout::planar, planes, true, 1).data;
  for (auto _ : state) {
    std::memcpy(destination, source, std::size_t(boxBytes(planes)));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * boxBytes(planes));
}

struct Entry {
  std::string name;
  std::string worker;  // empty for memcpy
  SInt32 planes;
  double goal;
};

std::string memcpyName(SInt32 planes) { return "memcpy/planes:" + std::to_string(planes); }

// Prints the console report as usual, then one line per worker and plane
// count: its throughput, memcpy's, and the ratio against the goal. Each
// figure is the best of the repetitions, which filters out other work on the
// machine better than a mean does.
class ThroughputTable : public benchmark::ConsoleReporter {
 public:
  explicit ThroughputTable(std::vector<Entry> entries) : entries_(std::move(entries)) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const auto rate = run.counters.find("bytes_per_second");
      if (run.error_occurred || rate == run.counters.end()) continue;
      double& best = rates_[run.run_name.function_name];
      best = std::max(best, rate->second.value);
    }
  }

  void Finalize() override {
    std::FILE* out = stdout;
    std::fprintf(out, "\n%-41s %6s %8s %12s %7s %6s\n", "worker", "planes", "GB/s", "memcpy GB/s",
                 "ratio", "goal");
    for (const Entry& entry : entries_) {
      if (entry.worker.empty()) continue;
      const double worker = bestRate(entry.name);
      const double copy = bestRate(memcpyName(entry.planes));
      if (worker <= 0 || copy <= 0) continue;
      const double ratio = worker / copy;
      std::fprintf(out, "%-41s %6d %8.2f %12.2f %6.0f%% %5.0f%%%s\n", entry.worker.c_str(),
                   entry.planes, worker / 1e9, copy / 1e9, ratio * 100, entry.goal * 100,
                   ratio < entry.goal ? "  below goal" : "");
    }
  }

 private:
  double bestRate(const std::string& name) const {
    const auto found = rates_.find(name);
    return found == rates_.end() ? 0 : found->second;
  }

  std::vector<Entry> entries_;
  std::map<std::string, double> rates_;
};

// Repetitions with only their summary shown, the best of them among it.
void configure(benchmark::internal::Benchmark* benchmark) {
  benchmark->Unit(benchmark::kMillisecond)
      ->UseRealTime()
      ->Repetitions(5)
      ->ReportAggregatesOnly(true)
      ->ComputeStatistics("max", [](const std::vector<double>& values) {
        return *std::max_element(values.begin(), values.end());
      });
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<Entry> entries;
  for (const SInt32 planes : {3, 4}) {
    // Each group starts with its memcpy, so both are measured close in time.
    const std::string copyName = memcpyName(planes);
    configure(benchmark::RegisterBenchmark(copyName.c_str(), memcpyBenchmark, planes));
    entries.push_back({copyName, "", planes, 0});
    for (const Case& shape : kCases) {
      const std::string name =
          std::string("CopyTile/") + shape.worker + "/planes:" + std::to_string(planes);
      configure(benchmark::RegisterBenchmark(name.c_str(), copyTileBenchmark, shape, planes));
      entries.push_back({name, shape.worker, planes, shape.goal});
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  ThroughputTable table(std::move(entries));
  benchmark::RunSpecifiedBenchmarks(&table);
  benchmark::Shutdown();
  return 0;
}
