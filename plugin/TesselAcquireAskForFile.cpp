#include "plugin/TesselAcquireAskForFile.h"

#include "MacErrors.h"
#include "records/ResultCodes.h"
#include "support/MemoryUtilities.h"

static constexpr SInt16 kMostFileTypes = 10;

OSErr AskForFile(SourceImage* image) { return RunFileDialog(image, kAcquireFileDialog, nullptr); }

OSErr RunFileDialog(SourceImage* image, SInt16 dialogID, DlgHookYDProcPtr hook) {
  StandardFileReply reply;
  SetMemory(&reply, SInt32(sizeof reply), 0);
  OSType types[kMostFileTypes];
  SInt16 count = 0;
  if (OSErr err = RasterFormatsMacFileTypes(types, kMostFileTypes, &count); err != noErr) {
    return err;
  }
  FileDialogData data{image, &reply};
  CustomGetFile(GetFileFilter, count, types, &reply, dialogID, Point{-1, -1}, hook, nullptr,
                nullptr, nullptr, &data);
  if (reply.sfGood == 0) return kUserCancelled;
  image->fileSpec = reply.sfFile;
  return noErr;
}

Boolean GetFileFilter(CInfoPBRec* catalogEntry, void* /*yourData*/) {
  const HFileInfo& entry = catalogEntry->hFileInfo;
  FSSpec file;
  if (FSMakeFSSpec(entry.ioVRefNum, entry.ioFlParID, entry.ioNamePtr, &file) != noErr) return 1;
  FormatCode code = kUnknownFormat;
  if (RasterFormatRecognize(&file, entry.ioFlFndrInfo.fdType, &code) != noErr) return 1;
  return code == kUnknownFormat ? 1 : 0;
}
