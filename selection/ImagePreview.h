// The reduced picture of the whole image that the selection dialog shows.
//
// Start fills an offscreen of the preview's size with the file's thumbnail
// (or a waiting pattern); each continue then reads at most five image rows,
// scales them to the preview's width and has the host's display routine draw
// them, top to bottom, until the picture is the real image.
#pragma once

#include "formats/RasterFormats.h"
#include "platform/QDOffscreen.h"
#include "records/HostRecords.h"
#include "tiles/CopyTile.h"

// Rows produced by one continue, and the height of the band.
constexpr SInt32 kPreviewBandRows = 5;

// Colour pattern shown until the first rows arrive when the file has no
// thumbnail.
constexpr SInt16 kWaitingPatternID = 16000;

struct ImagePreview {
  GWorldPtr offscreen;  // 32 bits, origin (0, 0); null unless started
  Rect done;            // (0, 0, rows done, preview width)
  SInt16 previewHeight;
  FormatHandle* source;
  Tile rowTile;  // one whole image row
  DisplayPixelMap pixelMap;
  Tile bandTile;  // the band memory of pixelMap, for ResampleTile
  SInt32 nextRow;
  SInt16 error;  // what stopped the preview; 0 while it runs
  DisplayPixelsProc displayRoutine;
  // The image's height, kept from the start: source names the format only,
  // and each step maps preview rows to image rows through it.
  SInt32 imageHeight;
};

// Sets preview up for image, whose format is open and described.
// previewRect is the preview in dialog coordinates; only its size matters.
// On success the offscreen shows the thumbnail or the waiting pattern and no
// image rows. On failure nothing is kept (no offscreen, no buffers),
// preview->error holds the code and it is returned: the platform's error when
// the offscreen cannot be made or the resource fork not closed, 999 for an
// image mode other than grayscale, RGB, CMYK and Lab, 137 for an image row
// too wide for any one buffer, the big buffer's error when a buffer does
// not fit.
OSErr StartImagePreview(SourceImage* image, ImagePreview* preview, const Rect* previewRect,
                        DisplayPixelsProc displayRoutine);

// One step: up to five rows drawn below those already done. *changed is set
// exactly when rows were drawn; they are preview->done's rows added by this
// call. Once every row is done the first call frees the buffers (the
// offscreen stays). A row that cannot be read stops the preview for good:
// the error is stored and returned, and the rows drawn so far stay.
OSErr ContinueImagePreview(ImagePreview* preview, Boolean* changed);

// Frees the buffers and the offscreen. Always noErr; a second call is harmless.
OSErr FinishImagePreview(ImagePreview* preview);
