#include "plugin/TesselAcquireReportResult.h"

#include "MacErrors.h"
#include "TextUtils.h"
#include "plugin/ResultMessages.h"
#include "records/ResultCodes.h"

void ReportResult(OSErr code) { ReportResultWithTexts(code, nullptr, nullptr); }

void ReportResultWithTexts(OSErr code, ConstStringPtr text0, ConstStringPtr text1) {
  if (code == noErr || code == kUserCancelled) return;
  ShowResultMessage(ResultMessageIndex(code, ResultSide::acquire), code, text0, text1);
}

unsigned char* trap_message() {
  static Str255 message;
  CopyCStringToPascal(" trapped error", message);
  return message;
}
