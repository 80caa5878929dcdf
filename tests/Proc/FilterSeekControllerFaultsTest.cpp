// Linked streams whose sources fail at each step of a seek, with each class of failure.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "Proc/Filters/Filters/FilterSeekController.h"
#include "contracts/Proc/IFilterSeekController.h"
#include "tests/support/FailureClasses.h"
#include "tests/support/Matchers.h"
#include "tests/support/WatchedVideo.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Three streams that stand at 400 behind a seek; each in turn gets a source that fails.
template <class E>
class SeekControllerFaults : public ::testing::Test {
  protected:
    SeekControllerFaults() {
        for (int i = 0; i < 3; ++i) {
            sources.push_back(MakeShared<WatchedVideo>(20));
            wrappers.push_back(controller->AddStream(iptr<IStreamVideo>(sources.back())));
        }
    }
    void Start() {
        controller->Seek(400);
        Forget();
    }
    void Forget() {
        for (auto const& source : sources) source->log.Take();
    }
    auto Fail() {
        return [this] { std::rethrow_exception(failure); };
    }
    /// Every wrapper still refuses to be sought, and a seek through the controller moves all of them.
    void ExpectThatASeekWorks(int64 position) {
        for (auto const& wrapper : wrappers)
            EXPECT_EQ(MessageOf<FilterException>([&] { wrapper->RequestSeek(0, nullptr); }),
                      "Seek is disabled for this stream. You have to use FilterSeekController.");
        Forget();
        controller->Seek(position);
        for (auto const& source : sources)
            EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(" + std::to_string(position) + ")", "DoSeek"));
        for (auto const& wrapper : wrappers) EXPECT_THAT(wrapper->Read(), IsVideo(position, 40));
    }

    std::exception_ptr const failure = MakeFailure<E>();
    std::string const described = Describe(failure);
    std::vector<iptr<WatchedVideo>> sources;
    iptr<IFilterSeekController> const controller = FilterSeekController::Create();
    std::vector<iptr<IStreamVideo>> wrappers;
};
TYPED_TEST_SUITE(SeekControllerFaults, FailureClasses);

TYPED_TEST(SeekControllerFaults, FailureOfARequestStopsTheSeekAheadOfTheStreamsBehindAndOfAllMoves) {
    for (std::size_t at = 0; at < 3; ++at) {
        SCOPED_TRACE("stream " + std::to_string(at));
        this->Start();
        this->sources[at]->onRequestSeek = this->Fail();
        EXPECT_EQ(FailureOf([&] { this->controller->Seek(80); }), this->described);
        this->sources[at]->onRequestSeek = nullptr;
        for (std::size_t i = 0; i < 3; ++i) {
            auto const calls = this->sources[i]->log.Take();
            if (i <= at)
                EXPECT_THAT(calls, ElementsAre("RequestSeek(80)"));
            else
                EXPECT_THAT(calls, IsEmpty());
        }
        // In full, although it is where the last seek was to go.
        this->ExpectThatASeekWorks(80);
    }
}

TYPED_TEST(SeekControllerFaults, FailureOfAMoveStopsTheSeekAheadOfTheStreamsBehind) {
    for (std::size_t at = 0; at < 3; ++at) {
        SCOPED_TRACE("stream " + std::to_string(at));
        this->Start();
        this->sources[at]->onDoSeek = this->Fail();
        EXPECT_EQ(FailureOf([&] { this->controller->Seek(80); }), this->described);
        this->sources[at]->onDoSeek = nullptr;
        for (std::size_t i = 0; i < 3; ++i) {
            auto const calls = this->sources[i]->log.Take();
            if (i <= at)
                EXPECT_THAT(calls, ElementsAre("RequestSeek(80)", "DoSeek"));
            else
                EXPECT_THAT(calls, ElementsAre("RequestSeek(80)"));
        }
        this->ExpectThatASeekWorks(80);
    }
}

