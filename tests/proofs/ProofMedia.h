// The media on which the example graphs are recorded. Pictures and samples are computed here by integer arithmetic and
// written without loss, so that every machine has the same ones. What needs an encoder whose output might hang on the
// processor is checked in (tests/records/media).
#pragma once

#include <string>

namespace Tarsel::Test {

/// The path of a clip by its name, which is made when it is first asked for and lies in a folder of this process.
/// Throws `std::runtime_error` for an unknown name and when a library fails.
///
/// | name | pictures | sound |
/// |---|---|---|
/// | film.mkv | 64x48, 12.5/s, 30 of them | 48000 Hz, stereo, 24 blocks |
/// | second.mkv | 48x32, 15/s, 24 of them | 48000 Hz, mono, FLAC |
/// | wide.mkv | 320x180, 12.5/s, 30 of them | as film.mkv |
/// | plate.mkv | 40x24, one | |
/// | interlaced.mkv | as film.mkv, upper field first | as film.mkv |
/// | bars.mkv | as film.mkv between black bars | |
/// | clear.mkv | as film.mkv, seen through around a window | |
/// | uneven.mkv | as film.mkv at uneven times | as film.mkv |
/// | quiet.mkv | as film.mkv | as film.mkv, 30 dB below |
/// | still.mkv | as film.mkv | as film.mkv, all silence |
/// | texts.mkv | as film.mkv, and subtitles of text | as film.mkv |
/// | bitmaps.mkv | as wide.mkv, and subtitles of bitmaps | |
/// | shapes.ass | two shapes, seen one after the other, drawn without a font | |
/// | A.mkv, B.mkv | 64x48 and 48x32, 12.5/s, 38 of them | as film.mkv, for 3 s |
/// | music.wav | | 48000 Hz, stereo, for 3 s |
/// | packets-a.mp4, packets-b.mp4 | H.264, 64x48, 10/s, 24 of them | AAC |
std::string ProofMedia(std::string const& name);

}  // namespace Tarsel::Test
