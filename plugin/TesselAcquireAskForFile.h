// Choosing the image file in the standard open dialog, restricted to files
// the format layer recognises.
#pragma once

#include "MacTypes.h"
#include "StandardFile.h"
#include "formats/RasterFormats.h"

constexpr SInt16 kAcquireFileDialog = 16005;

// What the dialog's callbacks receive as their data.
struct FileDialogData {
  SourceImage* image;
  StandardFileReply* reply;
};

// Lets the user choose the file to acquire: 0 with its identity copied into
// image's file identity, 996 when the user cancelled (image untouched), or
// the error of RasterFormatsMacFileTypes.
OSErr AskForFile(SourceImage* image);

// Runs the open dialog dialogID with the plug-in's filter and hook (which may
// be null); what AskForFile and ExportAskForFile share.
OSErr RunFileDialog(SourceImage* image, SInt16 dialogID, DlgHookYDProcPtr hook);

// 1 hides the catalog entry: one whose identity cannot be made or whose
// format is not recognised. 0 shows it.
Boolean GetFileFilter(CInfoPBRec* catalogEntry, void* yourData);
