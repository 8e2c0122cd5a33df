// Choosing the file to write back to when the tagged one cannot be used. The
// dialog opens in the folder of the tagged file.
#pragma once

#include "MacTypes.h"
#include "StandardFile.h"
#include "formats/RasterFormats.h"

// The export dialogs, one per prompt.
constexpr SInt16 kExportFileDialog = 16002;

// As AskForFile; prompt 0, 1 or 2 picks dialog 16002, 16003 or 16004.
OSErr ExportAskForFile(SourceImage* image, SInt16 prompt);

// On the main dialog's first call, points the dialog at the folder of the
// image's recorded file (110) when there is one; every other call keeps its
// item.
SInt16 GetFileDialogHook(SInt16 item, DialogPtr dialog, void* yourData);
