// How fast the format layer moves a rectangle of a large TIFF file, beside
// the cost of copying the same file bytes out of the page cache.
//
//   tessel_bench_formats FILE LEFT TOP [SIDE] [NARROW_COLUMNS] [REPEATS]
//
// FILE is an uncompressed chunky 8-bit TIFF (bench/formats.sh makes one of
// 20000 x 15000 RGB pixels in strips of 16 rows). Measured, each the best of
// REPEATS runs after one warming run, the file staying in the page cache:
//   read    RasterFormatGetTile of SIDE x SIDE pixels into a chunky tile
//   write   RasterFormatPutTile of the same pixels back (the file keeps its bytes)
//   narrow  RasterFormatGetTile of SIDE rows x NARROW_COLUMNS columns
//   pread   pread of the whole rows those moves touch, band by band as the
//           format reads them, into one band-sized buffer
// One line per figure, "name seconds megabytes-per-second", for the script.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "Files.h"
#include "MacErrors.h"
#include "formats/RasterFormats.h"
#include "formats/TIFFFormat.h"

namespace {

struct Settings {
  std::string file;
  SInt32 left = 0, top = 0, side = 4000, narrow = 64;
  int repeats = 5;
};

// Best wall time of repeats runs after one warming run; -1 when a run fails.
double best_seconds(const char* name, int repeats, const std::function<OSErr()>& run) {
  double best = 1e30;
  for (int i = 0; i <= repeats; ++i) {
    auto start = std::chrono::steady_clock::now();
    if (OSErr err = run(); err != noErr) {
      std::fprintf(stderr, "tessel_bench_formats: %s failed (%d)\n", name, int(err));
      return -1;
    }
    std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    if (i > 0) best = std::min(best, took.count());
  }
  return best;
}

void report(const char* name, double seconds, double bytes) {
  std::printf("%-8s %.4f %.0f\n", name, seconds, bytes / seconds / 1e6);
}

// The chunky tile that holds box, all planes of the image.
struct ChunkyBox {
  ChunkyBox(const TileArea& wanted) : box(wanted) {
    SInt32 planes = box.endPlane - box.firstPlane;
    rowBytes = (box.right - box.left) * planes;
    bytes.assign(std::size_t(rowBytes) * std::size_t(box.bottom - box.top), 0);
    tile = Tile{bytes.data(), box, rowBytes, planes, 0};
  }
  TileArea box;
  SInt32 rowBytes = 0;
  std::vector<UInt8> bytes;
  Tile tile{};
};

// The file bytes of rows top..bottom as the format reads them: one pread per
// band of at most a strip's rows.
bool pread_rows(int fd, const TIFFState& tiff, SInt32 top, SInt32 bottom,
                std::vector<UInt8>& band) {
  const std::size_t rowBytes = std::size_t(tiff.imageWidth) * tiff.samplesPerPixel;
  for (SInt32 row = top; row < bottom;) {
    SInt32 strip = row / tiff.rowsPerStrip;
    SInt32 end = std::min(bottom, (strip + 1) * tiff.rowsPerStrip);
    std::size_t bytes = std::size_t(end - row) * rowBytes;
    off_t at =
        off_t(tiff.stripOffsets[strip]) + off_t(row - strip * tiff.rowsPerStrip) * off_t(rowBytes);
    if (pread(fd, band.data(), bytes, at) != ssize_t(bytes)) return false;
    row = end;
  }
  return true;
}

int measure(const Settings& s, SourceImage& image) {
  const auto& tiff = *static_cast<const TIFFState*>(image.format.state);
  const SInt32 planes = image.channels;
  ChunkyBox square(TileArea{s.top, s.left, s.top + s.side, s.left + s.side, 0, planes});
  ChunkyBox narrow(TileArea{s.top, s.left, s.top + s.side, s.left + s.narrow, 0, planes});
  FormatHandle* format = &image.format;
  double read = best_seconds("read", s.repeats,
                             [&] { return RasterFormatGetTile(format, square.tile, square.box); });
  double write = best_seconds("write", s.repeats,
                              [&] { return RasterFormatPutTile(format, square.tile, square.box); });
  double thin = best_seconds("narrow", s.repeats,
                             [&] { return RasterFormatGetTile(format, narrow.tile, narrow.box); });
  if (read < 0 || write < 0 || thin < 0) return 1;
  report("read", read, double(square.bytes.size()));
  report("write", write, double(square.bytes.size()));
  report("narrow", thin, double(narrow.bytes.size()));
  // The bare-copy baseline is for chunky strips, whose rows are contiguous.
  if (tiff.tiled != 0 || tiff.planarConfiguration != 1) return 0;
  int fd = open(s.file.c_str(), O_RDONLY);
  std::vector<UInt8> band(std::size_t(tiff.rowsPerStrip) * std::size_t(tiff.imageWidth) * planes);
  double copy = best_seconds("pread", s.repeats, [&] {
    return fd >= 0 && pread_rows(fd, tiff, s.top, s.top + s.side, band) ? noErr : ioErr;
  });
  if (fd >= 0) close(fd);
  if (copy < 0) return 1;
  report("pread", copy, double(s.side) * tiff.imageWidth * planes);
  return 0;
}

bool parse(int argc, char** argv, Settings* s) {
  if (argc < 4 || argc > 7) return false;
  s->file = argv[1];
  s->left = std::atoi(argv[2]);
  s->top = std::atoi(argv[3]);
  if (argc > 4) s->side = std::atoi(argv[4]);
  if (argc > 5) s->narrow = std::atoi(argv[5]);
  if (argc > 6) s->repeats = std::atoi(argv[6]);
  return s->side > 0 && s->narrow > 0 && s->narrow <= s->side && s->repeats > 0;
}

}  // namespace

int main(int argc, char** argv) {
  Settings s;
  if (!parse(argc, argv, &s)) {
    std::fprintf(stderr, "usage: tessel_bench_formats FILE LEFT TOP [SIDE] [NARROW] [REPEATS]\n");
    return 2;
  }
  auto spec = tessel::platform::files::spec_from_path(s.file);
  if (!spec) {
    std::fprintf(stderr, "tessel_bench_formats: cannot find %s (%d)\n", s.file.c_str(),
                 int(spec.error()));
    return 1;
  }
  SourceImage image{};
  image.fileSpec = *spec;
  OSErr err = RasterFormatOpen(&image);
  bool fits = err == noErr && image.format.code == kTIFFFormat && image.depth == 8 &&
              s.left + s.side <= image.width && s.top + s.side <= image.height;
  int status = fits ? measure(s, image) : 1;
  if (!fits)
    std::fprintf(stderr, "tessel_bench_formats: %s does not fit (%d)\n", s.file.c_str(), err);
  RasterFormatClose(&image.format);
  return status;
}
