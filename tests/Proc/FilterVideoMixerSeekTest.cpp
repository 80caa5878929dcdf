// What seeks, ends and releases of the video mixer do to its streams.
#include "Proc/Filters/Filters/FilterVideoMixer.h"

#include <limits>

#include "tests/Proc/VideoMixerSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A stream that tells a log of several what it is asked to do.
class NamedStream final : public ScriptedFilter<IStreamVideo> {
  public:
    NamedStream(std::string name, std::shared_ptr<CallLog> calls, iptr<IStreamVideo> const& source)
        : ScriptedFilter(source), name(std::move(name)), calls(std::move(calls)) {}

  protected:
    iptr<IDataVideo> ReadInternal() override {
        calls->Add(name + " Read");
        return ScriptedFilter::ReadInternal();
    }
    void RequestSeekInternal(int64 position, iptr<IRefCountable> const& context) override {
        calls->Add(name + " RequestSeek(" + std::to_string(position) + ")");
        ScriptedFilter::RequestSeekInternal(position, context);
    }
    void DoSeekInternal() override {
        calls->Add(name + " DoSeek");
        ScriptedFilter::DoSeekInternal();
    }

  private:
    std::string const name;
    std::shared_ptr<CallLog> const calls;
};

TEST_F(VideoMixerTest, SeekGoesToTheMainStreamThenToTheOthersInOrder) {
    auto const plain = ScriptedVideo::Create(MakeVideos(5, 40000));
    auto const looping = ScriptedVideo::Create(MakeVideos(2, 30000));
    looping->duration = 60000;
    mixer->AddStream(plain, 0, 0, 0, Always(255), false);
    mixer->AddStream(looping, 0, 0, 0, Always(254), true);
    plain->log.Take();
    looping->log.Take();
    mixer->RequestSeek(160000, main);
    EXPECT_THAT(main->log.Take(), ElementsAre("RequestSeek(160000, context)"));
    EXPECT_THAT(plain->log.Take(), ElementsAre("RequestSeek(160000, context)"));
    EXPECT_THAT(looping->log.Take(), ElementsAre("RequestSeek(40000, context)"));
    mixer->DoSeek();
    EXPECT_THAT(main->log.Take(), ElementsAre("DoSeek"));
    EXPECT_THAT(plain->log.Take(), ElementsAre("DoSeek", "Read"));
    EXPECT_THAT(looping->log.Take(), ElementsAre("DoSeek", "Read"));
    EXPECT_TRUE(mixer->FinishSeek());
    EXPECT_THAT(Drawn(),
                ElementsAre("Tarsel: 160000 at 0,0 with 255 on 160000", "Tarsel: 30000 at 0,0 with 254 on 160000"));
}

TEST_F(VideoMixerTest, PhasesOfASeekGoThroughTheMainStreamAheadOfTheDrawnOnes) {
    auto const calls = std::make_shared<CallLog>();
    auto const named = [&](char const* name) {
        return iptr<IStreamVideo>(new NamedStream(name, calls, ScriptedVideo::Create(MakeVideos(3, 40000))));
    };
    mixer = MakeShared<FilterVideoMixer>(named("main"), factory);
    mixer->AddStream(named("first"), 0, 0, 0, Always(255), false);
    mixer->AddStream(named("second"), 0, 0, 0, Always(255), false);
    calls->Take();
    mixer->RequestSeek(40000, nullptr);
    EXPECT_THAT(calls->Take(),
                ElementsAre("main RequestSeek(40000)", "first RequestSeek(40000)", "second RequestSeek(40000)"));
    mixer->DoSeek();
    EXPECT_THAT(calls->Take(),
                ElementsAre("main DoSeek", "first DoSeek", "first Read", "second DoSeek", "second Read"));
}

TEST_F(VideoMixerTest, StartTimeIsNotTakenOffASeekSoAStreamThatStartsLaterIsAbsentForThatLongBehindIt) {
    Over(ScriptedVideo::Create(MakeVideos(10, 40000)));
    auto const drawn = ScriptedVideo::Create(MakeVideos(10, 40000));
    mixer->AddStream(drawn, 0, 0, 80000, Always(255), false);
    auto const times = [&] {
        std::vector<int64> present;
        while (auto const frame = mixer->Read())
            if (!factory->log->Take().empty()) present.push_back(frame->GetTime());
        return present;
    };
    EXPECT_THAT(times(), ElementsAre(80000, 120000, 160000, 200000, 240000, 280000, 320000, 360000));
    drawn->log.Take();
    Seek(*mixer, 200000);
    EXPECT_THAT(drawn->log.Take(), ElementsAre("RequestSeek(200000)", "DoSeek", "Read"));
    EXPECT_THAT(times(), ElementsAre(280000, 320000, 360000)) << "absent for 80 ms";
}

TEST_F(VideoMixerTest, SeekOfALoopCountsItsPassesAlsoBelowZeroAndBeyondAllCounts) {
    auto const drawn = ScriptedVideo::Create(MakeVideos(2, 5));
    drawn->duration = 10;
    mixer->AddStream(drawn, 0, 0, 0, Always(255), true);
    int64 const latest = std::numeric_limits<int64>::max();
    for (auto const& [target, asked] : std::vector<std::pair<int64, std::string>>{
             {-15, "-5"}, {0, "0"}, {25, "5"}, {latest, "7"}, {NO_VALUE + 1, "-7"}}) {
        drawn->log.Take();
        mixer->RequestSeek(target, nullptr);
        EXPECT_THAT(drawn->log.Take(), ElementsAre("RequestSeek(" + asked + ")"));
        mixer->DoSeek();
        mixer->Read();
    }
    mixer->RequestSeek(NO_VALUE, nullptr);
    EXPECT_THAT(drawn->log.Take().back(), "RequestSeek(" + std::to_string(NO_VALUE) + ")");
}

