#pragma once

#include "contracts/Conf/MediaTypes.h"
#include "contracts/Core/Export.h"

namespace Tarsel::Conf {

/// How `SampleInfo::MergeWith` settles a field that both sides have.
enum class MergeStrategy : int {
    /// The better one: the higher rate, the layout of more channels, the format of larger numbers.
    Best = 0,
};

/// Format, rate and layout of audio samples, in this order.
class TARSEL_CONTRACTS_EXPORT SampleInfo {
  public:
    SampleInfo() = default;
    SampleInfo(SampleFormats format, int sampleRate, ChannelLayout layout);

    void Init(SampleFormats format, int sampleRate, ChannelLayout layout);

    /// -1 when unset.
    SampleFormats GetSampleFormat() const { return format; }
    /// Hertz; -1 or 0 when unset.
    int GetSampleRate() const { return sampleRate; }
    /// 0 when unset.
    ChannelLayout GetChannelLayout() const { return layout; }
    /// Number of positions in the layout.
    int GetChannelCount() const;

    /// Bytes of one sample step in one plane: of one channel in a planar format, of all channels in an interleaved one.
    /// 0 for an unset format.
    int GetSampleSizePerPlane() const;
    /// Number of channels in a planar format, 1 in an interleaved one, 0 for an unset format.
    int GetPlanesCount() const;

    /// Takes from `other` what is unset here; where both are set, `strategy` decides. For `Best`: the larger rate, the
    /// layout of more channels, the format whose planar code is larger; on a tie this side's word stays.
    void MergeWith(SampleInfo const& other, MergeStrategy strategy);

    /// All three words are equal.
    bool operator==(SampleInfo const&) const = default;

  private:
    SampleFormats format = SAMPLE_FORMAT_NONE;
    int sampleRate = -1;
    ChannelLayout layout = CHANNEL_LAYOUT_NONE;
};

/// The usual layout of `channels` channels (1 mono, 2 stereo, 6 5.1...), 0 when there is none.
TARSEL_CONTRACTS_EXPORT ChannelLayout DefaultChannelLayout(int channels);
/// Number of positions in a layout.
TARSEL_CONTRACTS_EXPORT int ChannelCount(ChannelLayout layout);
/// The planar format of the same numbers; the format itself when it is planar or unset.
TARSEL_CONTRACTS_EXPORT SampleFormats PlanarFormat(SampleFormats format);
/// Whether each channel has a plane of its own.
TARSEL_CONTRACTS_EXPORT bool IsPlanar(SampleFormats format);
/// Bytes of one number; 0 for an unset or unknown format.
TARSEL_CONTRACTS_EXPORT int BytesPerSample(SampleFormats format);

}  // namespace Tarsel::Conf
