// Files that no encoder makes by itself: other lengths of unit prefixes, check sums in ADTS headers, headers that
// change.
#pragma once

#include <string>

namespace Tarsel::Test {

/// Copies the first stream (H.264 or HEVC with 4-byte lengths) of an MP4 into another one with lengths of `size` bytes.
/// Supplemental information that is too long for them is left out; any other unit that is throws `std::runtime_error`.
void RewriteLengths(std::string const& from, std::string const& to, int size);

/// Copies the first stream (H.264 or HEVC with 4-byte lengths) of an MP4 into another one whose header record holds no
/// parameter sets: they stand in front of each key picture.
void MoveSetsIntoBand(std::string const& from, std::string const& to);

/// Copies a file of ADTS frames without check sums, giving each frame one (two bytes behind its header; what decoders
/// don't look at is 0).
void AddAdtsCheckSums(std::string const& from, std::string const& to);

/// Puts files one behind the other.
void JoinFiles(std::string const& first, std::string const& second, std::string const& to);

}  // namespace Tarsel::Test
