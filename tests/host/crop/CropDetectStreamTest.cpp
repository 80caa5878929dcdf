#include "host/crop/CropDetectStream.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Reads two pictures and answers what it is told.
class ScriptedDetector final : public ICropDetector, public RefCounted {
  public:
    explicit ScriptedDetector(CropInfo answer) : answer(answer) {}

    void Initialize(Core::Property const&) override {}
    CropInfo Detect(iptr<IStreamVideo>& stream) override {
        ++runs;
        stream->RequestSeek(0, nullptr);
        stream->DoSeek();
        stream->FinishSeek();
        stream->Read();
        stream->Read();
        if (fails) TARSEL_THROW(FilterException, "no detection");
        return answer;
    }
    iptr<IDataVideo> GetBrightestFrame() const override { return nullptr; }
    Core::Property GetStatistic() const override { return {}; }

    CropInfo const answer;
    int runs = 0;
    bool fails = false;
};

class CropDetectStreamRun : public ::testing::Test {
  protected:
    iptr<ScriptedStream<IStreamVideo>> source =
        ScriptedStream<IStreamVideo>::Create({MakeVideo(0, 40000), MakeVideo(40000, 40000), MakeVideo(80000, 40000)});
    iptr<ScriptedDetector> detector = MakeShared<ScriptedDetector>(CropInfo(2, 14, 4, 12));
    iptr<CropDetectStream> stream = CropDetectStream::Create(source, detector);

    void Seek(int64 position) {
        stream->RequestSeek(position, nullptr);
        stream->DoSeek();
        stream->FinishSeek();
    }
    Core::Property Own() { return stream->GetStatistic().Children().back(); }
};

TEST_F(CropDetectStreamRun, FirstSeekDetectsAndThenGoesWhereItWasAskedTo) {
    Seek(40000);
    EXPECT_EQ(detector->runs, 1);
    EXPECT_EQ(stream->Read()->GetTime(), 40000);
    Seek(80000);
    EXPECT_EQ(detector->runs, 1) << "once is enough";
    EXPECT_EQ(stream->Read()->GetTime(), 80000);
    EXPECT_EQ(stream->Read(), nullptr);
}

TEST_F(CropDetectStreamRun, StatisticsTellTheRegionOnceItIsKnown) {
    EXPECT_EQ(Own(), Core::MakeStatistics("Tarsel::Host::CropDetectStream::GetStatistic", 0, 0));
    Seek(0);
    stream->Read();
    Core::Property const own = Own();
    EXPECT_EQ(own["Known"].GetString(), "true");
    EXPECT_EQ(own["Left"].GetInt64(), 2);
    EXPECT_EQ(own["Right"].GetInt64(), 14);
    EXPECT_EQ(own["Top"].GetInt64(), 4);
    EXPECT_EQ(own["Bottom"].GetInt64(), 12);
}

TEST_F(CropDetectStreamRun, NoAnswerIsToldApartFromTheWholeFrame) {
    auto const none = CropDetectStream::Create(source, MakeShared<ScriptedDetector>(CropInfo()));
    none->RequestSeek(0, nullptr);
    none->DoSeek();
    EXPECT_EQ(none->GetStatistic().Children().back()["Known"].GetString(), "false");
    EXPECT_EQ(none->GetStatistic().Children().back()["Right"].GetInt64(), 0);
}

TEST_F(CropDetectStreamRun, StreamThatIsNeverSoughtIsNotLookedAt) {
    EXPECT_EQ(stream->Read()->GetTime(), 0);
    EXPECT_EQ(detector->runs, 0);
}

TEST_F(CropDetectStreamRun, FailedDetectionIsTriedAgainAtTheNextSeek) {
    detector->fails = true;
    EXPECT_EQ(MessageOf<FilterException>([&] { Seek(40000); }), "no detection");
    detector->fails = false;
    Seek(80000);
    EXPECT_EQ(detector->runs, 2);
    EXPECT_EQ(stream->Read()->GetTime(), 80000);
}

TEST_F(CropDetectStreamRun, OfSeeksAheadOfTheFirstTheLastWinsAndItsContextGoesOnOnce) {
    stream->RequestSeek(0, MakeShared<ScriptedDetector>(CropInfo()));
    stream->RequestSeek(80000, MakeShared<ScriptedDetector>(CropInfo()));
    EXPECT_THAT(source->log.Take(), IsEmpty()) << "the detector's own seek would put them off";
    stream->DoSeek();
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "FinishSeek", "Read", "Read",
                                                "RequestSeek(80000, context)", "DoSeek"));
    EXPECT_EQ(stream->Read()->GetTime(), 80000);
    EXPECT_EQ(detector->runs, 1);
    source->log.Take();
    stream->RequestSeek(40000, nullptr);
    stream->DoSeek();
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(40000)", "DoSeek"));
}

TEST_F(CropDetectStreamRun, ContextOfASeekWhoseDetectionFailedIsNotThatOfTheNext) {
    detector->fails = true;
    stream->RequestSeek(40000, MakeShared<ScriptedDetector>(CropInfo()));
    EXPECT_EQ(MessageOf<FilterException>([&] { stream->DoSeek(); }), "no detection");
    detector->fails = false;
    source->log.Take();
    Seek(80000);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "FinishSeek", "Read", "Read",
                                                "RequestSeek(80000)", "DoSeek", "FinishSeek"));
}

TEST_F(CropDetectStreamRun, SeekThatNobodyAskedForLooksAtNothing) {
    stream->DoSeek();
    EXPECT_EQ(detector->runs, 0);
    EXPECT_THAT(source->log.Take(), ElementsAre("DoSeek"));
    EXPECT_EQ(Own(), Core::MakeStatistics("Tarsel::Host::CropDetectStream::GetStatistic", 0, 0));
}

TEST(CropDetectStream, BothPartsMustBeThere) {
    auto const source = ScriptedStream<IStreamVideo>::Create({});
    auto const detector = MakeShared<ScriptedDetector>(CropInfo());
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { CropDetectStream::Create(nullptr, detector); }), "source is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { CropDetectStream::Create(source, nullptr); }), "detector is NULL");
}

}  // namespace
}  // namespace Tarsel::Host
