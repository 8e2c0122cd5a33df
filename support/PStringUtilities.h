// Length-prefixed strings: byte 0 holds the length (0 to 255), bytes 1 to
// length the characters, compared as plain bytes.
//
// Every destination must have room for a whole Str255: results are cut at 255
// characters, and nothing is written beyond byte 255. Sources may share
// storage with the destination (appending a string to itself, substituting
// a text's own copy into it).
//
// Messages mark where texts go with placeholders: a caret followed by one
// decimal digit, "^0" to "^9".
#pragma once

#include "MacTypes.h"

// Copies source's length byte and characters into destination.
void CopyPString(ConstStringPtr source, StringPtr destination);

// Appends source's characters to destination, as many as fit in 255.
void AppendPString(ConstStringPtr source, StringPtr destination);

// The number in decimal, with a leading '-' when negative.
void CopyNumToPString(SInt32 number, StringPtr destination);

// A count in decimal with its digits grouped by threes ("2,147,483,000"), so
// that the large numbers of the size limits read at a glance.
void CopyGroupedNumToPString(SInt64 number, StringPtr destination);

// The number in decimal appended to destination, cut as AppendPString cuts.
void AppendNumToPString(SInt32 number, StringPtr destination);

// The 1-based position of the leftmost occurrence of pattern in text; 0 when
// there is none or the pattern is empty.
SInt16 FindPString(ConstStringPtr text, ConstStringPtr pattern);

// Replaces the first placeholder n in text by replacement. Only the first
// occurrence goes, so a repeated placeholder waits for a later call. When the
// result would pass 255 characters the replacement is cut, never the text
// after the placeholder. An n outside 0 to 9 names no placeholder and leaves
// the text unchanged.
void SubstitutePString(StringPtr text, SInt16 n, ConstStringPtr replacement);

// Replaces the first placeholder n by the number in decimal.
void SubstituteNumPString(StringPtr text, SInt16 n, SInt32 number);

// Cuts a text longer than maximum to maximum characters and ends it with the
// last characters of mark, so that an ellipsis shows the cut. A maximum below
// 0 counts as 0.
void TruncatePString(StringPtr text, SInt16 maximum, ConstStringPtr mark);

// File names and document titles are UTF-8, as the file system spells names;
// the plug-in's own texts in its resources are Mac Roman. These two join them.
//
// Mac Roman text as UTF-8, in place; characters that would take the result
// past 255 bytes are left out whole.
void RomanToUTF8PString(StringPtr text);

// TruncatePString for UTF-8 text and mark: the cut falls between
// characters, never inside one, so the result may be a few bytes shorter
// than maximum. A mark longer than maximum is left out.
void TruncateUTF8PString(StringPtr text, SInt16 maximum, ConstStringPtr mark);

// 1 when a and b have the same length and the same bytes, else 0.
Boolean EqualPString(ConstStringPtr a, ConstStringPtr b);

// 1 when text ends with suffix, else 0. Case matters: callers wanting a
// case-blind test upper-case the text first. An empty suffix gives 1.
Boolean EndEqualPString(ConstStringPtr text, ConstStringPtr suffix);

// Turns the ASCII letters a to z into A to Z in place; every other byte,
// accented letters included, stays as it is.
void UpperPString(StringPtr text);
