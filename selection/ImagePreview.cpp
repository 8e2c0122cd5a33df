#include "selection/ImagePreview.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "platform/ByteOrder.h"
#include "platform/MacErrors.h"
#include "platform/MacMemory.h"
#include "platform/References.h"
#include "platform/Resources.h"
#include "records/BigBuffer.h"
#include "records/ResultCodes.h"
#include "selection/AskUtilities.h"
#include "support/FileUtilities.h"
#include "tiles/ResampleTile.h"

constexpr ResType kPreviewNoteType = FourCC("pnot");
constexpr ResType kPictureType = FourCC("PICT");
constexpr OSErr kPreviewFailed = 999;

static SInt32 roundUpTo4(SInt32 bytes) { return (bytes + 3) / 4 * 4; }

static SInt16 previewWidth(const ImagePreview* preview) { return preview->done.right; }

static void withOffscreen(GWorldPtr offscreen, auto&& draw) {
  CGrafPtr savedPort = nullptr;
  GDHandle savedDevice = nullptr;
  GetGWorld(&savedPort, &savedDevice);
  SetGWorld(offscreen, nullptr);
  PixMapHandle pixels = GetGWorldPixMap(offscreen);
  LockPixels(pixels);
  draw();
  UnlockPixels(pixels);
  SetGWorld(savedPort, savedDevice);
}

// ---------------------------------------------------------------------------
// The picture shown before the rows arrive

// The published preview note: modification date (4 bytes), version (16-bit),
// type of the resource holding the thumbnail, its id (16-bit). Only the first
// note counts. Returns the picture, or null when the fork offers none usable.
static Handle findThumbnail() {
  Handle note = Get1IndResource(kPreviewNoteType, 1);
  if (note == nullptr || *note == nullptr || GetHandleSize(note) < 12) return nullptr;
  std::span<const UInt8> bytes(reinterpret_cast<const UInt8*>(*note), 12);
  UInt16 version = tessel::platform::read_big16(bytes.subspan(4));
  ResType type = tessel::platform::read_big32(bytes.subspan(6));
  auto id = SInt16(tessel::platform::read_big16(bytes.subspan(10)));
  if (version > 1 || type != kPictureType) return nullptr;
  Handle picture = Get1Resource(kPictureType, id);
  if (picture == nullptr) return nullptr;
  HUnlock(picture);
  HNoPurge(picture);
  return picture;
}

// Where the thumbnail goes. A square thumbnail must cover a preview that is
// not square, so it is drawn as a square of the preview's longer side, grown
// by a two-hundredth of the image's other dimension and centred. The growth
// is held where it would carry the square past the 16-bit coordinates of
// pictures, for images millions of pixels long.
constexpr SInt32 kLargestThumbnailGrowth = 8192;

static SInt32 thumbnailGrowth(SInt32 otherSide) {
  return std::min((otherSide + 100) / 200, kLargestThumbnailGrowth);
}

static Rect thumbnailDestination(Handle picture, const Rect& bounds, const SourceImage* image) {
  Rect frame{};
  QDGetPictureBounds(picture, &frame);
  OffsetRect(&frame, SInt16(-frame.left), SInt16(-frame.top));
  Rect dest = bounds;
  SInt16 width = bounds.right, height = bounds.bottom;
  if (frame.right != frame.bottom || width == height) return dest;
  if (width > height) {
    SInt32 d = thumbnailGrowth(image->height);
    dest.top = SInt16(height / 2 - width / 2 - d);
    dest.bottom = SInt16(dest.top + width + d);
  } else {
    SInt32 d = thumbnailGrowth(image->width);
    dest.left = SInt16(width / 2 - height / 2 - d);
    dest.right = SInt16(dest.left + height + d);
  }
  return dest;
}

// Draws the file's thumbnail into offscreen. True when one was drawn; a
// failure to close the fork is stored in *closeError.
static Boolean drawThumbnail(const SourceImage* image, GWorldPtr offscreen, const Rect& bounds,
                             OSErr* closeError) {
  SInt16 fork = 0;
  if (OpenResourceFile(&image->fileSpec, &fork) != noErr) return false;
  Handle picture = findThumbnail();
  if (picture != nullptr) {
    Rect dest = thumbnailDestination(picture, bounds, image);
    withOffscreen(offscreen, [&] {
      EraseRect(&bounds);
      DrawPicture(picture, &dest);
    });
  }
  *closeError = CloseResourceFile(fork);
  return picture != nullptr;
}

