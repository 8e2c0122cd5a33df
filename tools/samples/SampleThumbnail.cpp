// Thumbnails in a file's resource fork: a preview note ("pnot") naming a
// version 2 picture of direct pixels. Layouts follow the published picture
// format (Imaging With QuickDraw, appendix A): an extended version 2 header,
// then one DirectBitsRect of unpacked 32-bit pixels.
#include "ByteOrder.h"
#include "tools/samples/SampleImages.h"

namespace tessel::samples {
namespace {

using platform::append_big16;
using platform::append_big32;

constexpr UInt32 k72Dpi = 0x00480000;

void appendRect(std::vector<UInt8>& out, UInt16 height, UInt16 width) {
  for (UInt16 value : {UInt16(0), UInt16(0), height, width}) append_big16(out, value);
}

// The pixel map of a DirectBitsRect: 32 bits, three components, rows stored
// as they are in memory (pack type 1).
void appendDirectPixMap(std::vector<UInt8>& out, UInt16 height, UInt16 width) {
  append_big32(out, 0x000000FF);  // base address placeholder
  append_big16(out, UInt16(0x8000 | (4 * width)));
  appendRect(out, height, width);
  append_big16(out, 0);  // pmVersion
  append_big16(out, 1);  // packType: unpacked
  append_big32(out, 0);  // packSize
  append_big32(out, k72Dpi);
  append_big32(out, k72Dpi);
  append_big16(out, 16);                             // pixelType: direct
  append_big16(out, 32);                             // pixelSize
  append_big16(out, 3);                              // cmpCount
  append_big16(out, 8);                              // cmpSize
  for (int i = 0; i < 3; ++i) append_big32(out, 0);  // planeBytes, pmTable, pmReserved
}

std::vector<UInt8> picture(const SampleThumbnail& t) {
  std::vector<UInt8> out;
  append_big16(out, 0);  // size, set below
  appendRect(out, t.height, t.width);
  append_big16(out, 0x0011);
  append_big16(out, 0x02FF);
  append_big16(out, 0x0C00);  // header: version -2, reserved, resolution, source rect, reserved
  append_big16(out, 0xFFFE);
  append_big16(out, 0);
  append_big32(out, k72Dpi);
  append_big32(out, k72Dpi);
  appendRect(out, t.height, t.width);
  append_big32(out, 0);
  append_big16(out, 0x009A);
  appendDirectPixMap(out, t.height, t.width);
  appendRect(out, t.height, t.width);  // source
  appendRect(out, t.height, t.width);  // destination
  append_big16(out, 0);                // srcCopy
  for (UInt16 row = 0; row < t.height; ++row) {
    UInt32 color = row < t.height / 2 ? t.topColor : t.bottomColor;
    for (UInt16 x = 0; x < t.width; ++x) append_big32(out, color & 0xFFFFFF);
  }
  append_big16(out, 0x00FF);
  platform::write_big16(out, UInt16(out.size()));
  return out;
}

std::vector<UInt8> previewNote(const SampleThumbnail& t) {
  std::vector<UInt8> out;
  append_big32(out, 0);  // modification date
  append_big16(out, t.noteVersion);
  append_big32(out, t.noteType);
  append_big16(out, UInt16(t.pictureId));
  return out;
}

}  // namespace

std::vector<platform::resources::Resource> thumbnail_resources(const SampleThumbnail& thumbnail) {
  return {{FourCC("pnot"), 0, 0, "", previewNote(thumbnail)},
          {FourCC("PICT"), thumbnail.pictureId, 0, "", picture(thumbnail)}};
}

}  // namespace tessel::samples
