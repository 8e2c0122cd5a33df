// tessel-icons MODULE FOLDER: the desktop's icons for Tessel, drawn from the
// image family in the module's own resource fork, as the selection dialog
// draws it, so the desktop shows the very icon the plug-in does. Writes
// FOLDER/NxN/apps/tessel.png at each of the sizes a hicolor theme expects;
// a size the family has no member for is its largest member scaled up
// pixel for pixel, which keeps the drawing's hard edges.
#include <cstdio>
#include <filesystem>
#include <string>

#include "Files.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "QDOffscreen.h"
#include "Quickdraw.h"
#include "Resources.h"
#include "selection/DrawIconFamily.h"

namespace {

namespace qd = tessel::platform::quickdraw;

constexpr SInt16 kApplicationIcon = 16000;  // the image pane's family
constexpr SInt16 kSizes[] = {16, 32, 48, 64, 128, 256};
constexpr SInt16 kSmallSide = 16, kLargeSide = 32;

// A colour port and its one-bit mask, of one size.
class MaskedPorts {
 public:
  explicit MaskedPorts(SInt16 side) : bounds_{0, 0, side, side} {
    opened_ = qd::open_port(image_, bounds_, 32, qd::PixelMemory::application_heap) == noErr &&
              qd::open_port(mask_, bounds_, 1, qd::PixelMemory::application_heap) == noErr;
  }
  ~MaskedPorts() {
    qd::close_port(image_);
    qd::close_port(mask_);
  }
  MaskedPorts(const MaskedPorts&) = delete;
  MaskedPorts& operator=(const MaskedPorts&) = delete;

  bool opened() const { return opened_; }
  const Rect& bounds() const { return bounds_; }
  GrafPort& image() { return image_; }
  GrafPort& mask() { return mask_; }

  // Both ports of from, scaled to this size.
  void scale_from(MaskedPorts& from) {
    CopyBits(GetPortBitMapForCopyBits(&from.image_), GetPortBitMapForCopyBits(&image_),
             &from.bounds_, &bounds_, srcCopy, nullptr);
    CopyBits(GetPortBitMapForCopyBits(&from.mask_), GetPortBitMapForCopyBits(&mask_), &from.bounds_,
             &bounds_, srcCopy, nullptr);
  }

 private:
  Rect bounds_;
  GrafPort image_{};
  GrafPort mask_{};
  bool opened_ = false;
};

// The mask half of the family's one-bit kind for side, copied into ports.
bool draw_mask(MaskedPorts& ports, SInt16 side) {
  const SInt16 kind = side == kSmallSide ? kSmall1 : kLarge1;
  const SInt16 rowBytes = SInt16(side / 8);
  Handle data = Get1Resource(IconKindType(kind), kApplicationIcon);
  if (data == nullptr || GetHandleSize(data) < Size(2 * rowBytes * side)) return false;
  HLock(data);
  BitMap mask{*data + rowBytes * side, rowBytes, ports.bounds()};
  CopyBits(&mask, GetPortBitMapForCopyBits(&ports.mask()), &ports.bounds(), &ports.bounds(),
           srcCopy, nullptr);
  HUnlock(data);
  return true;
}

bool draw_member(MaskedPorts& ports, SInt16 side) {
  if (!ports.opened() || !draw_mask(ports, side)) return false;
  IconCache cache{};
  SetPort(&ports.image());
  DrawIconFamily(&cache, kApplicationIcon, 0, 0, side, side);
  DisposeIconCache(&cache);
  return true;
}

bool write_size(MaskedPorts& small, MaskedPorts& large, SInt16 size,
                const std::filesystem::path& folder) {
  const std::string name = std::to_string(size) + "x" + std::to_string(size);
  const std::filesystem::path apps = folder / name / "apps";
  std::error_code error;
  std::filesystem::create_directories(apps, error);
  const std::filesystem::path file = apps / "tessel.png";
  MaskedPorts sized(size);
  if (error || !sized.opened()) return false;
  sized.scale_from(size == kSmallSide ? small : large);
  return qd::save_png(sized.image(), sized.mask(), file) == noErr;
}

int write_icons(const std::filesystem::path& module, const std::filesystem::path& folder) {
  tessel::Expected<FSSpec> spec = tessel::platform::files::spec_from_path(module);
  const SInt16 fork = spec ? FSpOpenResFile(&*spec, fsRdPerm) : SInt16(-1);
  if (fork == -1) {
    std::fprintf(stderr, "tessel-icons: cannot open the resources of %s\n", module.c_str());
    return 1;
  }
  MaskedPorts small(kSmallSide), large(kLargeSide);
  bool written = draw_member(small, kSmallSide) && draw_member(large, kLargeSide);
  for (SInt16 size : kSizes) written = written && write_size(small, large, size, folder);
  CloseResFile(fork);
  if (!written) std::fprintf(stderr, "tessel-icons: icon family %d not drawn\n", kApplicationIcon);
  return written ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: tessel-icons MODULE FOLDER\n");
    return 2;
  }
  return write_icons(argv[1], argv[2]);
}
