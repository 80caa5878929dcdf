#include "Proc/CodecParsers/AACCodecParser.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

constexpr std::array<u32, 16> SAMPLE_RATES = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050,
                                              16000, 12000, 11025, 8000,  7350,  0,     0,     0};
constexpr u32 MAX_SAMPLE_RATE = 96000;
constexpr u8 EXPLICIT_RATE_INDEX = 15;
constexpr u64 PCE_ELEMENT_ID = 5;
constexpr char PCE_NOT_FOUND[] = "PCE data not found";

// Object types that the syntax of the ASC makes a difference for.
constexpr u8 OBJECT_TYPE_SBR = 5;
constexpr u8 OBJECT_TYPE_ER_BSAC = 22;
constexpr u8 OBJECT_TYPE_PS = 29;
constexpr u8 OBJECT_TYPE_ALS = 36;

Core::DataBitInput OpenBits(u8 const* data, std::size_t size) {
    return Core::DataBitInput(Core::DataInputMemory::Create(data, size));
}

iptr<IBlob> MakeBlob(std::string const& text) {
    iptr<IBlob> blob = BlobFF::Create(reinterpret_cast<u8 const*>(text.data()), text.size());
    if (!blob) TARSEL_THROW(Exception, "Can't create BlobFF");
    return blob;
}

u8 ReadObjectType(Core::DataBitInput& in) {
    u64 const type = in.ReadBits(5);
    return static_cast<u8>(type == 31 ? 32 + in.ReadBits(6) : type);
}

// The object type under SBR or PS, which takes the place of the one read first.
u8 ReadExtension(Core::DataBitInput& in) {
    if (in.ReadBits(4) == EXPLICIT_RATE_INDEX) in.ReadBits(24);
    return ReadObjectType(in);
}

void SkipALSConfig(Core::DataBitInput& in) {
    constexpr u64 ALS_IDENTIFIER = 0x414C53;
    in.ReadBits(5);
    if (in.ReadBits(24) != ALS_IDENTIFIER) in.ReadBits(24);
}

// Copies bit groups from a reader to a writer.
class BitCopier {
  public:
    BitCopier(Core::DataBitInput& in, Core::DataBitOutput& out) : in(in), out(out) {}
    u64 Copy(unsigned count) {
        u64 const value = in.ReadBits(count);
        out.WriteBits(value, count);
        return value;
    }
    void CopyIfSet(unsigned count) {
        if (Copy(1)) Copy(count);
    }
    void CopyMany(u64 count) {
        for (; count > 64; count -= 64) Copy(64);
        Copy(static_cast<unsigned>(count));
    }

  private:
    Core::DataBitInput& in;
    Core::DataBitOutput& out;
};

void RequirePCE(u8 channelConfiguration, iptr<IBlob> const& pce) {
    if (channelConfiguration == 0 && !pce) TARSEL_THROW(Exception, PCE_NOT_FOUND);
}

}  // namespace

u32 SamplingIndexToSampleRate(u8 index) {
    if (index >= SAMPLE_RATES.size()) TARSEL_THROW(Exception, "Invalid sample rate index");
    return SAMPLE_RATES[index];
}

u32 SampleRateToSamplingIndex(u32 rate) {
    auto const found = std::find(SAMPLE_RATES.begin(), SAMPLE_RATES.end(), rate);
    if (found == SAMPLE_RATES.end()) TARSEL_THROW(Exception, "Invalid sample rate value");
    return static_cast<u32>(found - SAMPLE_RATES.begin());
}

bool IsPCE(u8 const* data, std::size_t size) {
    return size >= 1 && data[0] >> 5 == PCE_ELEMENT_ID;
}

// --- AudioSpecificConfig ---------------------------------------------------------------------------------------------

