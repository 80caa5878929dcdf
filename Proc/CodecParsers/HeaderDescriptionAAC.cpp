// Field names are those of ISO/IEC 14496-3.

#include <vector>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "Proc/CodecParsers/HeaderFields.h"
#include "contracts/Core/BitIO.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

Core::DataBitInput OpenBits(u8 const* data, std::size_t size) {
    return Core::DataBitInput(Core::DataInputMemory::Create(data, size));
}

void DescribeASC(HeaderFields& out, u8 const* data, std::size_t size, iptr<IBlob>& pce) {
    constexpr u8 EXPLICIT_RATE_INDEX = 15;
    constexpr u64 ESCAPED_TYPE = 31;
    AudioSpecificConfig const config = DataToAudioSpecificConfig(data, size);
    pce = config.pce;
    out.Field("audioObjectType", config.audioObjectType).Field("samplingFrequencyIndex", config.samplingIndex);
    if (config.samplingIndex == EXPLICIT_RATE_INDEX) {
        // The record has the lowest byte of the rate only.
        Core::DataBitInput in = OpenBits(data, size);
        if (in.ReadBits(5) == ESCAPED_TYPE) in.SkipBits(6);
        in.SkipBits(4);
        out.Field("samplingFrequency", static_cast<int64>(in.ReadBits(24)));
    }
    out.Field("channelConfiguration", config.channelConfiguration);
}

void DescribeADTS(HeaderFields& out, u8 const* data, std::size_t size, iptr<IBlob>& pce) {
    ADTSHeader const header = DataToADTSHeader(data, size);
    pce = header.pce;
    Core::DataBitInput in = OpenBits(data, size);
    out.Field("syncword", static_cast<int64>(in.ReadBits(12)))
        .Field("ID", static_cast<int64>(in.ReadBits(1)))
        .Field("layer", static_cast<int64>(in.ReadBits(2)))
        .Field("protection_absent", header.protectionAbsent)
        .Field("profile_ObjectType", header.audioObjectType - 1)
        .Field("sampling_frequency_index", header.samplingIndex)
        .Field("channel_configuration", header.channelConfiguration);
    in.SkipBits(30 - in.GetBitPosition());
    out.Field("aac_frame_length", static_cast<int64>(in.ReadBits(13)))
        .Field("adts_buffer_fullness", static_cast<int64>(in.ReadBits(11)))
        .Field("number_of_raw_data_blocks_in_frame", static_cast<int64>(in.ReadBits(2)));
}

// program_config_element() behind its element id, as `ReadPCE` packs it.
class PCEDescriber {
  public:
    PCEDescriber(HeaderFields& out, IBlob const& pce) : out(out), in(OpenBits(pce.GetData(), pce.GetSize())) {}

    void Describe() {
        Read("element_instance_tag", 4);
        Read("object_type", 2);
        Read("sampling_frequency_index", 4);
        u64 const front = Read("num_front_channel_elements", 4);
        u64 const side = Read("num_side_channel_elements", 4);
        u64 const back = Read("num_back_channel_elements", 4);
        u64 const lfe = Read("num_lfe_channel_elements", 2);
        u64 const associated = Read("num_assoc_data_elements", 3);
        u64 const coupling = Read("num_valid_cc_elements", 4);
        if (Read("mono_mixdown_present", 1)) Read("mono_mixdown_element_number", 4);
        if (Read("stereo_mixdown_present", 1)) Read("stereo_mixdown_element_number", 4);
        if (Read("matrix_mixdown_idx_present", 1)) {
            Read("matrix_mixdown_idx", 2);
            Read("pseudo_surround_enable", 1);
        }
        ReadElements("front_element_is_cpe", "front_element_tag_select", front);
        ReadElements("side_element_is_cpe", "side_element_tag_select", side);
        ReadElements("back_element_is_cpe", "back_element_tag_select", back);
        ReadElements(nullptr, "lfe_element_tag_select", lfe);
        ReadElements(nullptr, "assoc_data_element_tag_select", associated);
        ReadElements("cc_element_is_ind_sw", "valid_cc_element_tag_select", coupling);
        in.SkipBitsToNextByte();
        Read("comment_field_bytes", 8);
    }

  private:
    u64 Read(char const* name, unsigned bits) {
        u64 const value = in.ReadBits(bits);
        out.Field(name, static_cast<int64>(value));
        return value;
    }
    // Elements of a tag each, and of a flag in front of it where `flagName` isn't null.
    void ReadElements(char const* flagName, char const* tagName, u64 count) {
        if (count == 0) return;
        std::vector<u32> flags;
        std::vector<u32> tags;
        for (u64 i = 0; i < count; ++i) {
            if (flagName) flags.push_back(static_cast<u32>(in.ReadBits(1)));
            tags.push_back(static_cast<u32>(in.ReadBits(4)));
        }
        if (flagName) out.Array(flagName, flags);
        out.Array(tagName, tags);
    }

    HeaderFields& out;
    Core::DataBitInput in;
};

}  // namespace

void DescribeAAC(u8 const* data, std::size_t size, HeaderStructures& out) {
    iptr<IBlob> pce;
    if (IsADTSHeader(data, size))
        out.Add("ADTS", [&](HeaderFields& fields) { DescribeADTS(fields, data, size, pce); });
    else
        out.Add("AudioSpecificConfig", [&](HeaderFields& fields) { DescribeASC(fields, data, size, pce); });
    if (pce) out.Add("PCE", [&](HeaderFields& fields) { PCEDescriber(fields, *pce).Describe(); });
}

}  // namespace Tarsel::Proc::CodecParsers