static void drawWaitingPattern(GWorldPtr offscreen, const Rect& bounds) {
  PixPatHandle pattern = GetPixPat(kWaitingPatternID);
  withOffscreen(offscreen, [&] {
    if (pattern != nullptr) {
      FillCRect(&bounds, pattern);
    } else {
      EraseRect(&bounds);
    }
  });
  if (pattern != nullptr) DisposePixPat(pattern);
}

static OSErr getPreviewFromFile(const SourceImage* image, ImagePreview* preview,
                                const Rect* previewRect) {
  Rect bounds{0, 0, SInt16(previewRect->bottom - previewRect->top),
              SInt16(previewRect->right - previewRect->left)};
  GWorldPtr offscreen = nullptr;
  if (OSErr err = BraveNewGWorld(&offscreen, 32, &bounds, nullptr, nullptr, 0); err != noErr) {
    return err;
  }
  OSErr closeError = noErr;
  Boolean drawn = drawThumbnail(image, offscreen, bounds, &closeError);
  if (closeError != noErr) {
    DisposeGWorld(offscreen);
    return closeError;
  }
  if (!drawn) drawWaitingPattern(offscreen, bounds);
  preview->offscreen = offscreen;
  return noErr;
}

static void releasePreviewFromFile(ImagePreview* preview) {
  if (preview->offscreen == nullptr) return;
  DisposeGWorld(preview->offscreen);
  preview->offscreen = nullptr;
}

// ---------------------------------------------------------------------------
// Buffers

// The bytes of one image row as the row tile holds it, counted in 64 bits:
// a row of the widest images does not fit a buffer at all.
static SInt64 rowTileBytes(const SourceImage* image) {
  const SInt64 planeRow = (SInt64(image->width) + 3) / 4 * 4;
  if (image->planar == 1) return image->channels * planeRow;
  return (SInt64(image->channels) * image->width + 3) / 4 * 4;
}

// One image row. Planar images keep each plane's row 4-byte aligned.
static OSErr setUpRowTile(const SourceImage* image, Tile* tile) {
  const SInt64 bytes = rowTileBytes(image);
  if (bytes > INT32_MAX) return kRowBeyondMemory;
  const auto bufferBytes = SInt32(bytes);
  Tile row{};
  row.area = TileArea{0, 0, 1, image->width, 0, image->channels};
  if (image->planar == 1) {
    row.colBytes = 1;
    row.rowBytes = roundUpTo4(image->width);
    row.planeBytes = row.rowBytes;
  } else {
    row.colBytes = image->channels;
    row.rowBytes = bufferBytes;
  }
  Ptr buffer = nullptr;
  if (OSErr err = AllocateBigBuffer(bufferBytes, 1, nullptr, &buffer); err != noErr) return err;
  row.data = reinterpret_cast<UInt8*>(buffer);
  *tile = row;
  return noErr;
}

static Boolean previewableMode(SInt16 mode) {
  return mode == kGrayscaleMode || mode == kRGBMode || mode == kCMYKMode || mode == kLabMode;
}

// Five rows of the preview's width in the image's layout family, zeroed.
static OSErr setUpBand(const SourceImage* image, SInt16 width, ImagePreview* preview) {
  DisplayPixelMap map{};
  map.bounds = VRect{0, 0, kPreviewBandRows, width};
  map.imageMode = image->mode;
  SInt32 bufferBytes = 0;
  if (image->planar == 1) {
    map.colBytes = 1;
    map.rowBytes = roundUpTo4(width);
    map.planeBytes = kPreviewBandRows * map.rowBytes;
    bufferBytes = image->channels * map.planeBytes;
  } else {
    map.colBytes = image->channels;
    map.rowBytes = roundUpTo4(image->channels * width);
    map.planeBytes = 1;
    bufferBytes = kPreviewBandRows * map.rowBytes;
  }
  Ptr buffer = nullptr;
  if (OSErr err = AllocateBigBuffer(bufferBytes, 1, nullptr, &buffer); err != noErr) return err;
  std::memset(buffer, 0, std::size_t(bufferBytes));
  map.baseAddr = NewReference(buffer);
  auto* data = reinterpret_cast<UInt8*>(buffer);
  TileArea area{0, 0, kPreviewBandRows, width, 0, image->channels};
  SInt32 tilePlaneBytes = image->planar == 1 ? map.planeBytes : 0;
  preview->pixelMap = map;
  preview->bandTile = Tile{data, area, map.rowBytes, map.colBytes, tilePlaneBytes};
  return noErr;
}

