// The codes the format layer itself gives. Platform errors are negative and
// pass through unchanged; these are positive and each has its message.
#pragma once

#include "MacTypes.h"

constexpr OSErr kScitexBadUnits = 100;
constexpr OSErr kScitexBadSize = 101;
constexpr OSErr kScitexBadChannels = 102;
// Layout verdicts: what the acquire and export drivers tell about a TIFF
// whose pixels the format layer cannot move.
constexpr OSErr kTIFFCompressed = 115;
constexpr OSErr kTIFFPlanar = 116;
constexpr OSErr kTIFFPredictor = 117;
constexpr OSErr kTIFFFillOrder = 118;
constexpr OSErr kTIFFTiled = 119;
constexpr OSErr kTIFFLayoutNotWritable = 122;
constexpr OSErr kTIFFCompressionNotWritable = 128;
constexpr OSErr kTIFFNotHandled = 300;
constexpr OSErr kFormatNotRecognised = 498;
constexpr OSErr kFormatFailure = 499;
