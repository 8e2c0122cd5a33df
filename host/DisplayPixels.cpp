#include "host/DisplayPixels.h"

#include <lcms2.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <system_error>
#include <vector>

#include "platform/MacErrors.h"
#include "platform/Quickdraw.h"
#include "platform/References.h"

namespace tessel::host {
namespace {

namespace fs = std::filesystem;

constexpr SInt32 kGrayscale = 1, kRGB = 3, kCMYK = 4, kLab = 9;

// A pixel map's row length lives in 14 bits: bands wider than this are
// drawn in slices.
constexpr SInt32 kSliceColumns = 2048;

struct ProfileCloser {
  void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;

struct TransformDeleter {
  void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
using Transform = std::unique_ptr<void, TransformDeleter>;

int channels_of(SInt32 mode) {
  switch (mode) {
    case kGrayscale: return 1;
    case kRGB: return 3;
    case kCMYK: return 4;
    case kLab: return 3;
    default: return 0;
  }
}

// ---------------------------------------------------------------------------
// Profiles and transforms

Profile cmyk_profile_at(const fs::path& file) {
  Profile profile(cmsOpenProfileFromFile(file.c_str(), "r"));
  if (profile && cmsGetColorSpace(profile.get()) == cmsSigCmykData &&
      cmsGetDeviceClass(profile.get()) != cmsSigLinkClass) {
    return profile;
  }
  return nullptr;
}

bool is_profile_name(const fs::path& file) {
  std::string extension = file.extension().string();
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char c) { return char(std::tolower(c)); });
  return extension == ".icc" || extension == ".icm";
}

// Profile files under root, in path order so that the choice is the same on
// every run.
std::vector<fs::path> profile_files(const fs::path& root) {
  std::vector<fs::path> files;
  std::error_code error;
  auto options = fs::directory_options::skip_permission_denied;
  for (fs::recursive_directory_iterator it(root, options, error), end; !error && it != end;
       it.increment(error)) {
    if (it->is_regular_file(error) && is_profile_name(it->path())) files.push_back(it->path());
  }
  std::ranges::sort(files);
  return files;
}

struct FoundProfile {
  Profile profile;
  std::string source;
};

std::optional<FoundProfile> find_cmyk_profile() {
  if (const char* named = std::getenv("TESSEL_CMYK_PROFILE"); named != nullptr && *named != 0) {
    if (Profile profile = cmyk_profile_at(named)) return FoundProfile{std::move(profile), named};
  }
  for (const char* root : {"/usr/share/color/icc", "/usr/local/share/color/icc"}) {
    for (const fs::path& file : profile_files(root)) {
      if (Profile profile = cmyk_profile_at(file)) {
        return FoundProfile{std::move(profile), file.string()};
      }
    }
  }
  return std::nullopt;
}

// The stand-in when the system has no CMYK profile: a device link whose
// table gives each ink the share of light it leaves, as an uncalibrated
// press would. Inputs are ink amounts, 65535 full.
cmsInt32Number sample_inks(const cmsUInt16Number in[], cmsUInt16Number out[], void*) {
  double paper = 1.0 - in[3] / 65535.0;
  for (int c = 0; c < 3; ++c) out[c] = cmsUInt16Number(65535.0 * (1.0 - in[c] / 65535.0) * paper);
  return 1;
}

Profile built_in_cmyk_link() {
  Profile link(cmsCreateProfilePlaceholder(nullptr));
  if (!link) return nullptr;
  cmsSetProfileVersion(link.get(), 4.3);
  cmsSetDeviceClass(link.get(), cmsSigLinkClass);
  cmsSetColorSpace(link.get(), cmsSigCmykData);
  cmsSetPCS(link.get(), cmsSigRgbData);
  cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, 4, 3);
  cmsStage* table = cmsStageAllocCLut16bit(nullptr, 9, 4, 3, nullptr);
  bool made = pipeline != nullptr && table != nullptr &&
              cmsStageSampleCLut16bit(table, sample_inks, nullptr, 0) &&
              cmsPipelineInsertStage(pipeline, cmsAT_BEGIN, table);
  if (!made && table != nullptr) cmsStageFree(table);
  made = made && cmsWriteTag(link.get(), cmsSigAToB0Tag, pipeline);
  if (pipeline != nullptr) cmsPipelineFree(pipeline);
  return made ? std::move(link) : nullptr;
}

struct CmykTransform {
  Transform transform;
  std::string source;
};

const CmykTransform& cmyk_transform() {
  static const CmykTransform made = [] {
    Profile srgb(cmsCreate_sRGBProfile());
    if (std::optional<FoundProfile> found = find_cmyk_profile()) {
      return CmykTransform{
          Transform(cmsCreateTransform(found->profile.get(), TYPE_CMYK_8_REV, srgb.get(),
                                       TYPE_RGB_8, INTENT_PERCEPTUAL, 0)),
          found->source};
    }
    Profile link = built_in_cmyk_link();
    return CmykTransform{Transform(link ? cmsCreateTransform(link.get(), TYPE_CMYK_8_REV, nullptr,
                                                             TYPE_RGB_8, INTENT_PERCEPTUAL, 0)
                                        : nullptr),
                         "built-in"};
  }();
  return made;
}

void* lab_transform() {
  static const Transform made = [] {
    Profile lab(cmsCreateLab4Profile(nullptr));
    Profile srgb(cmsCreate_sRGBProfile());
    return Transform(cmsCreateTransform(lab.get(), TYPE_Lab_8, srgb.get(), TYPE_RGB_8,
                                        INTENT_RELATIVE_COLORIMETRIC, 0));
  }();
  return made.get();
}

// ---------------------------------------------------------------------------
// Reading the band

struct Band {
  const DisplayPixelMap& map;
  const UInt8* base;
  int channels;
};

// Row row (band coordinates) from column left, width pixels, interleaved.
void gather_row(const Band& band, SInt32 row, SInt32 left, SInt32 width, UInt8* out) {
  const DisplayPixelMap& map = band.map;
  const UInt8* first = band.base + std::ptrdiff_t(row - map.bounds.top) * map.rowBytes;
  SInt32 column0 = left - map.bounds.left;
  for (int p = 0; p < band.channels; ++p) {
    const UInt8* plane = first + (map.colBytes == 1 ? std::ptrdiff_t(p) * map.planeBytes : p);
    SInt32 step = map.colBytes;
    for (SInt32 x = 0; x < width; ++x) out[x * band.channels + p] = plane[(column0 + x) * step];
  }
}

// Interleaved samples of one row to RGB triples.
bool to_rgb(SInt32 mode, const UInt8* samples, UInt8* rgb, SInt32 width) {
  if (mode == kGrayscale) {
    for (SInt32 x = 0; x < width; ++x) std::fill_n(rgb + 3 * x, 3, samples[x]);
  } else if (mode == kRGB) {
    std::copy_n(samples, 3 * width, rgb);
  } else {
    void* transform = mode == kCMYK ? cmyk_transform().transform.get() : lab_transform();
    if (transform == nullptr) return false;
    cmsDoTransform(transform, samples, rgb, cmsUInt32Number(width));
  }
  return true;
}

void rgb_to_xrgb(const UInt8* rgb, UInt8* xrgb, SInt32 width) {
  for (SInt32 x = 0; x < width; ++x) {
    xrgb[4 * x] = 0xFF;
    std::copy_n(rgb + 3 * x, 3, xrgb + 4 * x + 1);
  }
}

bool inside_band(const DisplayPixelMap& map, const VRect& r) {
  return r.top >= map.bounds.top && r.left >= map.bounds.left && r.top < r.bottom &&
         r.left < r.right && r.bottom <= map.bounds.bottom && r.right <= map.bounds.right;
}

void copy_to_port(std::span<UInt8> xrgb, SInt32 width, SInt32 height, SInt32 row, SInt32 column) {
  GrafPtr port = nullptr;
  GetPort(&port);
  if (port == nullptr) return;
  PixMap map{};
  map.baseAddr = reinterpret_cast<Ptr>(xrgb.data());
  map.rowBytes = SInt16(4 * width | 0x8000);
  map.bounds = Rect{0, 0, SInt16(height), SInt16(width)};
  map.pixelType = RGBDirect;
  map.pixelSize = 32;
  map.cmpCount = 3;
  map.cmpSize = 8;
  Rect destination{SInt16(row), SInt16(column), SInt16(row + height), SInt16(column + width)};
  CopyBits(&map, GetPortBitMapForCopyBits(port), &map.bounds, &destination, srcCopy, nullptr);
}

// Columns left .. left + width of rows r.top .. r.bottom, converted and drawn.
bool draw_slice(const Band& band, const VRect& r, SInt32 left, SInt32 width, SInt32 dstRow,
                SInt32 dstCol) {
  SInt32 height = r.bottom - r.top;
  std::vector<UInt8> samples(std::size_t(band.channels) * width);
  std::vector<UInt8> rgb(std::size_t(3) * width);
  std::vector<UInt8> xrgb(std::size_t(4) * width * height);
  for (SInt32 y = 0; y < height; ++y) {
    gather_row(band, r.top + y, left, width, samples.data());
    if (!to_rgb(band.map.imageMode, samples.data(), rgb.data(), width)) return false;
    rgb_to_xrgb(rgb.data(), xrgb.data() + std::size_t(4) * width * y, width);
  }
  copy_to_port(xrgb, width, height, dstRow, dstCol + (left - r.left));
  return true;
}

}  // namespace

OSErr display_pixels(const DisplayPixelMap* source, const VRect* srcRect, SInt32 dstRow,
                     SInt32 dstCol, void*) {
  if (source == nullptr || srcRect == nullptr || !inside_band(*source, *srcRect)) return paramErr;
  Band band{*source, ReferencePointerAs<const UInt8>(source->baseAddr),
            channels_of(source->imageMode)};
  if (band.base == nullptr || band.channels == 0) return paramErr;
  try {
    for (SInt32 left = srcRect->left; left < srcRect->right; left += kSliceColumns) {
      SInt32 width = std::min(kSliceColumns, srcRect->right - left);
      if (!draw_slice(band, *srcRect, left, width, dstRow, dstCol)) return paramErr;
    }
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
  return noErr;
}

std::string cmyk_profile_source() { return cmyk_transform().source; }

}  // namespace tessel::host
