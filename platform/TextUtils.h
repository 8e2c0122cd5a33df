// Number and text conversions into length-prefixed strings.
#pragma once

#include "MacTypes.h"

// The number in decimal, with a leading '-' when negative.
void NumToString(SInt32 number, Str255 text);

// A zero-terminated text as a length-prefixed string, cut at 255 characters.
void CopyCStringToPascal(const char* source, Str255 destination);
