// Pieces the three writers share: rows of formula samples and the sidecar
// that carries a file's Finder type and resource fork.
#pragma once

#include <filesystem>
#include <optional>
#include <span>

#include "MacTypes.h"
#include "ResourceFork.h"
#include "tools/samples/SampleImages.h"

namespace tessel::samples {

// out[x × planes + k] = sample_value(seed, row, firstColumn + x, firstPlane + k)
// for every x below out.size() ÷ planes.
void fill_interleaved(std::span<UInt8> out, UInt32 seed, SInt32 row, UInt32 planes,
                      SInt32 firstPlane, SInt64 firstColumn = 0);

// out[i] = sample_value(seed, row, firstByte + i, plane): the raw bytes of a
// row whose samples are not whole bytes.
void fill_bytes(std::span<UInt8> out, UInt32 seed, SInt32 row, SInt32 plane, SInt64 firstByte = 0);

// Whether rows [top, bottom) and columns [left, right) meet the box; every
// block meets when there is no box (a dense file).
bool meets_box(const std::optional<SampleBox>& box, UInt64 top, UInt64 bottom, UInt64 left,
               UInt64 right);

// Replaces whatever sidecar the file had: none when there is neither a type
// nor a fork, so a stale sidecar from an earlier file never lingers.
OSErr write_file_sidecar(const std::filesystem::path& file, std::optional<OSType> type,
                         const std::optional<platform::resources::ResourceFork>& fork);

}  // namespace tessel::samples
