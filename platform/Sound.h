// The Sound Manager: sampled sounds from "snd " resources (format 1 or 2,
// one sampled-sound header with 8-bit samples), played to their end on a
// channel. The backend plays them (sdl) or records them (headless).
#pragma once

#include <optional>
#include <span>

#include "Backend.h"
#include "MacTypes.h"

struct SndChannel {
  SInt16 synth;
  SInt32 init;
};
using SndChannelPtr = SndChannel*;
using SndListHandle = Handle;
using SndCallBackUPP = void (*)(SndChannelPtr channel, void* command);

constexpr SInt16 sampledSynth = 5;
constexpr OSErr badFormat = -206;
constexpr OSErr badChannel = -205;

// A channel of its own when *chan is null; otherwise *chan is taken as it is.
OSErr SndNewChannel(SndChannelPtr* chan, SInt16 synth, SInt32 init, SndCallBackUPP userRoutine);
// Plays the sound; returns when it has finished whether or not async is set.
// badFormat when the resource holds no sampled sound this layer reads.
OSErr SndPlay(SndChannelPtr chan, SndListHandle sndHdl, Boolean async);
OSErr SndDisposeChannel(SndChannelPtr chan, Boolean quietNow);

namespace tessel::platform::sound {

// The sampled sound a "snd " resource holds; nothing when it holds none.
std::optional<backend::SampledSound> decode(std::span<const UInt8> resource);

}  // namespace tessel::platform::sound
