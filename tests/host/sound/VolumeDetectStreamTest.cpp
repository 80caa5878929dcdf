#include "host/sound/VolumeDetectStream.h"

#include <gmock/gmock.h>

#include "contracts/Core/Exception.h"
#include "tests/support/Builders.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using ::testing::SizeIs;

/// Reads two blocks and says what it was told to say.
class Detector final : public IFilterVolumeDetect, public RefCounted {
  public:
    int detections = 0;
    double level = 0.25;
    std::exception_ptr failure;

    void Detect(iptr<IStreamAudio> const& stream) override {
        ++detections;
        Seek(*stream, 0);
        stream->Read();
        stream->Read();
        if (failure) std::rethrow_exception(failure);
    }
    Core::Property GetStatistic() override { return Core::Property("Detector"); }
    double GetLevel() override { return level; }
    bool IsQuiet() override { return level < 0.3; }
};

struct Chain {
    iptr<ScriptedAudio> source =
        ScriptedAudio::Create({MakeAudio(0, 4800), MakeAudio(100000, 4800), MakeAudio(200000, 4800)});
    iptr<Detector> detector = MakeShared<Detector>();
    iptr<VolumeDetectStream> stream = VolumeDetectStream::Create(source, detector);

    Core::Property Own() const { return stream->GetStatistic().Children().back(); }
};

TEST(VolumeDetectStream, WantsASourceAndADetector) {
    EXPECT_THROW(VolumeDetectStream::Create(nullptr, MakeShared<Detector>()), std::invalid_argument);
    EXPECT_THROW(VolumeDetectStream::Create(Chain().source, nullptr), std::invalid_argument);
}

TEST(VolumeDetectStream, TheFirstSeekDetectsAndThenGoesWhereItWasAskedTo) {
    Chain chain;
    auto const context = iptr<IRefCountable>(MakeShared<Detector>());
    chain.stream->RequestSeek(100000, context);
    EXPECT_EQ(chain.detector->detections, 0);
    chain.stream->DoSeek();
    EXPECT_EQ(chain.detector->detections, 1);
    EXPECT_EQ(chain.stream->Read()->GetTime(), 100000);
    EXPECT_THAT(chain.source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "FinishSeek", "Read", "Read",
                                                      "RequestSeek(100000, context)", "DoSeek", "Read"));
}

TEST(VolumeDetectStream, LaterSeeksDontDetectAgain) {
    Chain chain;
    Seek(*chain.stream, 0);
    Seek(*chain.stream, 200000);
    EXPECT_EQ(chain.detector->detections, 1);
    EXPECT_EQ(chain.stream->Read()->GetTime(), 200000);
}

TEST(VolumeDetectStream, StatisticsTellTheLevelOnceItIsKnown) {
    Chain chain;
    EXPECT_FALSE(chain.Own().ChildExists("Level"));
    Seek(*chain.stream, 0);
    EXPECT_EQ(chain.Own()["Level"].GetDouble(), 0.25);
    EXPECT_EQ(chain.Own()["Quiet"].GetString(), "true");
    chain = Chain();
    chain.detector->level = 0.5;
    Seek(*chain.stream, 0);
    EXPECT_EQ(chain.Own()["Quiet"].GetString(), "false");
}

TEST(VolumeDetectStream, BlocksPassAsTheSameObjects) {
    Chain chain;
    auto const blocks = ReadAll(*chain.stream);
    ASSERT_THAT(blocks, SizeIs(3));
    EXPECT_EQ(chain.source->delivered.back(), blocks.back().get());
    // Nobody has sought: nobody has looked.
    EXPECT_EQ(chain.detector->detections, 0);
}

TEST(VolumeDetectStream, AFailureOfTheDetectorPassesAndTheNextSeekTriesAgain) {
    Chain chain;
    chain.detector->failure = std::make_exception_ptr(std::runtime_error("broken"));
    EXPECT_THROW(Seek(*chain.stream, 0), std::runtime_error);
    EXPECT_FALSE(chain.Own().ChildExists("Level"));
    chain.detector->failure = nullptr;
    Seek(*chain.stream, 0);
    EXPECT_EQ(chain.detector->detections, 2);
    EXPECT_TRUE(chain.Own().ChildExists("Level"));
}

}  // namespace
}  // namespace Tarsel::Host
