#include "plugin/ResultMessages.h"

#include <algorithm>
#include <iterator>

#include "Dialogs.h"
#include "Resources.h"
#include "support/PStringUtilities.h"

namespace {

struct MessageEntry {
  OSErr code;
  SInt16 acquireIndex;
  SInt16 exportIndex;
};

// Codes without an entry take the generic message on both sides.
constexpr MessageEntry kMessages[] = {
    {100, 1, 1},   {101, 2, 2},   {102, 3, 3},   {103, 4, 4},   {104, 5, 5},   {105, 6, 6},
    {106, 7, 7},   {107, 8, 8},   {108, 9, 9},   {109, 13, 17}, {110, 13, 19}, {111, 13, 18},
    {114, 10, 13}, {115, 11, 13}, {116, 12, 13}, {117, 11, 13}, {118, 11, 13}, {119, 14, 13},
    {120, 13, 16}, {122, 13, 20}, {123, 13, 21}, {124, 13, 22}, {125, 13, 23}, {126, 13, 24},
    {127, 13, 25}, {128, 13, 26}, {129, 13, 27}, {130, 13, 28}, {131, 30, 13}, {132, 13, 31},
    {133, 13, 32}, {134, 13, 29}, {135, 33, 13}, {136, 34, 34}, {137, 35, 35}, {498, 15, 15},
};

}  // namespace

SInt16 ResultMessageIndex(OSErr code, ResultSide side) {
  auto entry = std::find_if(std::begin(kMessages), std::end(kMessages),
                            [code](const MessageEntry& e) { return e.code == code; });
  if (entry == std::end(kMessages)) return kGenericMessage;
  return side == ResultSide::acquire ? entry->acquireIndex : entry->exportIndex;
}

void ShowResultMessage(SInt16 index, OSErr code, ConstStringPtr text0, ConstStringPtr text1) {
  Str255 message;
  GetIndString(message, kResultMessageList, index);
  if (text0 != nullptr) SubstitutePString(message, 0, text0);
  if (text1 != nullptr) SubstitutePString(message, 1, text1);
  Str255 number;
  CopyNumToPString(code, number);
  const unsigned char empty[1] = {0};
  ParamText(message, number, empty, empty);
  InitCursor();
  Alert(kResultAlert, nullptr);
}
