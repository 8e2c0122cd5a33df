#include "plugin/TesselExportAskForFile.h"

#include "plugin/TesselAcquireAskForFile.h"

OSErr ExportAskForFile(SourceImage* image, SInt16 prompt) {
  return RunFileDialog(image, SInt16(kExportFileDialog + prompt), GetFileDialogHook);
}

SInt16 GetFileDialogHook(SInt16 item, DialogPtr dialog, void* yourData) {
  if (GetWRefCon(dialog) != sfMainDialogRefCon || item != sfHookFirstCall) return item;
  auto* data = static_cast<FileDialogData*>(yourData);
  const FSSpec& recorded = data->image->fileSpec;
  if (recorded.vRefNum == 0) return sfHookFirstCall;
  data->reply->sfFile.vRefNum = recorded.vRefNum;
  data->reply->sfFile.parID = recorded.parID;
  return sfHookChangeSelection;
}
