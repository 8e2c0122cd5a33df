#include "plugin/TesselExportReportResult.h"

#include "MacErrors.h"
#include "plugin/ResultMessages.h"
#include "records/ResultCodes.h"

void ExportReportResult(OSErr code, ConstStringPtr text0, ConstStringPtr text1) {
  if (code == noErr || code == kUserCancelled) return;
  ShowResultMessage(ResultMessageIndex(code, ResultSide::exportBack), code, text0, text1);
}
