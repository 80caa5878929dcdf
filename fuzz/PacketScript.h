#pragma once

#include <glog/logging.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "contracts/Proc/SettingsFilterBitStream.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/Builders.h"
#include "tests/support/Packets.h"
#include "tests/support/ScriptedStream.h"

// Streams that an input describes, for the targets on filters: a byte with codec and wishes, a global header behind its
// two-byte size, then packets, each a byte with its flags, one with its time, and its payload behind a two-byte size.

namespace Tarsel::Fuzz {

/// Takes an input apart; behind its end there are zeros.
class InputReader {
  public:
    InputReader(u8 const* data, std::size_t size) : data(data), end(data + std::min(size, INPUT_LIMIT)) {}

    bool IsAtEnd() const { return data == end; }
    u8 ReadByte() { return IsAtEnd() ? u8{0} : *data++; }
    std::vector<u8> ReadBytes() {
        std::size_t const size = ReadByte() * std::size_t{256} + ReadByte();
        u8 const* const begin = data;
        data += std::min(size, static_cast<std::size_t>(end - data));
        return {begin, data};
    }

  private:
    u8 const* data;
    u8 const* const end;
};

struct PacketScript {
    std::string codecId;
    Proc::SettingsFilterBitStream::StreamFormat needed = Proc::SettingsFilterBitStream::ANY;
    iptr<IBlob> extradata;
    std::vector<Test::ScriptedRaw::Step> packets;
    std::size_t payloadBytes = 0;

    std::size_t GetHeaderBytes() const { return extradata ? extradata->GetSize() : 0; }
    iptr<Test::ScriptedRaw> MakeSource() const {
        auto source = Test::ScriptedRaw::Create(packets);
        if (codecId.compare(0, 3, "aac") == 0) {
            source->format = Conf::IFormatCodecAudio::Create();
            source->mediaType = MEDIA_TYPE_AUDIO;
        }
        source->format->SetCodecID(codecId);
        source->format->SetExtradata(extradata);
        return source;
    }
};

enum PacketFlags : u8 { FLAG_KEY = 1, FLAG_NO_PTS = 2, FLAG_NO_DTS = 4 };

/// `withGaps`: times may be missing.
inline PacketScript ReadScript(InputReader& in, bool withGaps) {
    constexpr char const* CODECS[] = {"h264", "hevc", "aac", "aac_latm", "vp9"};
    PacketScript script;
    u8 const head = in.ReadByte();
    script.codecId = CODECS[(head & 7) % 5];
    script.needed = Proc::SettingsFilterBitStream::StreamFormat(((head >> 3) & 7) % 5);
    std::vector<u8> const header = in.ReadBytes();
    if ((head & 0x80) == 0) script.extradata = TestSupport::MakeBlob(header);
    int64 dts = 0;
    while (!in.IsAtEnd()) {
        u8 const flags = in.ReadByte();
        u8 const time = in.ReadByte();
        std::vector<u8> const payload = in.ReadBytes();
        script.payloadBytes += payload.size();
        dts += withGaps ? int64{time & 15} - 2 : 40;
        int64 const pts = withGaps ? dts + (time >> 4) - 2 : dts;
        script.packets.emplace_back(Test::MakePacket(withGaps && (flags & FLAG_NO_PTS) != 0 ? NO_VALUE : pts,
                                                     withGaps && (flags & FLAG_NO_DTS) != 0 ? NO_VALUE : dts, 40,
                                                     (flags & FLAG_KEY) != 0, payload));
    }
    return script;
}

/// Keeps warnings of dropped packets out of the way: they are what these inputs are made for.
inline bool SilenceLog() {
    FLAGS_minloglevel = google::GLOG_FATAL;
    return true;
}

inline void Require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace Tarsel::Fuzz
