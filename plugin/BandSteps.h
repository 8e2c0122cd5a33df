// How both drivers walk the selection, one continue call at a time: a band
// of rows of one plane (of every plane at once when the file interleaves
// them) down to the selection's bottom, then back to its top for the next
// plane; the host told of the progress and asked about aborting around each.
#pragma once

#include <algorithm>
#include <cstdint>

#include "MacErrors.h"
#include "MacTypes.h"
#include "References.h"
#include "formats/RasterFormats.h"
#include "records/HostRecords.h"
#include "records/ResultCodes.h"
#include "support/PStringUtilities.h"

// done and total as the host's 32-bit progress callback takes them: both
// halved together until total fits, so that their ratio holds.
inline void ProgressForHost(SInt64 done, SInt64 total, SInt32* hostDone, SInt32* hostTotal) {
  while (total > INT32_MAX) {
    done >>= 1;
    total >>= 1;
  }
  *hostDone = SInt32(std::min(done, total));
  *hostTotal = SInt32(total);
}

// Reports done out of total to the host, then runs its abort test; true when
// the user asked to stop. Either callback may be missing.
inline bool ReportProgressAndTestAbort(UInt32 updateProgress, UInt32 testAbort, SInt64 done,
                                       SInt64 total) {
  if (auto progress = ReferenceProcAs<UpdateProgressProc>(updateProgress)) {
    SInt32 hostDone = 0, hostTotal = 0;
    ProgressForHost(done, total, &hostDone, &hostTotal);
    progress(hostDone, hostTotal);
  }
  auto abort = ReferenceProcAs<TestAbortProc>(testAbort);
  return abort != nullptr && abort() != 0;
}

// Fills the report texts with the two numbers a limit's message names and
// returns code.
inline OSErr RefuseAtLimit(OSErr code, SInt64 first, SInt64 second, StringPtr text0,
                           StringPtr text1) {
  CopyGroupedNumToPString(first, text0);
  CopyGroupedNumToPString(second, text1);
  return code;
}

// 136, with the selection's width and height in the texts, when the host
// lacks the big-document extension and a side of the selection would not fit
// its 16-bit fields; else noErr.
inline OSErr CheckHostSides(bool bigDocuments, const SourceImage* image, StringPtr text0,
                            StringPtr text1) {
  const SInt64 width = SInt64(image->selection.right) - image->selection.left;
  const SInt64 height = SInt64(image->selection.bottom) - image->selection.top;
  if (bigDocuments || (width <= kLargestClassicSide && height <= kLargestClassicSide)) {
    return noErr;
  }
  return RefuseAtLimit(kHostSideLimit, width, height, text0, text1);
}

// The tile that holds rows [row, row + rows) of the selection in data, in
// plane plane or, interleaved, in every plane.
inline Tile SelectionBandTile(const SourceImage* image, SInt32 row, SInt32 rows, SInt16 plane,
                              bool interleaved, UInt8* data, SInt32 rowBytes) {
  Tile tile{};
  tile.data = data;
  tile.area = TileArea{row,
                       image->selection.left,
                       row + rows,
                       image->selection.right,
                       interleaved ? 0 : plane,
                       interleaved ? image->channels : plane + 1};
  tile.rowBytes = rowBytes;
  tile.colBytes = interleaved ? image->channels : 1;
  tile.planeBytes = 0;
  return tile;
}

// Moves globals past the band of rows just handled and counts its samples
// as done.
template <class Globals>
void AdvancePastBand(Globals* globals, const SourceImage* image, bool interleaved, SInt32 rows) {
  globals->currentRow += rows;
  globals->progressDone += interleaved ? SInt64(rows) * image->channels : rows;
  if (globals->currentRow >= image->selection.bottom) {
    globals->currentRow = image->selection.top;
    globals->currentPlane = SInt16(globals->currentPlane + (interleaved ? image->channels : 1));
  }
}