AudioSpecificConfig DataToAudioSpecificConfig(u8 const* data, std::size_t size) {
    Core::DataBitInput in = OpenBits(data, size);
    AudioSpecificConfig config;
    config.audioObjectType = ReadObjectType(in);
    config.samplingIndex = static_cast<u8>(in.ReadBits(4));
    // Meant: of an explicit rate only the lowest 8 bits are kept, so 44100 reads as 68.
    config.sampleRate = config.samplingIndex == EXPLICIT_RATE_INDEX ? static_cast<u8>(in.ReadBits(24))
                                                                    : SamplingIndexToSampleRate(config.samplingIndex);
    if (config.sampleRate > MAX_SAMPLE_RATE) TARSEL_THROW(Exception, "Invalid sample rate");
    config.channelConfiguration = static_cast<u8>(in.ReadBits(4));
    if (config.channelConfiguration >= 8) TARSEL_THROW(Exception, "Invalid channel configuration");
    if (config.audioObjectType == OBJECT_TYPE_SBR || config.audioObjectType == OBJECT_TYPE_PS) {
        config.audioObjectType = ReadExtension(in);
        if (config.audioObjectType == OBJECT_TYPE_ER_BSAC) in.ReadBits(4);
    }
    if (config.audioObjectType == OBJECT_TYPE_ALS) SkipALSConfig(in);
    u64 const position = u64(size) * 8 - in.BitsLeft();
    if (config.channelConfiguration == 0) config.pce = ExtractPCEFromASCExtradata(data, size, position);
    return config;
}

iptr<IBlob> AudioSpecificConfigToData(AudioSpecificConfig const& config) {
    RequirePCE(config.channelConfiguration, config.pce);
    std::string text;
    Core::DataBitOutput out(Core::DataOutputString::Create(&text));
    out.WriteBits(config.audioObjectType, 5);
    out.WriteBits(config.samplingIndex, 4);
    out.WriteBits(config.channelConfiguration, 4);
    out.WriteBits(0, 3);
    out.Flush();
    if (config.channelConfiguration == 0) out.WriteData(config.pce->GetData(), config.pce->GetSize());
    return MakeBlob(text);
}

iptr<IBlob> ExtractPCEFromASCExtradata(u8 const* data, std::size_t size, u64 bitPosition) {
    constexpr u64 GA_CONFIG_BITS = 3;
    bool const fits = bitPosition <= std::numeric_limits<u32>::max() - GA_CONFIG_BITS;
    // Meant in this sense: data that goes on behind its fixed part is refused, so only reads past the end are left.
    if (fits && bitPosition + GA_CONFIG_BITS < u64(size) * 8) TARSEL_THROW(Exception, "Invalid PCE data");
    Core::DataBitInput in = OpenBits(data, size);
    in.SkipBits(bitPosition);
    in.SkipBits(GA_CONFIG_BITS);
    return ReadPCE(in);
}

iptr<IBlob> ReadPCE(Core::DataBitInput& in) {
    std::string text;
    Core::DataBitOutput out(Core::DataOutputString::Create(&text));
    BitCopier copier(in, out);
    copier.Copy(10);  // tag, object type, sampling index
    u64 const front = copier.Copy(4);
    u64 const side = copier.Copy(4);
    u64 const back = copier.Copy(4);
    u64 const lfe = copier.Copy(2);
    u64 const associated = copier.Copy(3);
    u64 const coupling = copier.Copy(4);
    copier.CopyIfSet(4);  // mono mixdown
    copier.CopyIfSet(4);  // stereo mixdown
    copier.CopyIfSet(3);  // matrix mixdown
    copier.CopyMany(5 * (front + side + back + coupling) + 4 * (lfe + associated));
    out.Flush();
    // Meant: the comment is read from where the reader stands and written on a byte boundary. What is written is up to
    // a byte longer than what was read.
    for (u64 length = copier.Copy(8); length != 0; --length) copier.Copy(8);
    out.Flush();
    return MakeBlob(text);
}

// --- ADTS ------------------------------------------------------------------------------------------------------------

