// The about box the acquire entry point shows for the host's about
// selector. It also listens for four hidden words typed while it is open:
// the first closes the box with a crunch, the others each show a line at
// the top of the box for three seconds.
#pragma once

#include "platform/Dialogs.h"
#include "platform/Events.h"
#include "platform/MacTypes.h"

constexpr SInt16 kAboutDialogID = 16000;
constexpr SInt16 kAboutMessageStyleID = 16002;
constexpr SInt16 kAboutSoundID = 16000;
constexpr SInt16 kAboutMessageStrings = 16007;  // the messages of hidden words 2 to 4
constexpr UInt32 kAboutMessageTicks = 180;

// One showing of the box; lives from DoThatAboutThang's start to its end.
struct AboutState {
  DialogPtr dialog;
  Ptr dialogStorage;     // the dialog record, then a pointer back to this state
  Str255 typed;          // upper-cased keys that still begin a hidden word
  Boolean playSound;     // hidden word 1 was typed
  UInt32 messageExpiry;  // tick count at which the message goes; 0 for none
  Rect messageArea;
};

// Shows the box until an item is hit or hidden word 1 is typed, then plays
// that word's sound. Any failure just means no box.
void DoThatAboutThang();

// Makes the dialog, hidden and centred. kInternalFailure when the template
// is missing or the dialog cannot be made; memFullErr without memory.
OSErr SetUpAboutDialog(AboutState* state);
// Closes the dialog and frees its storage; always noErr.
OSErr TearDownAboutDialog(AboutState* state);

// The modal filter: watches typed keys for the hidden words and erases an
// expired message on null events. True only when hidden word 1 completes,
// with *itemHit 1.
Boolean AboutDialogProc(DialogPtr dialog, EventRecord* event, SInt16* itemHit);

// 2 when typed is word, 1 when it is a proper beginning of it, else 0.
SInt16 progressiveMatch(ConstStringPtr typed, ConstStringPtr word);

// Plays sound 16000 to its end; nothing when it is missing.
void GoBiscuit();
