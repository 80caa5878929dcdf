// Sources that fail at each place in turn, with each class of failure, under the read-ahead stage.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "contracts/Proc/FilterCacheData.h"
#include "tests/support/FailureClasses.h"
#include "tests/support/Matchers.h"
#include "tests/support/WatchedVideo.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

constexpr int FRAMES = 6;

template <class E>
class CacheDataFaults : public ::testing::Test {
  protected:
    CacheDataFaults() { FLAGS_minloglevel = google::GLOG_FATAL; }
    ~CacheDataFaults() override { FLAGS_minloglevel = google::GLOG_INFO; }

    void Make() {
        source = MakeShared<WatchedVideo>(FRAMES);
        stage = CreateFilterCacheData(source);
    }
    /// The next calls of a kind fail `times` times.
    std::function<void()> Failing(int times) {
        return [this, left = times]() mutable {
            if (left-- > 0) std::rethrow_exception(failure);
        };
    }
    void ExpectThatASeekWorks() {
        Seek(*stage, 160);
        EXPECT_FALSE(stage->IsEndOfStream());
        EXPECT_THAT(ReadAll(*stage), ElementsAre(IsVideo(160, 40), IsVideo(200, 40)));
    }

    std::exception_ptr const failure = MakeFailure<E>();
    std::string const described = Describe(failure);
    iptr<WatchedVideo> source;
    iptr<IStreamVideo> stage;
};
TYPED_TEST_SUITE(CacheDataFaults, FailureClasses);

TYPED_TEST(CacheDataFaults, FailureOfEachReadComesOnceBehindAllFramesAheadOfItThenNullUntilASeek) {
    // The last one is the read that would have given the end.
    for (int at = 0; at <= FRAMES; ++at) {
        SCOPED_TRACE("read " + std::to_string(at));
        this->Make();
        this->source->onRead = [this, at](int number) {
            if (number == at) std::rethrow_exception(this->failure);
        };
        Seek(*this->stage, 0);
        for (int i = 0; i < at; ++i) EXPECT_THAT(this->stage->Read(), IsVideo(i * 40, 40));
        EXPECT_EQ(FailureOf([&] { this->stage->Read(); }), this->described);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(this->stage->Read(), nullptr);
        EXPECT_TRUE(this->stage->IsEndOfStream());
        EXPECT_EQ(this->stage->GetPosition(), at == 0 ? NO_VALUE : at * 40);
        this->ExpectThatASeekWorks();
    }
}

TYPED_TEST(CacheDataFaults, PositionBehindASeekRethrowsAFailureOnce) {
    this->Make();
    this->source->onRead = [this](int number) {
        if (number == 0) std::rethrow_exception(this->failure);
    };
    Seek(*this->stage, 0);
    EXPECT_EQ(FailureOf([&] { this->stage->GetPosition(); }), this->described);
    EXPECT_EQ(this->stage->GetPosition(), NO_VALUE);
    EXPECT_EQ(this->stage->Read(), nullptr);
    this->ExpectThatASeekWorks();
}

TYPED_TEST(CacheDataFaults, FailureThatNobodyFetchesGoesWithTheStage) {
    for (int at = 0; at <= FRAMES; ++at) {
        this->Make();
        this->source->onRead = [this, at](int number) {
            if (number == at) std::rethrow_exception(this->failure);
        };
        for (int i = 0; i < at; ++i) this->stage->Read();
        if (at == 2) this->stage->ReleaseInternalData();
        this->stage = nullptr;
        EXPECT_EQ(this->source->GetRefCountImpl(), 1U);
    }
}

TYPED_TEST(CacheDataFaults, FailureBehindAReleaseIsForgottenByASeek) {
    this->Make();
    this->source->onRead = [this](int number) {
        if (number == 1) std::rethrow_exception(this->failure);
    };
    this->stage->Read();
    while (!this->stage->IsEndOfStream()) std::this_thread::yield();  // the thread has failed
    this->stage->ReleaseInternalData();
    this->ExpectThatASeekWorks();
}

TYPED_TEST(CacheDataFaults, FailureOfEachPhaseOfASeekPassesAndAFurtherSeekWorks) {
    this->Make();
    auto& stage = *this->stage;
    stage.Read();
    this->source->onRequestSeek = this->Failing(1);
    EXPECT_EQ(FailureOf([&] { stage.RequestSeek(80, nullptr); }), this->described);
    this->ExpectThatASeekWorks();
    this->source->onDoSeek = this->Failing(1);
    EXPECT_EQ(FailureOf([&] { Seek(stage, 80); }), this->described);
    this->ExpectThatASeekWorks();
    this->source->onFinishSeek = this->Failing(1);
    EXPECT_EQ(FailureOf([&] { Seek(stage, 80); }), this->described);
    this->ExpectThatASeekWorks();
}

TYPED_TEST(CacheDataFaults, FailuresOfOtherCallsPassAndLeaveNoLockBehind) {
    this->Make();
    auto& stage = *this->stage;
    this->source->onFormat = this->Failing(1);
    EXPECT_EQ(FailureOf([&] { stage.GetFormatCodec(); }), this->described);
    this->source->onRelease = this->Failing(1);
    stage.Read();
    EXPECT_EQ(FailureOf([&] { stage.ReleaseInternalData(); }), this->described);
    // Were a lock still held, the thread that this starts would never read.
    this->ExpectThatASeekWorks();
}

}  // namespace
}  // namespace Tarsel::Proc
