#include "plugin/TesselAcquireReportResult.h"

#include "MacErrors.h"
#include "TextUtils.h"
#include "plugin/ResultMessages.h"
#include "records/ResultCodes.h"

void ReportResult(OSErr code) {
  if (code == noErr || code == kUserCancelled) return;
  ShowResultMessage(ResultMessageIndex(code, ResultSide::acquire), code, nullptr, nullptr);
}

unsigned char* trap_message() {
  static Str255 message;
  CopyCStringToPascal(" trapped error", message);
  return message;
}
