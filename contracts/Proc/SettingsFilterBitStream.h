#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// What the bit stream filter is to make of its stream.
class TARSEL_CONTRACTS_EXPORT SettingsFilterBitStream : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterBitStream";

    /// The framing of an elementary stream that the next stage of a graph needs.
    enum StreamFormat : int {
        /// NAL units after start codes (ITU-T H.264 and H.265, Annex B), parameter sets in front of the key packets.
        ANNEX_B = 0,
        /// NAL units after lengths (ISO/IEC 14496-15), parameter sets in the global header.
        MP4 = 1,
        /// AAC frames without ADTS headers, the AudioSpecificConfig (ISO/IEC 14496-3) as global header.
        RAW_AAC = 2,
        /// AAC frames with ADTS headers.
        ADTS = 3,
        /// As the stream comes.
        ANY = 4,
    };

    SettingsFilterBitStream() = default;
    explicit SettingsFilterBitStream(StreamFormat needed) : needed(needed) {}
    std::string const& GetClassId() const override;

    /// `ANY` unless set.
    StreamFormat GetStreamFormatNeeded() const { return needed; }
    void SetStreamFormatNeeded(StreamFormat format) { needed = format; }

    bool operator==(SettingsFilterBitStream const& other) const { return needed == other.needed; }

  private:
    StreamFormat needed = ANY;
};

/// A property named with the `CLASS_ID`; its child "StreamFormat" holds the number.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterBitStream const& settings);
/// The way back; without the child the format is `ANY`. A property of another name throws `FilterException` "Object was
/// initialized with incorrect class (" and the name; so does a number that is no format, with its own text.
TARSEL_CONTRACTS_EXPORT SettingsFilterBitStream Property2SettingsFilterBitStream(Core::Property const& property);

}  // namespace Tarsel::Proc