TYPED_TEST(SeekControllerFaults, LastPositionIsStillTheOneOfTheLastSeekThatWasCarriedOut) {
    for (bool const second : {false, true}) {
        this->Start();
        auto& hook = second ? this->sources[2]->onDoSeek : this->sources[2]->onRequestSeek;
        hook = this->Fail();
        EXPECT_EQ(FailureOf([&] { this->controller->Seek(80); }), this->described);
        hook = nullptr;
        // A stream is brought back to the last position behind the controller's back: that is enough for a repeat.
        Seek(*this->sources[0], 400);
        this->Forget();
        this->controller->Seek(400);
        EXPECT_THAT(this->sources[0]->log.Take(), ElementsAre("Read"));
        EXPECT_THAT(this->sources[1]->log.Take(), IsEmpty());
        EXPECT_THAT(this->sources[2]->log.Take(), IsEmpty());
        EXPECT_THAT(this->wrappers[0]->Read(), IsVideo(400, 40));
        this->ExpectThatASeekWorks(80);
    }
}

TYPED_TEST(SeekControllerFaults, FailureInsideAResetLeavesTheWrapperRefusingDirectSeeks) {
    this->Start();
    // The reset asks for the length.
    this->sources[1]->onDuration = this->Fail();
    EXPECT_EQ(FailureOf([&] { this->controller->Seek(80); }), this->described);
    EXPECT_EQ(FailureOf([&] { this->wrappers[1]->RequestSeek(0, nullptr); }), this->described);
    this->sources[1]->onDuration = nullptr;
    EXPECT_THAT(this->sources[0]->log.Take(), ElementsAre("RequestSeek(80)"));
    EXPECT_THAT(this->sources[1]->log.Take(), IsEmpty());
    this->ExpectThatASeekWorks(80);
}

TYPED_TEST(SeekControllerFaults, FailureOfTheReadThatARepeatedSeekMakesComesOutOfTheSeek) {
    for (std::size_t at = 0; at < 3; ++at) {
        SCOPED_TRACE("stream " + std::to_string(at));
        this->controller->Seek(0);
        this->controller->Seek(400);
        // The wrappers ahead of it have been read on.
        for (std::size_t i = 0; i < at; ++i) this->wrappers[i]->Read();
        this->Forget();
        this->sources[at]->onRead = [this](int) { std::rethrow_exception(this->failure); };
        EXPECT_EQ(FailureOf([&] { this->controller->Seek(400); }), this->described);
        this->sources[at]->onRead = nullptr;
        for (auto const& source : this->sources)
            EXPECT_THAT(source->log.Take(), IsEmpty());  // the failing read isn't counted by the script
        this->ExpectThatASeekWorks(80);
    }
}

TYPED_TEST(SeekControllerFaults, FailureOfAReturnBehindAReleaseComesOutOfTheReadAndTheNextReadReturns) {
    for (bool const second : {false, true}) {
        this->Start();
        EXPECT_THAT(this->wrappers[1]->Read(), IsVideo(400, 40));
        this->wrappers[1]->ReleaseInternalData();
        this->controller->Seek(400);
        auto& hook = second ? this->sources[1]->onDoSeek : this->sources[1]->onRequestSeek;
        hook = this->Fail();
        EXPECT_EQ(FailureOf([&] { this->wrappers[1]->Read(); }), this->described);
        hook = nullptr;
        EXPECT_THAT(this->wrappers[1]->Read(), IsVideo(400, 40));
        this->ExpectThatASeekWorks(80);
    }
}

TYPED_TEST(SeekControllerFaults, FailureOfEachReadOfAWrapperComesOutOfItAndASeekWorks) {
    for (int at = 0; at < 4; ++at) {
        SCOPED_TRACE("read " + std::to_string(at));
        this->Start();
        auto& source = *this->sources[1];
        source.onRead = [this, from = source.reads.load(), at](int number) {
            if (number == from + at) std::rethrow_exception(this->failure);
        };
        for (int i = 0; i < at; ++i) EXPECT_THAT(this->wrappers[1]->Read(), IsVideo(400 + i * 40, 40));
        EXPECT_EQ(FailureOf([&] { this->wrappers[1]->Read(); }), this->described);
        source.onRead = nullptr;
        this->ExpectThatASeekWorks(80);
    }
}

}  // namespace
}  // namespace Tarsel::Proc