TEST_F(VideoMixerTest, LoopOfNoLengthIsSoughtAndReadAsOneThatDoesNotLoop) {
    for (int64 const duration : {NO_VALUE, int64{0}, int64{-40000}}) {
        Over(ScriptedVideo::Create(MakeVideos(5, 40000)));
        auto const drawn = ScriptedVideo::Create(MakeVideos(2, 40000));
        drawn->duration = duration;
        mixer->AddStream(drawn, 0, 0, 0, Always(255), true);
        for (std::size_t const count : {1U, 1U, 0U, 0U}) EXPECT_EQ(Drawn().size(), count);
        drawn->log.Take();
        mixer->RequestSeek(90000, nullptr);
        EXPECT_THAT(drawn->log.Take(), ElementsAre("RequestSeek(90000)"));
    }
}

TEST_F(VideoMixerTest, EndOfStreamIsToldToAllStreams) {
    auto const first = ScriptedVideo::Create(MakeVideos(2, 40000)), second = ScriptedVideo::Create({MakeVideo(0, 1)});
    mixer->AddStream(first, 0, 0, 0, Always(255), false);
    mixer->AddStream(second, 0, 0, 0, Always(255), false);
    mixer->SetEndOfStream();
    EXPECT_TRUE(mixer->IsEndOfStream());
    EXPECT_TRUE(main->IsEndOfStream() && first->IsEndOfStream() && second->IsEndOfStream());
    EXPECT_EQ(mixer->Read(), nullptr);
    Seek(*mixer, 0);
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 0,0 with 255 on 0"));
}

/// One picture of 40 ms, told to be as long, behind a filter that the test puts its hooks into.
class EndOfALoop : public VideoMixerTest {
  protected:
    EndOfALoop() {
        source->duration = 40000;
        drawn->onRead = [this] { return source->Read(); };
        mixer->AddStream(drawn, 0, 0, 0, Always(255), true);
        EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 0,0 with 255 on 0"));
        source->log.Take();
        drawn->log->Take();
    }

    iptr<ScriptedVideo> const source = ScriptedVideo::Create(MakeVideos(1, 40000));
    iptr<ScriptedFilter<IStreamVideo>> const drawn{new ScriptedFilter<IStreamVideo>(source)};
};

TEST_F(EndOfALoop, EndOfStreamAmidAReadIsNotUndoneByALoop) {
    drawn->onRead = [this] {
        mixer->SetEndOfStream();
        return nullptr;
    };
    EXPECT_THAT(Drawn(), IsEmpty());
    EXPECT_THAT(drawn->log->Take(), ElementsAre("ReadInternal")) << "no seek back";
    EXPECT_TRUE(drawn->IsEndOfStream());
    EXPECT_TRUE(source->IsEndOfStream());
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST_F(EndOfALoop, EndOfStreamAmidTheSeekOfALoopStands) {
    drawn->onRequestSeek = [this](int64) { mixer->SetEndOfStream(); };
    EXPECT_THAT(Drawn(), IsEmpty());
    EXPECT_THAT(drawn->log->Take(), ElementsAre("ReadInternal", "RequestSeekInternal(0)", "DoSeekInternal"))
        << "nothing is read any more";
    EXPECT_TRUE(drawn->IsEndOfStream());
    EXPECT_TRUE(source->IsEndOfStream()) << "whose seek came behind the end, and took it back";
}

TEST_F(EndOfALoop, EndOfTheDrawnStreamAloneIsNoReasonToStop) {
    // One that reads ahead in the background says so itself at each end of a pass.
    drawn->onRead = [this] {
        auto frame = source->Read();
        if (!frame) drawn->SetEndOfStream();
        return frame;
    };
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 0,0 with 255 on 40000"));
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 0,0 with 255 on 80000"));
}

TEST_F(EndOfALoop, SeekBehindAnEndMakesItGoOn) {
    mixer->SetEndOfStream();
    Seek(*mixer, 40000);
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 0,0 with 255 on 40000"));
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 0,0 with 255 on 80000"));
}

TEST_F(VideoMixerTest, ReleaseGoesToAllStreamsAndReadingGoesOnBehindASeekOrWithoutOne) {
    auto const drawn = ScriptedVideo::Create(MakeVideos(5, 40000));
    mixer->AddStream(drawn, 0, 0, 0, Always(255), false);
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 0,0 with 255 on 0"));
    drawn->log.Take();
    main->log.Take();
    mixer->ReleaseInternalData();
    EXPECT_THAT(main->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_THAT(drawn->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 40000 at 0,0 with 255 on 40000"));
    mixer->ReleaseInternalData();
    Seek(*mixer, 120000);
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 120000 at 0,0 with 255 on 120000"));
}

TEST_F(VideoMixerTest, PositionBehindASeekIsThatOfTheNextFrameWhichIsDrawnOnOnce) {
    mixer->AddWatermark(MakeVideo(1, 1), 0, 0, 0, Always(255));
    Seek(*mixer, 90000);
    EXPECT_EQ(mixer->GetPosition(), 80000);
    EXPECT_THAT(mixer->Read(), IsVideo(80000, 40000));
    EXPECT_THAT(factory->log->Take(), ElementsAre("Tarsel: 1 at 0,0 with 255 on 80000"));
}

}  // namespace
}  // namespace Tarsel::Proc
