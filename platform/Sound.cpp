#include "Sound.h"

#include <set>

#include "ByteOrder.h"
#include "MacErrors.h"
#include "MacMemory.h"

namespace tessel::platform::sound {
namespace {

constexpr UInt16 kSoundCmd = 80;
constexpr UInt16 kBufferCmd = 81;
constexpr UInt16 kDataPointerFlag = 0x8000;
constexpr std::size_t kHeaderSize = 22;  // standard sampled-sound header
constexpr std::size_t kCommandSize = 8;

// Where the commands start: after the synthesizer list in format 1, after
// the reference count in format 2.
std::optional<std::size_t> commands_at(std::span<const UInt8> r) {
  if (r.size() < 4) return std::nullopt;
  UInt16 format = read_big16(r);
  if (format == 2) return 4;
  if (format != 1) return std::nullopt;
  return 4 + std::size_t(read_big16(r.subspan(2))) * 6;
}

// The offset of the sound header named by the first sound or buffer command.
std::optional<std::size_t> header_offset(std::span<const UInt8> r) {
  auto at = commands_at(r);
  if (!at || *at + 2 > r.size()) return std::nullopt;
  std::size_t count = read_big16(r.subspan(*at));
  for (std::size_t i = 0, c = *at + 2; i < count && c + kCommandSize <= r.size();
       ++i, c += kCommandSize) {
    UInt16 command = read_big16(r.subspan(c));
    UInt16 kind = command & UInt16(~kDataPointerFlag);
    if ((command & kDataPointerFlag) != 0 && (kind == kSoundCmd || kind == kBufferCmd)) {
      return std::size_t(read_big32(r.subspan(c + 4)));
    }
  }
  return std::nullopt;
}

}  // namespace

// The channels made here; a channel the caller made stays the caller's.
std::set<SndChannelPtr>& own_channels() {
  static auto& channels = *new std::set<SndChannelPtr>;  // never destroyed: see MacMemory.cpp
  return channels;
}

std::optional<backend::SampledSound> decode(std::span<const UInt8> resource) {
  auto offset = header_offset(resource);
  if (!offset || *offset + kHeaderSize > resource.size()) return std::nullopt;
  auto header = resource.subspan(*offset);
  std::size_t length = read_big32(header.subspan(4));
  UInt32 rate = read_big32(header.subspan(8));
  if (header[20] != 0 || rate == 0 || length > header.size() - kHeaderSize) return std::nullopt;
  backend::SampledSound sound;
  sound.rate = double(rate) / 65536.0;
  auto samples = header.subspan(kHeaderSize, length);
  sound.samples.assign(samples.begin(), samples.end());
  return sound;
}

}  // namespace tessel::platform::sound

namespace sound = tessel::platform::sound;

OSErr SndNewChannel(SndChannelPtr* chan, SInt16 synth, SInt32 init,
                    SndCallBackUPP /*userRoutine*/) {
  if (chan == nullptr) return badChannel;
  if (*chan == nullptr) {
    *chan = new SndChannel{synth, init};
    sound::own_channels().insert(*chan);
  }
  return noErr;
}

OSErr SndPlay(SndChannelPtr /*chan: one voice plays at a time*/, SndListHandle sndHdl,
              Boolean /*async: sounds always play to their end*/) {
  if (sndHdl == nullptr || *sndHdl == nullptr) return badFormat;
  std::span<const UInt8> bytes(reinterpret_cast<const UInt8*>(*sndHdl),
                               std::size_t(GetHandleSize(sndHdl)));
  auto decoded = sound::decode(bytes);
  if (!decoded) return badFormat;
  tessel::platform::backend::current().play(*decoded);
  return noErr;
}

OSErr SndDisposeChannel(SndChannelPtr chan, Boolean /*quietNow*/) {
  if (chan == nullptr) return badChannel;
  if (sound::own_channels().erase(chan) != 0) delete chan;
  return noErr;
}
