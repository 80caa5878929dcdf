// AAC out of ADTS beside libavcodec's "aac_adtstoasc".

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "tests/differential/Clips.h"
#include "tests/differential/LibavFilter.h"
#include "tests/support/Packets.h"

namespace Tarsel::Test {
namespace {

using namespace Proc::CodecParsers;
using TestSupport::GetBytes;
using TestSupport::MakeBlob;
using TestSupport::MakePacket;

constexpr std::string_view NAME = "Lavc";

bool IsADTS(StreamInspection const& stream) {
    return !stream.packets.empty() && stream.extradata.empty() &&
           IsADTSHeader(stream.packets[0].data.data(), stream.packets[0].data.size());
}

std::vector<std::string> ADTSClips(bool withElement) {
    std::vector<std::string> paths;
    for (std::string const& path : ClipsOf("aac")) {
        StreamInspection const& stream = StreamOf(path, "aac");
        if (!IsADTS(stream)) continue;
        Bytes const& first = stream.packets[0].data;
        if ((DataToADTSHeader(first.data(), first.size()).channelConfiguration == 0) == withElement)
            paths.push_back(path);
    }
    return paths;
}

TEST(AacBesideLibav, ConfigAndPayloads) {
    auto const clips = ADTSClips(false);
    ASSERT_GE(clips.size(), 6U);
    for (std::string const& path : clips) {
        SCOPED_TRACE(NameOf(path));
        StreamInspection const& stream = StreamOf(path, "aac");
        FilteredStream const theirs = RunFilter("aac_adtstoasc", stream);
        EXPECT_EQ(GetBytes(ADTSExtradataToASC(MakeBlob(stream.packets[0].data))), theirs.extradata);
        for (std::size_t i = 0; i < stream.packets.size(); ++i) {
            SCOPED_TRACE(testing::Message() << "packet " << i);
            ASSERT_TRUE(GetBytes(RemoveADTSHeader(MakePacket(stream.packets[i].data, true))) == theirs.packets[i]);
        }
    }
}

// The length of an element's comment is read where the fields end and not on the next byte boundary, so it is a wrong
// one. In front of it both agree; behind it our payload begins too early.
TEST(AacBesideLibav, FieldsOfAnElementAgreeAndItsCommentIsReadUnaligned) {
    auto const clips = ADTSClips(true);
    ASSERT_GE(clips.size(), 2U);
    for (std::string const& path : clips) {
        SCOPED_TRACE(NameOf(path));
        StreamInspection const& stream = StreamOf(path, "aac");
        FilteredStream const theirs = RunFilter("aac_adtstoasc", stream);
        Bytes const& first = stream.packets[0].data;
        Bytes const ours = GetBytes(ADTSExtradataToASC(MakeBlob(first)));
        // Their comment names the encoder.
        auto const name = std::search(theirs.extradata.begin(), theirs.extradata.end(), NAME.begin(), NAME.end());
        ASSERT_NE(name, theirs.extradata.end());
        auto const comment = name - theirs.extradata.begin() - 1;
        ASSERT_GT(static_cast<std::ptrdiff_t>(ours.size()), comment);
        EXPECT_TRUE(std::equal(ours.begin(), ours.begin() + comment, theirs.extradata.begin()));
        EXPECT_NE(ours, theirs.extradata);
        Bytes const payload = GetBytes(RemoveADTSHeader(MakePacket(first, true)));
        ASSERT_GT(payload.size(), theirs.packets[0].size());
        EXPECT_TRUE(std::equal(theirs.packets[0].rbegin(), theirs.packets[0].rend(), payload.rbegin()));
    }
}

TEST(AacBesideLibav, HeaderBackInFrontIsWhatTheMuxerWrote) {
    for (std::string const& path : ADTSClips(false)) {
        SCOPED_TRACE(NameOf(path));
        StreamInspection const& stream = StreamOf(path, "aac");
        auto const header = ASCExtradataToADTS(ADTSExtradataToASC(MakeBlob(stream.packets[0].data)));
        for (PacketInfo const& packet : stream.packets) {
            auto const raw = RemoveADTSHeader(MakePacket(packet.data, true));
            ASSERT_TRUE(GetBytes(InsertADTSHeader(raw, header, true)) == packet.data);
        }
    }
}

TEST(AacBesideLibav, ConfigsOfFilesWithoutADTS) {
    std::size_t compared = 0;
    for (std::string const& path : ClipsOf("aac")) {
        StreamInspection const& stream = StreamOf(path, "aac");
        if (stream.extradata.empty()) continue;
        SCOPED_TRACE(NameOf(path));
        AudioSpecificConfig const config = DataToAudioSpecificConfig(stream.extradata.data(), stream.extradata.size());
        Av::Codec const decoder = DecodeStream(stream);
        EXPECT_EQ(config.sampleRate, static_cast<u32>(decoder->sample_rate));
        EXPECT_EQ(config.audioObjectType, decoder->profile + 1);
        EXPECT_EQ(config.channelConfiguration, decoder->ch_layout.nb_channels);
        // The encoder appends an extension that says "no SBR"; what is in front of it is written back.
        Bytes const head(stream.extradata.begin(), stream.extradata.begin() + 2);
        EXPECT_EQ(GetBytes(AudioSpecificConfigToData(config)), head);
        ++compared;
    }
    EXPECT_GE(compared, 10U);
}

}  // namespace
}  // namespace Tarsel::Test
