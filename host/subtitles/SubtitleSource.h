#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"
#include "host/media/DecoderContext.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// Titles to be drawn into pictures: which, from where, and when.
struct SubtitleRequest {
    /// A file of subtitles, or any media file that holds a stream of them.
    std::string file;
    /// Index in the file's own list of streams; -1: its first subtitle stream.
    int stream = -1;
    /// Microseconds by which the titles come later; below 0: earlier.
    int64 delay = 0;
    /// The encoding of the texts as iconv names it ("CP1251"); empty: UTF-8, or what a byte-order mark says.
    std::string charset{};
    /// Of the decoder; see `DecoderOptions`.
    DecoderOptions::Strictness strictness = DecoderOptions::Strictness::Lenient;
};

/// The titles as a stream of decoded events, on a reader of its own: nobody else is held up when the drawer fetches
/// titles far ahead of its pictures. The delay is in all times: of the events, of the lines in them, and of seeks and
/// the duration. Events that a delay moves in front of 0 keep their times. Failures are `Core::IOException`
/// "FILE: what is wrong", `Proc::CodecFactoryException` for a kind of subtitles that can't be decoded.
TARSEL_HOST_EXPORT iptr<Proc::IStreamSubtitle> OpenSubtitles(SubtitleRequest const& request);

/// A file that is opened in another way for its subtitles: one of texts, which are brought to UTF-8 in memory, and the
/// pictures of VobSub, by the text beside them. Null for all other media files. Failures as above.
TARSEL_HOST_EXPORT iptr<MediaFile> OpenSubtitleFile(std::string const& path, std::string const& charset);
/// The same as the first, of the file that has been opened already, where it is one of these by the function above and
/// with the request's charset.
TARSEL_HOST_EXPORT iptr<Proc::IStreamSubtitle> OpenSubtitles(iptr<MediaFile> const& file,
                                                             SubtitleRequest const& request);

}  // namespace Tarsel::Host
