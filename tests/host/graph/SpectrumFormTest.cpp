#include "host/graph/SpectrumForm.h"

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphReader.h"
#include "host/graph/GraphWriter.h"
#include "host/spectrum/SpectrumPicture.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using Tarsel::Test::MakeClip;
using TestSupport::MessageOf;

/// Pictures, and sound twice.
std::string Film() {
    return MakeClip("spectrum-form.mkv",
                    {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=1", "-f", "lavfi", "-i", "sine=d=1", "-map", "0",
                     "-map", "1", "-map", "1", "-c:v", "libx264", "-c:a", "flac"});
}

TEST(SpectrumForm, IsSoundCutIntoPictureLengthsAndDrawn) {
    SpectrumFormOptions spectrum;
    spectrum.stream = 1;
    spectrum.picture.SetBarCount(7);
    ShortFormOptions options;
    options.output = "out.mp4";
    options.videoCodec = "mpeg4";
    options.quality = 5;
    GraphDocument const document = MakeSpectrumGraph(Film(), spectrum, options).document;
    ASSERT_EQ(document.sources.size(), 1U);
    EXPECT_EQ(document.sources[0].file, Film());
    EXPECT_EQ(document.sources[0].stream, (StreamSelector{StreamKind::Audio, 1}));
    ASSERT_EQ(document.filters.size(), 3U);
    EXPECT_EQ(document.filters[0].classId, "SettingsFilterResample");
    EXPECT_EQ(document.filters[0].settings["ChannelLayout"].GetInt64(), 4) << "mono";
    EXPECT_EQ(document.filters[0].inputs, std::vector<NodeId>{document.sources[0].id});
    EXPECT_EQ(document.filters[1].classId, "SettingsFilterAudioFormatter");
    EXPECT_EQ(document.filters[1].settings["PacketDuration"].GetInt64(), 40000);
    EXPECT_EQ(document.filters[1].inputs, std::vector<NodeId>{document.filters[0].id});
    EXPECT_EQ(document.filters[2].classId, "FilterAudioHistogram");
    EXPECT_EQ(document.filters[2].settings["BarCount"].GetInt64(), 7);
    EXPECT_EQ(document.filters[2].inputs, std::vector<NodeId>{document.filters[1].id});
    ASSERT_EQ(document.output.streams.size(), 1U);
    EXPECT_EQ(document.output.file, "out.mp4");
    EXPECT_EQ(document.output.streams[0].input, document.filters[2].id);
    EXPECT_EQ(document.output.streams[0].codec, "mpeg4");
    EXPECT_EQ(document.output.streams[0].quality, 5);
}

TEST(SpectrumForm, SoundThatGoesAlongHasAReaderOfItsOwn) {
    SpectrumFormOptions spectrum;
    spectrum.withAudio = true;
    ShortFormOptions options;
    options.audioCodec = "flac";
    GraphDocument const document = MakeSpectrumGraph(Film(), spectrum, options).document;
    ASSERT_EQ(document.sources.size(), 2U);
    EXPECT_NE(document.sources[0].id, document.sources[1].id);
    EXPECT_EQ(document.sources[0].stream, document.sources[1].stream);
    ASSERT_EQ(document.output.streams.size(), 2U);
    EXPECT_EQ(document.output.streams[1].input, document.sources[1].id);
    EXPECT_EQ(document.output.streams[1].codec, "flac");
}

TEST(SpectrumForm, IsTheSameGraphWhenItHasBeenWrittenDown) {
    SpectrumFormOptions spectrum;
    spectrum.withAudio = true;
    spectrum.picture.SetScale(Proc::SettingsAudioHistogram::SCALE_LOGARITHMIC);
    spectrum.picture.SetBackgroundColour({1, 2, 3});
    GraphDocument const document = MakeSpectrumGraph(Film(), spectrum, {}).document;
    EXPECT_EQ(ParseGraph(WriteGraph(document), {}), document);
}

TEST(SpectrumForm, PictureStandsWholeMicrosecondsAndNotTooShort) {
    Proc::SettingsAudioHistogram picture;
    for (auto const& [rate, period] :
         {std::pair(25, 40000), std::pair(30, 33334), std::pair(1, 1000000), std::pair(7, 142858)}) {
        picture.SetPicturesPerSecond(rate);
        EXPECT_EQ(SpectrumPeriod(picture), period) << rate;
    }
}

TEST(SpectrumForm, RefusesWhatGraphFilesCannotSay) {
    using Change = void (*)(Proc::SettingsAudioHistogram&);
    for (auto const& [change, text] : std::initializer_list<std::pair<Change, char const*>>{
             {[](auto& s) { s.SetWidth(0); }, "Width can't be 0"},
             {[](auto& s) { s.SetHeight(8193); }, "Height can't be 8193"},
             {[](auto& s) { s.SetPicturesPerSecond(0); }, "PicturesPerSecond can't be 0"},
             {[](auto& s) { s.SetPicturesPerSecond(-1); }, "PicturesPerSecond can't be -1"},
             {[](auto& s) { s.SetScale(2); }, "Scale can't be 2"},
             {[](auto& s) { s.SetBarCount(std::numeric_limits<uint32>::max()); }, "BarCount can't be 4294967295"}}) {
        SpectrumFormOptions spectrum;
        change(spectrum.picture);
        EXPECT_EQ(MessageOf<GraphException>([&] { MakeSpectrumGraph(Film(), spectrum, {}); }), text);
    }
}

TEST(SpectrumForm, RefusesAStreamThatIsNotThere) {
    for (int const stream : {2, -1, std::numeric_limits<int>::max()}) {
        SpectrumFormOptions spectrum;
        spectrum.stream = stream;
        EXPECT_EQ(MessageOf<GraphException>([&] { MakeSpectrumGraph(Film(), spectrum, {}); }),
                  Film() + ": there is no audio stream number " + std::to_string(stream) + ", only 2, counted from 0");
    }
    EXPECT_EQ(MessageOf<Core::IOException>([&] { MakeSpectrumGraph("missing.wav", {}, {}); }),
              "missing.wav: there is no such file");
}

TEST(SpectrumPicture, RefusesTimesThatNoSoundHas) {
    SpectrumPictureRequest request;
    request.input = Film();
    request.dryRun = true;
    for (int64 const at : {int64{-1}, NO_VALUE, MAX_DURATION + 1}) {
        request.at = at;
        EXPECT_EQ(MessageOf<std::invalid_argument>([&] { WriteSpectrumPicture(request); }),
                  "there is no picture at " + std::to_string(at) + " microseconds");
    }
    request.at = 970000;
    EXPECT_EQ(WriteSpectrumPicture(request).beginUs, 960000);
    request.at = SECOND;
    EXPECT_EQ(MessageOf<Core::IOException>([&] { WriteSpectrumPicture(request); }),
              Film() + ": there is no sound at 00:01.000");
}

}  // namespace
}  // namespace Tarsel::Host
