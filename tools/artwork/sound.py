#!/usr/bin/env python3
"""Writes resources/sounds/crunch.snd: the about box's sound 16000.

Three short bites of noise, each falling off quickly, like something crisp
being eaten. The file is a whole 'snd ' resource, format 1: one sampled-sound
modifier, one bufferCmd whose offset points at a standard sound header
(encoding 0) followed by 8-bit offset-binary samples at 11025 Hz.

The noise comes from a fixed linear congruential generator, so the output is
the same on every run; the file is committed beside this script.
"""
import math
import pathlib
import struct

RATE = 11025
BITES = (0.0, 0.11, 0.24)   # start of each bite, seconds
BITE_LENGTH = 0.08          # seconds
TOTAL = 0.34                # seconds


def samples():
    state = 0x2545F491
    out = []
    for n in range(int(TOTAL * RATE)):
        t = n / RATE
        state = (state * 1103515245 + 12345) & 0x7FFFFFFF
        noise = (state >> 15) / 65536.0 * 2.0 - 1.0
        level = 0.0
        for start in BITES:
            age = t - start
            if 0.0 <= age < BITE_LENGTH:
                level = max(level, math.exp(-age * 45.0))
        # A low thump under the noise gives each bite some body.
        thump = math.sin(2.0 * math.pi * 140.0 * t) * 0.35
        value = (noise * 0.65 + thump) * level
        out.append(max(0, min(255, round(128 + value * 110))))
    return bytes(out)


def snd_resource(data):
    header_offset = 20
    head = struct.pack(">hhhIh", 1, 1, 5, 0x80, 1)          # format 1, sampledSynth, mono
    command = struct.pack(">HhI", 0x8051, 0, header_offset)  # bufferCmd | dataOffsetFlag
    sound_header = struct.pack(">IIIIIBB", 0, len(data), RATE << 16, 0, 0, 0, 60)
    assert len(head) + len(command) == header_offset
    return head + command + sound_header + data


def main():
    out = pathlib.Path(__file__).resolve().parents[2] / "resources" / "sounds" / "crunch.snd"
    out.parent.mkdir(exist_ok=True)
    out.write_bytes(snd_resource(samples()))


if __name__ == "__main__":
    main()
