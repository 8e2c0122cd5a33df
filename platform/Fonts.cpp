#include "Fonts.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

namespace tessel::platform::fonts {
namespace {

constexpr const char* kSans = "DejaVu Sans";
constexpr const char* kMono = "DejaVu Sans Mono";

struct FaceKey {
  std::string family;
  bool bold;
  bool italic;
  auto operator<=>(const FaceKey&) const = default;
};

FT_Library library() {
  static FT_Library handle = [] {
    FT_Library made = nullptr;
    return FT_Init_FreeType(&made) == 0 ? made : nullptr;
  }();
  return handle;
}

// fontconfig's configuration, loaded on first use and given back at exit so
// that leak checkers see a clean process.
FcConfig* font_config() {
  struct Holder {
    FcConfig* config = FcInitLoadConfigAndFonts();
    ~Holder() {
      if (config != nullptr) FcConfigDestroy(config);
      FcFini();
    }
  };
  static Holder holder;
  return holder.config;
}

// The file fontconfig offers for a family in a weight and slant.
std::optional<std::pair<std::string, int>> find_font_file(const FaceKey& key) {
  FcConfig* config = font_config();
  if (config == nullptr) return std::nullopt;
  FcPattern* pattern = FcPatternCreate();
  FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(key.family.c_str()));
  FcPatternAddInteger(pattern, FC_WEIGHT, key.bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
  FcPatternAddInteger(pattern, FC_SLANT, key.italic ? FC_SLANT_OBLIQUE : FC_SLANT_ROMAN);
  FcConfigSubstitute(config, pattern, FcMatchPattern);
  FcDefaultSubstitute(pattern);
  FcResult result = FcResultNoMatch;
  FcPattern* match = FcFontMatch(config, pattern, &result);
  FcPatternDestroy(pattern);
  if (match == nullptr) return std::nullopt;
  FcChar8* file = nullptr;
  int index = 0;
  std::optional<std::pair<std::string, int>> found;
  if (FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch) {
    FcPatternGetInteger(match, FC_INDEX, 0, &index);
    found.emplace(reinterpret_cast<const char*>(file), index);
  }
  FcPatternDestroy(match);
  return found;
}

FT_Face face_for(const FaceKey& key) {
  static std::map<FaceKey, FT_Face> faces;
  if (auto known = faces.find(key); known != faces.end()) return known->second;
  FT_Face face = nullptr;
  auto file = find_font_file(key);
  if (library() != nullptr && file &&
      FT_New_Face(library(), file->first.c_str(), file->second, &face) != 0) {
    face = nullptr;
  }
  faces.emplace(key, face);
  return face;
}

FT_Face sized_face(SInt16 fontNumber, Style face, int size) {
  FT_Face ft = face_for(FaceKey{family_for(fontNumber), (face & bold) != 0, (face & italic) != 0});
  if (ft == nullptr || FT_Set_Pixel_Sizes(ft, 0, FT_UInt(size)) != 0) return nullptr;
  return ft;
}

int ceil_pixels(FT_Pos value) { return int((value + 63) >> 6); }

// One row of a bitmap as coverage; a monochrome row holds eight pixels a
// byte, leftmost in the high bit.
void copy_row(const FT_Bitmap& bitmap, int row, UInt8* out) {
  const UInt8* in = bitmap.buffer + std::ptrdiff_t(row) * bitmap.pitch;
  if (bitmap.pixel_mode != FT_PIXEL_MODE_MONO) {
    std::memcpy(out, in, bitmap.width);
    return;
  }
  for (unsigned x = 0; x < bitmap.width; ++x) {
    out[x] = (in[x / 8] & (0x80 >> (x % 8))) != 0 ? 255 : 0;
  }
}

// Small text in 1-bit ports cut from smooth coverage at a threshold loses
// thin strokes and fills counters ("8" turns into "B"); the monochrome
// hinter fits every stroke to whole pixels instead.
Glyph render(FT_Face face, char32_t character, Rendering rendering) {
  Glyph made;
  const FT_Int32 flags =
      rendering == Rendering::mono ? FT_LOAD_RENDER | FT_LOAD_TARGET_MONO : FT_LOAD_RENDER;
  if (FT_Load_Char(face, character, flags) != 0) return made;
  const FT_GlyphSlot slot = face->glyph;
  const FT_Bitmap& bitmap = slot->bitmap;
  made.width = int(bitmap.width);
  made.rows = int(bitmap.rows);
  made.left = slot->bitmap_left;
  made.top = slot->bitmap_top;
  made.advance = int((slot->advance.x + 32) >> 6);
  made.coverage.resize(std::size_t(made.width) * std::size_t(made.rows));
  for (int row = 0; row < made.rows; ++row) {
    copy_row(bitmap, row, made.coverage.data() + std::size_t(row) * std::size_t(made.width));
  }
  return made;
}

}  // namespace

const char* family_for(SInt16 fontNumber) {
  constexpr SInt16 kMonaco = 4, kCourier = 22;
  return fontNumber == kMonaco || fontNumber == kCourier ? kMono : kSans;
}

const Glyph* glyph(SInt16 fontNumber, Style face, int size, char32_t character,
                   Rendering rendering) {
  // Font numbers that share a family share their glyphs.
  using Key = std::tuple<const char*, bool, bool, int, char32_t, Rendering>;
  static std::map<Key, Glyph> glyphs;
  Key key{
      family_for(fontNumber), (face & bold) != 0, (face & italic) != 0, size, character, rendering};
  if (auto known = glyphs.find(key); known != glyphs.end()) return &known->second;
  FT_Face ft = sized_face(fontNumber, face, size);
  if (ft == nullptr) return nullptr;
  return &glyphs.emplace(key, render(ft, character, rendering)).first->second;
}

FontInfo metrics(SInt16 fontNumber, Style face, int size) {
  FT_Face ft = sized_face(fontNumber, face, size);
  if (ft == nullptr) return FontInfo{};
  const FT_Size_Metrics& m = ft->size->metrics;
  int ascent = ceil_pixels(m.ascender);
  int descent = ceil_pixels(-m.descender);
  int leading = std::max(0, ceil_pixels(m.height) - ascent - descent);
  return FontInfo{SInt16(ascent), SInt16(descent), SInt16(ceil_pixels(m.max_advance)),
                  SInt16(leading)};
}

}  // namespace tessel::platform::fonts
