// The selection dialog's memory of each image: the last selection and grid,
// kept in one small file in the user's preferences folder and keyed by the
// image's file name, width and height.
#pragma once

#include "platform/MacTypes.h"
#include "selection/SelectionDialogState.h"

// The descriptor of the preferences file: its name (31 characters at most),
// creator, file type and script code.
constexpr ResType kPrefsDescriptorType = FourCC("FILE");
constexpr SInt16 kPrefsDescriptorID = 16000;

// The file: a 32-bit version, then slots back to back to the end: 296 bytes
// each in version 3, which holds full names; 96 in version 2, whose files
// are read as they are and rewritten in version 3 by the first save.
constexpr SInt32 kPrefsVersion = 3;
constexpr SInt32 kPrefsHeaderSize = 4;
constexpr SInt32 kPrefsSlotSize = 296;
constexpr SInt32 kShortPrefsVersion = 2;
constexpr SInt32 kShortPrefsSlotSize = 96;

// Used when no slot matches or the file cannot be used. The empty selection
// makes the dialog select the whole preview.
constexpr SInt16 kDefaultGridColumns = 3;
constexpr SInt16 kDefaultGridRows = 3;

// Sets a selection to exist, ants idle, and the remembered selection and grid
// of the state's image, or the defaults. Never fails: a missing, unreadable or
// damaged file gives the defaults. Always noErr.
OSErr SetUpSelectionDefaults(SelectionDialogState* state);

// When save is true, stores the state's selection and grid for its image,
// overwriting the image's slot or appending one, and creating the file when
// it is missing. Errors are dropped. Always noErr.
OSErr TearDownSelectionDefaults(SelectionDialogState* state, Boolean save);
