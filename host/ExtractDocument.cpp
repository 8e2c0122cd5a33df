#include "host/ExtractDocument.h"

#include <algorithm>

#include "ByteOrder.h"
#include "Files.h"
#include "MacErrors.h"
#include "formats/RasterFormats.h"

namespace tessel::host {

namespace {

// Closes the format whatever happened, as the plug-in's drivers do.
struct OpenImage {
  SourceImage image{};
  ~OpenImage() { RasterFormatClose(&image.format); }
};

OSErr read_rectangle(SourceImage& image, const Rect& rect, Document& document) {
  document.pixels.assign(document.row_bytes() * std::size_t(document.rows), 0);
  const TileArea area{rect.top, rect.left, rect.bottom, rect.right, 0, image.channels};
  const SInt32 rowBytes = SInt32(document.row_bytes());
  const Tile tile{document.pixels.data(), area, rowBytes, image.channels,
                  image.channels == 1 ? rowBytes * document.rows : 0};
  return RasterFormatGetTile(&image.format, tile, area);
}

// Widened before comparing: the image's size is 32-bit, the rectangle's 16.
bool inside_image(const Rect& rect, const SourceImage& image) {
  return rect.top >= 0 && rect.left >= 0 && rect.top < rect.bottom && rect.left < rect.right &&
         SInt32(rect.bottom) <= image.height && SInt32(rect.right) <= image.width;
}

}  // namespace

std::vector<UInt8> tag_bytes(const FSSpec& file, const Rect& rect, SInt32 width, SInt32 height,
                             UInt32 version) {
  using platform::append_big16;
  using platform::append_big32;
  std::vector<UInt8> tag;
  append_big32(tag, version);
  append_big16(tag, UInt16(file.vRefNum));
  append_big16(tag, 0);
  append_big32(tag, UInt32(file.parID));
  tag.insert(tag.end(), file.name, file.name + sizeof(file.name));
  for (SInt16 side : {rect.top, rect.left, rect.bottom, rect.right})
    append_big16(tag, UInt16(side));
  append_big32(tag, UInt32(width));
  append_big32(tag, UInt32(height));
  return tag;
}

Expected<Document> extract_document(const std::filesystem::path& image, const Rect& rect) {
  Expected<FSSpec> spec = platform::files::spec_from_path(image);
  if (!spec) return Expected<Document>::failure(spec.error());
  OpenImage open;
  open.image.fileSpec = *spec;
  if (OSErr err = RasterFormatOpen(&open.image); err != noErr) {
    return Expected<Document>::failure(err);
  }
  const SourceImage& source = open.image;
  if (!inside_image(rect, source)) return Expected<Document>::failure(paramErr);
  Document document;
  document.mode = source.mode;
  document.columns = rect.right - rect.left;
  document.rows = rect.bottom - rect.top;
  document.planes = source.channels;
  document.xResolution = source.hResolution;
  document.yResolution = source.vResolution;
  if (OSErr err = read_rectangle(open.image, rect, document); err != noErr) {
    return Expected<Document>::failure(err);
  }
  document.resources.push_back({kTagType, tag_bytes(*spec, rect, source.width, source.height)});
  return document;
}

}  // namespace tessel::host
