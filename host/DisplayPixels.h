// The host's pixel-display routine: draws a band of a plug-in's 8-bit
// samples into the current port, turning each image mode into screen RGB.
//
// Grayscale and RGB samples are shown as they are. CMYK and Lab go through
// Little CMS to sRGB, the transforms made once and kept for the process:
// Lab as CIE L*a*b* (D50; L scaled to 0..255, a and b offset by 128); CMYK
// in the host's convention (255 no ink, 0 full ink) through a CMYK profile
// found on the system (see cmyk_profile_source), or through a plain
// subtractive stand-in made with Little CMS when the system has none.
#pragma once

#include <string>

#include "records/HostRecords.h"

namespace tessel::host {

// A DisplayPixelsProc. Draws srcRect of source with its top-left at
// (dstRow, dstCol) of the current port, clipped as CopyBits clips. paramErr,
// and nothing drawn, for a missing map or band, a mode other than 1, 3, 4 or
// 9, or a rectangle outside the band; memFullErr when the conversion buffer
// does not fit. platformContext is not used.
OSErr display_pixels(const DisplayPixelMap* source, const VRect* srcRect, SInt32 dstRow,
                     SInt32 dstCol, void* platformContext);

// Where CMYK samples get their colours: the path of the profile in use
// (from TESSEL_CMYK_PROFILE, or the first CMYK profile under the system's
// colour folders), or "built-in" for the stand-in.
std::string cmyk_profile_source();

}  // namespace tessel::host
