// The two ways a document's samples are stored.
//
// In memory, and in everything the plug-in hands over and takes back, CMYK
// counts ink down from 255 (255 = no ink) and Lab's a* and b* are offset
// binary (128 = zero), whatever format the image came from. A document file
// is read by other programs, so it follows TIFF 6.0 instead: ink counts up
// from 0 (section 16) and CIELab's a* and b* are signed (section 23).
// Documents written before files followed TIFF hold the plug-in's bytes and
// carry no mark saying otherwise; they are read and written as they always
// were, so that their pixels go back into their images unchanged.
#pragma once

#include <span>

#include "MacTypes.h"
#include "host/ChunkyPlanes.h"

namespace tessel::host {

enum class SampleConvention : UInt8 {
  plugin,  // the file holds the plug-in's bytes, whatever its photometric says
  tiff,    // the file's samples mean what its PhotometricInterpretation says
};

// Whether a file of this PhotometricInterpretation stores any sample
// differently from the plug-in.
bool conventions_differ(UInt16 photometric);

// Turns chunky pixels holding the range's planes, stored under photometric,
// from one convention into the other; applied twice it gives the bytes back.
// A planar file's plane alone is the range of that one plane.
// Separated (5): the four inks inverted. CIELab (8): the sign bit of a* and
// b* toggled. ICCLab (9) is unsigned with 128 = zero, as the plug-in's, and
// changes no byte, nor do grey, RGB and every plane past the colour ones.
void swap_sample_convention(UInt16 photometric, PlaneRange planes, std::span<UInt8> pixels);

}  // namespace tessel::host
