// The selection dialog's preview of a large image: the whole preview, from
// start to the last row and without the dialog's idle pacing, and one step
// of five rows. Rows are drawn through the host's own display routine.
//
//   tessel_bench_preview [benchmark flags] FILE WIDTH HEIGHT
//
// After the usual console output two lines give the figures bench/preview.sh
// reads: "whole SECONDS" and "step SECONDS" (the mean of the repetitions),
// and a third the bytes one whole preview read from the file: "read BYTES".
// Aims: one step under 2 ms.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "Files.h"
#include "MacErrors.h"
#include "host/DisplayPixels.h"
#include "selection/ImagePreview.h"

namespace {

struct Settings {
  std::string file;
  SInt16 width = 0;
  SInt16 height = 0;
};

Settings settings;
SourceImage image{};

Rect previewRect() { return Rect{0, 0, settings.height, settings.width}; }

OSErr start(ImagePreview* preview) {
  Rect r = previewRect();
  return StartImagePreview(&image, preview, &r, tessel::host::display_pixels);
}

void wholePreview(benchmark::State& state) {
  for (auto _ : state) {
    ImagePreview preview{};
    if (start(&preview) != noErr) {
      state.SkipWithError("the preview did not start");
      return;
    }
    Boolean changed = true;
    while (changed) {  // a failed row clears changed too
      if (ContinueImagePreview(&preview, &changed) != noErr) state.SkipWithError("a row failed");
    }
    FinishImagePreview(&preview);
  }
}

// Steps one after another through the preview, starting it again (off the
// clock) whenever it is complete.
void oneStep(benchmark::State& state) {
  ImagePreview preview{};
  if (start(&preview) != noErr) {
    state.SkipWithError("the preview did not start");
    return;
  }
  for (auto _ : state) {
    Boolean changed = false;
    if (ContinueImagePreview(&preview, &changed) != noErr) {
      state.SkipWithError("a row failed");
    }
    if (preview.nextRow == preview.previewHeight) {
      state.PauseTiming();
      FinishImagePreview(&preview);
      start(&preview);
      state.ResumeTiming();
    }
  }
  FinishImagePreview(&preview);
}

// The console output, then the mean of each benchmark in seconds.
class Figures : public benchmark::ConsoleReporter {
 public:
  Figures() : ConsoleReporter(OO_None) {}  // plain text, for the script to read
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      bool mean = run.run_type == Run::RT_Aggregate && run.aggregate_name == "mean";
      if (mean || (run.run_type == Run::RT_Iteration && !seconds_.contains(run.run_name.str()))) {
        seconds_[run.run_name.str()] =
            run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
      }
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    for (const auto& [name, seconds] : seconds_) std::printf("%s %.6f\n", name.c_str(), seconds);
  }

 private:
  std::map<std::string, double> seconds_;
};

// Bytes the process has read through system calls so far ("rchar"), page
// cache included: what a preview costs the file, whatever the disk.
unsigned long long bytes_read_so_far() {
  std::FILE* io = std::fopen("/proc/self/io", "r");
  if (io == nullptr) return 0;
  unsigned long long bytes = 0;
  char key[32];
  unsigned long long value = 0;
  while (std::fscanf(io, "%31s %llu", key, &value) == 2) {
    if (std::string(key) == "rchar:") bytes = value;
  }
  std::fclose(io);
  return bytes;
}

// One whole preview, outside the timings; the bytes it read.
unsigned long long bytes_one_preview_reads() {
  ImagePreview preview{};
  const unsigned long long before = bytes_read_so_far();
  if (start(&preview) != noErr) return 0;
  Boolean changed = true;
  while (changed) {
    if (ContinueImagePreview(&preview, &changed) != noErr) break;
  }
  FinishImagePreview(&preview);
  return bytes_read_so_far() - before;
}

bool parse(int argc, char** argv) {
  if (argc != 4) return false;
  settings.file = argv[1];
  settings.width = SInt16(std::atoi(argv[2]));
  settings.height = SInt16(std::atoi(argv[3]));
  return settings.width > 0 && settings.height > 0;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (!parse(argc, argv)) {
    std::fprintf(stderr, "usage: tessel_bench_preview [benchmark flags] FILE WIDTH HEIGHT\n");
    return 2;
  }
  auto spec = tessel::platform::files::spec_from_path(settings.file);
  if (!spec) {
    std::fprintf(stderr, "tessel_bench_preview: cannot find %s\n", settings.file.c_str());
    return 1;
  }
  image.fileSpec = *spec;
  if (OSErr err = RasterFormatOpen(&image); err != noErr) {
    std::fprintf(stderr, "tessel_bench_preview: cannot open %s (%d)\n", settings.file.c_str(), err);
    return 1;
  }
  benchmark::RegisterBenchmark("whole", wholePreview)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("step", oneStep)->Unit(benchmark::kMicrosecond);
  Figures figures;
  benchmark::RunSpecifiedBenchmarks(&figures);
  benchmark::Shutdown();
  std::printf("read %llu\n", bytes_one_preview_reads());
  RasterFormatClose(&image.format);
  return 0;
}
