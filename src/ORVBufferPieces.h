// How the library's buffers hand bytes to another buffer: through its vPut,
// a piece at a time, so that a file adapter never gets more than it should
// write at once (OCFileBuffer: 32768 bytes).
#pragma once

#include <algorithm>
#include <cstdint>

#include "ORVBinaryStreamBuf.h"

namespace ORVFile::detail {

/// The largest piece an OCFileBuffer is given.
inline constexpr std::uint32_t kFilePiece = 32768;

/// Puts length bytes into dest at most maxPiece at a time; a destination that
/// takes less than a piece ends it. Returns the bytes taken.
inline std::uint32_t PutInPieces(ORV::BinaryStreamBuf& dest, const unsigned char* data, std::uint32_t length,
                                 std::uint32_t maxPiece) {
  std::uint32_t done = 0;
  while (done < length) {
    const std::uint32_t piece = std::min(length - done, maxPiece);
    const std::uint32_t taken = dest.vPut(data + done, piece);
    done += taken;
    if (taken < piece) break;
  }
  return done;
}

}  // namespace ORVFile::detail
