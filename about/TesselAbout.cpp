#include "about/TesselAbout.h"

#include <cstring>

#include "platform/Cursors.h"
#include "platform/MacErrors.h"
#include "platform/MacMemory.h"
#include "platform/Quickdraw.h"
#include "platform/Resources.h"
#include "platform/Sound.h"
#include "records/ResultCodes.h"
#include "selection/AskUtilities.h"
#include "support/MemoryUtilities.h"
#include "support/PStringUtilities.h"

static constexpr ResType kDialogTemplateType = FourCC("DLOG");
static constexpr ResType kSoundType = FourCC("snd ");
static constexpr SInt32 kAboutDialogStorageSize =
    SInt32(sizeof(DialogRecord) + sizeof(AboutState*));

// The hidden words, upper-case, in the order they are matched; the first
// closes the box, each later one shows string n - 1 of kAboutMessageStrings.
static constexpr SInt16 kHiddenWordCount = 4;
static constexpr SInt16 kClosingWord = 1;
// clang-format off
static const unsigned char kHiddenWords[kHiddenWordCount][16] = {
    "\x07" "BISCUIT", "\x05" "QZMRT", "\x05" "XVBLN", "\x0A" "WOMBATRUNS"};
// clang-format on

enum : SInt16 { kNoMatch = 0, kPartialMatch = 1, kFullMatch = 2 };

static void setAboutState(Ptr dialogStorage, AboutState* state) {
  std::memcpy(dialogStorage + sizeof(DialogRecord), &state, sizeof state);
}

static AboutState* getAboutState(DialogPtr dialog) {
  AboutState* state = nullptr;
  std::memcpy(&state, reinterpret_cast<const char*>(dialog) + sizeof(DialogRecord), sizeof state);
  return state;
}

SInt16 progressiveMatch(ConstStringPtr typed, ConstStringPtr word) {
  if (FindPString(word, typed) != 1) return kNoMatch;
  return typed[0] == word[0] ? kFullMatch : kPartialMatch;
}

// ---- Set-up and tear-down ----------------------------------------------------

OSErr SetUpAboutDialog(AboutState* state) {
  Handle dialogTemplate = GetResource(kDialogTemplateType, kAboutDialogID);
  if (dialogTemplate == nullptr) return kInternalFailure;
  HNoPurge(dialogTemplate);
  CenterDialog(dialogTemplate);
  Ptr storage = nullptr;
  if (OSErr err = AllocateMemory(kAboutDialogStorageSize, &storage); err != noErr) return err;
  DialogPtr dialog = GetNewDialog(kAboutDialogID, storage, kFirstWindowOfClass);
  if (dialog == nullptr) {
    DisposeMemory(storage);
    return kInternalFailure;
  }
  setAboutState(storage, state);
  state->dialog = dialog;
  state->dialogStorage = storage;
  return noErr;
}

OSErr TearDownAboutDialog(AboutState* state) {
  CloseDialog(state->dialog);
  DisposeMemory(state->dialogStorage);
  state->dialog = nullptr;
  state->dialogStorage = nullptr;
  return noErr;
}

// ---- The hidden words --------------------------------------------------------

static void eraseMessage(AboutState* state) {
  if (state->messageExpiry == 0) return;
  EraseRect(&state->messageArea);
  state->messageExpiry = 0;
}

// Draws the message of hidden word `word` (2 to 4) at the top left of the box
// and remembers what it covers and when it goes.
static void showMessage(AboutState* state, SInt16 word) {
  eraseMessage(state);
  FontState saved{};
  GetFontState(&saved);
  SetFontStateFromID(kAboutMessageStyleID);
  FontInfo font{};
  GetFontInfo(&font);
  Str255 message{};
  GetIndString(message, kAboutMessageStrings, SInt16(word - kClosingWord));
  MoveTo(5, SInt16(font.ascent + 3));
  DrawString(message);
  state->messageExpiry = TickCount() + kAboutMessageTicks;
  Point pen{};
  GetPen(&pen);
  state->messageArea = Rect{0, 0, SInt16(pen.v + font.descent), pen.h};
  SetFontState(&saved);
}

static void appendTyped(AboutState* state, unsigned char character) {
  if (character >= 'a' && character <= 'z') character = UInt8(character - 'a' + 'A');
  if (state->typed[0] < 255) state->typed[++state->typed[0]] = character;
}

// Returns the hidden word typed in full (the last one when several are), or
// 0; *open tells whether typed still begins some word.
static SInt16 matchTyped(const AboutState* state, Boolean* open) {
  SInt16 completed = 0;
  *open = false;
  for (SInt16 word = 1; word <= kHiddenWordCount; ++word) {
    const SInt16 match = progressiveMatch(state->typed, kHiddenWords[word - 1]);
    if (match == kFullMatch) completed = word;
    if (match == kPartialMatch) *open = true;
    if (match == kFullMatch && word == kClosingWord) return word;
  }
  return completed;
}

Boolean AboutDialogProc(DialogPtr dialog, EventRecord* event, SInt16* itemHit) {
  SetPort(dialog);
  AboutState* state = getAboutState(dialog);
  if (event->what == nullEvent) {
    if (state->messageExpiry != 0 && TickCount() >= state->messageExpiry) eraseMessage(state);
    return false;
  }
  if (event->what != keyDown) return false;
  appendTyped(state, UInt8(event->message & charCodeMask));
  Boolean open = false;
  const SInt16 completed = matchTyped(state, &open);
  if (completed == kClosingWord) {
    state->playSound = true;
    *itemHit = 1;
    return true;
  }
  if (completed != 0) showMessage(state, completed);
  if (!open) state->typed[0] = 0;
  return false;
}

// ---- Showing the box ---------------------------------------------------------

void GoBiscuit() {
  Handle sound = GetResource(kSoundType, kAboutSoundID);
  if (sound == nullptr) return;
  HLock(sound);
  SndChannelPtr channel = nullptr;
  if (SndNewChannel(&channel, 0, 0, nullptr) == noErr) {
    SndPlay(channel, sound, false);
    SndDisposeChannel(channel, true);
  }
  HUnlock(sound);
  ReleaseResource(sound);
}

void DoThatAboutThang() {
  AboutState* state = nullptr;
  if (AllocateMemory(SInt32(sizeof(AboutState)), &state) != noErr) return;
  state->playSound = false;
  if (SetUpAboutDialog(state) != noErr) {
    DisposeMemory(state);
    return;
  }
  ShowWindow(state->dialog);
  InitCursor();
  SInt16 item = 0;
  ModalDialog(AboutDialogProc, &item);
  TearDownAboutDialog(state);
  if (state->playSound) GoBiscuit();
  DisposeMemory(state);
}