static void disposeImagePreviewBuffers(ImagePreview* preview) {
  if (preview->bandTile.data != nullptr) {
    DisposeReference(preview->pixelMap.baseAddr);
    DisposeBigBuffer(reinterpret_cast<Ptr>(preview->bandTile.data));
    preview->bandTile.data = nullptr;
    preview->pixelMap.baseAddr = 0;
  }
  if (preview->rowTile.data != nullptr) {
    DisposeBigBuffer(reinterpret_cast<Ptr>(preview->rowTile.data));
    preview->rowTile.data = nullptr;
  }
}

// ---------------------------------------------------------------------------
// The three calls

static OSErr startImagePreview(SourceImage* image, ImagePreview* preview, const Rect* previewRect) {
  if (OSErr err = getPreviewFromFile(image, preview, previewRect); err != noErr) return err;
  if (OSErr err = setUpRowTile(image, &preview->rowTile); err != noErr) return err;
  if (!previewableMode(image->mode)) return kPreviewFailed;
  auto width = SInt16(previewRect->right - previewRect->left);
  if (OSErr err = setUpBand(image, width, preview); err != noErr) return err;
  preview->nextRow = 0;
  preview->done = Rect{0, 0, 0, width};
  return noErr;
}

OSErr StartImagePreview(SourceImage* image, ImagePreview* preview, const Rect* previewRect,
                        DisplayPixelsProc displayRoutine) {
  preview->source = &image->format;
  preview->imageHeight = image->height;
  preview->displayRoutine = displayRoutine;
  preview->error = noErr;
  preview->rowTile.data = nullptr;
  preview->bandTile.data = nullptr;
  preview->pixelMap.baseAddr = 0;
  preview->previewHeight = SInt16(previewRect->bottom - previewRect->top);
  OSErr err = startImagePreview(image, preview, previewRect);
  if (err == noErr) return noErr;
  disposeImagePreviewBuffers(preview);
  releasePreviewFromFile(preview);
  preview->error = err;
  return err;
}

// Reads the image row that preview row nextRow stands for (the nearest one
// above, in single precision as the dialog's coordinates are) and scales it
// into row bandRow of the band.
static OSErr readPreviewRow(ImagePreview* preview, SInt32 bandRow) {
  float ratio = float(preview->imageHeight) / float(preview->previewHeight);
  auto sourceRow = SInt32(float(preview->nextRow) * ratio);
  Tile& row = preview->rowTile;
  row.area.top = sourceRow;
  row.area.bottom = sourceRow + 1;
  if (OSErr err = RasterFormatGetTile(preview->source, row, row.area); err != noErr) return err;
  TileArea target{bandRow, 0, bandRow + 1, previewWidth(preview), 0, row.area.endPlane};
  ResampleTile(row, row.area, preview->bandTile, target);
  return noErr;
}

static void displayBand(ImagePreview* preview, SInt32 startRow) {
  if (preview->displayRoutine == nullptr) return;
  VRect source{0, 0, preview->nextRow - startRow, previewWidth(preview)};
  withOffscreen(preview->offscreen, [&] {
    preview->displayRoutine(&preview->pixelMap, &source, startRow, 0, nullptr);
  });
}

OSErr ContinueImagePreview(ImagePreview* preview, Boolean* changed) {
  *changed = false;
  if (preview->offscreen == nullptr || preview->error != noErr) return noErr;
  if (preview->nextRow == preview->previewHeight) {
    disposeImagePreviewBuffers(preview);
    return noErr;
  }
  SInt32 startRow = preview->nextRow;
  for (SInt32 i = 0; i < kPreviewBandRows && preview->nextRow != preview->previewHeight; ++i) {
    if (OSErr err = readPreviewRow(preview, i); err != noErr) {
      preview->error = err;
      return err;
    }
    ++preview->nextRow;
  }
  displayBand(preview, startRow);
  preview->done.bottom = SInt16(preview->nextRow);
  *changed = true;
  return noErr;
}

OSErr FinishImagePreview(ImagePreview* preview) {
  disposeImagePreviewBuffers(preview);
  releasePreviewFromFile(preview);
  return noErr;
}
