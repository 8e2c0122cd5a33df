// How both drivers walk the selection, one continue call at a time: a band
// of rows of one plane (of every plane at once when the file interleaves
// them) down to the selection's bottom, then back to its top for the next
// plane; the host told of the progress and asked about aborting around each.
#pragma once

#include "MacTypes.h"
#include "References.h"
#include "formats/RasterFormats.h"
#include "records/HostRecords.h"

// Reports done out of total to the host, then runs its abort test; true when
// the user asked to stop. Either callback may be missing.
inline bool ReportProgressAndTestAbort(UInt32 updateProgress, UInt32 testAbort, SInt32 done,
                                       SInt32 total) {
  if (auto progress = ReferenceProcAs<UpdateProgressProc>(updateProgress)) progress(done, total);
  auto abort = ReferenceProcAs<TestAbortProc>(testAbort);
  return abort != nullptr && abort() != 0;
}

// The tile that holds rows [row, row + rows) of the selection in data, in
// plane plane or, interleaved, in every plane.
inline Tile SelectionBandTile(const SourceImage* image, SInt16 row, SInt16 rows, SInt16 plane,
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
void AdvancePastBand(Globals* globals, const SourceImage* image, bool interleaved, SInt16 rows) {
  globals->currentRow = SInt16(globals->currentRow + rows);
  globals->progressDone += interleaved ? rows * image->channels : rows;
  if (globals->currentRow >= image->selection.bottom) {
    globals->currentRow = image->selection.top;
    globals->currentPlane = SInt16(globals->currentPlane + (interleaved ? image->channels : 1));
  }
}
