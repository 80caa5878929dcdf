#pragma once

#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// Plays sound backwards.
///
/// Goes in: blocks of samples. Comes out: the same samples from the last to the first; blocks are cut where chunks of
/// ten seconds meet. At most three chunks are held: one being read, one waiting, one being handed out. Sound that ends
/// before the stream's duration begins as much later. Seek: to the sample of the position. End: null, again and again.
/// Threads: see `ReverseStream`.
///
/// Throws `std::invalid_argument` for a null source, `FilterException` "Incorrect duration in source stream"
/// for one of unknown length, `std::bad_cast` for settings of another class.
iptr<IStreamAudioEx> MakeFilterReverseAudio(iptr<IStreamAudio> const& source, iptr<IEffectFactory const> const& effects,
                                            Settings const& settings);

}  // namespace Tarsel::Proc
