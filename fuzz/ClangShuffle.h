// Forced into the tile engine when the fuzz targets are built: clang has no
// two-vector shuffle with picks known only at run time, so this gives the
// same result (byte i of the output is byte picks[i] mod 32 of the two inputs
// side by side) one byte at a time. Speed does not matter under the fuzzer.
#pragma once

template <class Vector>
static inline Vector __builtin_shuffle(Vector low, Vector high, Vector picks) {
  constexpr int kBytes = int(sizeof(Vector));
  Vector out{};
  for (int i = 0; i < kBytes; ++i) {
    const int pick = picks[i] % (2 * kBytes);
    out[i] = pick < kBytes ? low[pick] : high[pick - kBytes];
  }
  return out;
}