ADTSHeader DataToADTSHeader(u8 const* data, std::size_t size) {
    Core::DataBitInput in = OpenBits(data, size);
    if (in.ReadBits(12) != 0xFFF) TARSEL_THROW(Exception, "Invalid data - no sync word found");
    in.ReadBits(1 + 2);
    ADTSHeader header;
    header.protectionAbsent = static_cast<u8>(in.ReadBits(1));
    header.audioObjectType = static_cast<u8>(in.ReadBits(2) + 1);
    header.samplingIndex = static_cast<u8>(in.ReadBits(4));
    if (header.samplingIndex > 14) TARSEL_THROW(Exception, "Invalid frequency index");
    in.ReadBits(1);
    header.channelConfiguration = static_cast<u8>(in.ReadBits(3));
    if (header.channelConfiguration > 7) TARSEL_THROW(Exception, "Invalid channel configuration!");
    in.ReadBits(4);
    if (in.ReadBits(13) < 7) TARSEL_THROW(Exception, "Frame length is smaller than ADTS header size!");
    in.ReadBits(11);
    u64 const blockCount = in.ReadBits(2);
    if (header.protectionAbsent == 0 && blockCount > 0) TARSEL_THROW(Exception, "Multiple RDBs per frame with CRC");
    if (header.channelConfiguration == 0 && in.ReadBits(3) == PCE_ELEMENT_ID) header.pce = ReadPCE(in);
    header.sampleRate = SamplingIndexToSampleRate(header.samplingIndex);
    return header;
}

iptr<IBlob> ADTSHeaderToData(ADTSHeader const& header) {
    RequirePCE(header.channelConfiguration, header.pce);
    std::string text;
    Core::DataBitOutput out(Core::DataOutputString::Create(&text));
    out.WriteBits(0xFFF, 12);
    out.WriteBits(0, 1 + 2);
    // Meant: the CRC word isn't written even when the header announces it.
    out.WriteBits(header.protectionAbsent, 1);
    out.WriteBits(u64(header.audioObjectType) - 1, 2);
    out.WriteBits(header.samplingIndex, 4);
    out.WriteBits(0, 1);
    out.WriteBits(header.channelConfiguration, 3);
    out.WriteBits(0, 4 + 13);  // four flags, frame length
    out.WriteBits(0x7FF, 11);  // fullness
    out.WriteBits(0, 2);
    out.Flush();
    if (header.channelConfiguration == 0) {
        out.WriteBits(PCE_ELEMENT_ID, 3);
        out.WriteData(header.pce->GetData(), header.pce->GetSize());
    }
    out.Flush();
    return MakeBlob(text);
}

// --- Conversion ------------------------------------------------------------------------------------------------------

ADTSHeader ASCtoADTS(AudioSpecificConfig const& config) {
    if (config.audioObjectType > 3) TARSEL_THROW(Exception, "Given MPEG-4 AOT is not allowed in ADTS");
    if (config.samplingIndex == EXPLICIT_RATE_INDEX) TARSEL_THROW(Exception, "Illegal sample rate index for ADTS");
    RequirePCE(config.channelConfiguration, config.pce);
    ADTSHeader header;
    header.sampleRate = config.sampleRate;
    header.audioObjectType = config.audioObjectType;
    header.samplingIndex = config.samplingIndex;
    header.protectionAbsent = 1;
    header.channelConfiguration = config.channelConfiguration;
    header.pce = config.pce;
    return header;
}

AudioSpecificConfig ADTStoASC(ADTSHeader const& header) {
    RequirePCE(header.channelConfiguration, header.pce);
    if (header.samplingIndex >= SAMPLE_RATES.size()) TARSEL_THROW(Exception, "Illegal sample rate index for ASC");
    AudioSpecificConfig config;
    config.sampleRate = header.sampleRate;
    config.audioObjectType = header.audioObjectType;
    config.samplingIndex = header.samplingIndex;
    config.channelConfiguration = header.channelConfiguration;
    config.pce = header.pce;
    return config;
}

iptr<IBlob> ADTSExtradataToASC(iptr<IBlob> extradata) {
    if (!extradata || !IsADTSHeader(extradata->GetData(), extradata->GetSize())) return nullptr;
    return AudioSpecificConfigToData(ADTStoASC(DataToADTSHeader(extradata->GetData(), extradata->GetSize())));
}

iptr<IBlob> ASCExtradataToADTS(iptr<IBlob> extradata) {
    u8 const* const data = extradata ? extradata->GetData() : nullptr;
    std::size_t const size = extradata ? extradata->GetSize() : 0;
    return ADTSHeaderToData(ASCtoADTS(DataToAudioSpecificConfig(data, size)));
}

}  // namespace Tarsel::Proc::CodecParsers
