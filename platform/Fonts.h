// Fonts behind QuickDraw's text calls: Toolbox font numbers mapped to faces
// that fontconfig finds, rendered with FreeType. Faces are opened once and
// rendered glyphs kept, so drawing text loads nothing after the first use.
#pragma once

#include <vector>

#include "MacTypes.h"
#include "Quickdraw.h"

namespace tessel::platform::fonts {

// A glyph as drawn: 8-bit coverage rows, placed relative to the pen on the
// baseline (left of the pen by -left, top rows above the baseline).
struct Glyph {
  std::vector<UInt8> coverage;
  int width = 0;
  int rows = 0;
  int left = 0;
  int top = 0;
  int advance = 0;
};

// The font family a Toolbox font number stands for ("DejaVu Sans",
// "DejaVu Sans Mono").
const char* family_for(SInt16 fontNumber);

// How a glyph is rendered: smooth coverage for colour ports; for 1-bit
// ports hinted to whole pixels, every coverage value 0 or 255.
enum class Rendering { smooth, mono };

// The glyph of a Unicode character in a font number, face and size; null
// when no face could be opened. The reference stays valid for the
// program's life.
const Glyph* glyph(SInt16 fontNumber, Style face, int size, char32_t character,
                   Rendering rendering = Rendering::smooth);
// The face's metrics at that size; all zero when no face could be opened.
FontInfo metrics(SInt16 fontNumber, Style face, int size);

}  // namespace tessel::platform::fonts
