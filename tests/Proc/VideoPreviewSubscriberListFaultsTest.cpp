// Subscribers that fail, at each of their calls in turn, with each class of failure.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "contracts/Core/Exception.h"
#include "tests/Proc/PreviewSupport.h"
#include "tests/support/LogLines.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct Failure {
    std::string name;
    std::function<void()> raise;
};

template <class E>
Failure Of(std::string const& name) {
    return {name, [] { TARSEL_THROW(E, "preview is broken"); }};
}

std::vector<Failure> Failures() {
    return {
        Of<Exception>("Tarsel::Exception"),
        Of<ProcException>("ProcException"),
        Of<FilterException>("FilterException"),
        Of<AlgorithmException>("AlgorithmException"),
        Of<EffectException>("EffectException"),
        Of<EncoderException>("EncoderException"),
        Of<CodecFactoryException>("CodecFactoryException"),
        Of<Core::CoreException>("CoreException"),
        Of<Core::IOException>("IOException"),
        Of<Core::ComputingResourceException>("ComputingResourceException"),
        Of<Core::NotEnoughResource>("NotEnoughResource"),
        Of<std::logic_error>("logic_error"),
        Of<std::invalid_argument>("invalid_argument"),
        {"bad_alloc", [] { throw std::bad_alloc(); }},
        {"", [] { throw 6; }},
    };
}

class PreviewFaults : public ::testing::Test {
  protected:
    LogLines const lines{0};
    std::shared_ptr<Core::ThreadPool> const pool = std::make_shared<Core::ThreadPool>(1);
    iptr<VideoPreviewSubscriberList> const list = MakeList(pool);
};

TEST_F(PreviewFaults, FailureAtAnyCallIsLoggedAndTheOthersGetEveryFrame) {
    constexpr int FRAMES = 4;
    for (Failure const& failure : Failures()) {
        for (int failing = 0; failing < FRAMES; ++failing) {
            SCOPED_TRACE(failure.name + " at call " + std::to_string(failing));
            std::vector<int64> first, broken, last;
            auto const before = lines.Get(google::GLOG_ERROR).size();
            std::vector<iptr<Viewer>> const viewers{MakeViewer(first), MakeShared<Viewer>([&](auto const& frame) {
                                                        broken.push_back(frame->GetTime());
                                                        if (broken.size() == static_cast<std::size_t>(failing) + 1)
                                                            failure.raise();
                                                    }),
                                                    MakeViewer(last)};
            for (auto const& viewer : viewers) list->Subscribe(viewer);
            for (int64 time = 0; time < FRAMES; ++time) {
                list->OnVideoFrame(MakeVideo(time, 1));
                Drain(*pool);
            }
            for (auto const& viewer : viewers) list->Unsubscribe(viewer);
            // The one that failed stays subscribed: the next frame may well succeed.
            for (auto const& times : {first, broken, last}) EXPECT_THAT(times, ElementsAre(0, 1, 2, 3));
            auto const errors = lines.Get(google::GLOG_ERROR);
            ASSERT_EQ(errors.size(), before + 1);
            EXPECT_THAT(errors.back(), HasSubstr("Preview subscriber has failed: "));
            EXPECT_THAT(errors.back(), HasSubstr(failure.name));
        }
    }
}

TEST_F(PreviewFaults, ProducerSeesNothingOfASubscriberThatAlwaysFails) {
    list->Subscribe(MakeShared<Viewer>([](auto const&) { TARSEL_THROW(FilterException, "always"); }));
    for (int64 time = 0; time < 20; ++time) EXPECT_NO_THROW(list->OnVideoFrame(MakeVideo(time, 1)));
    Drain(*pool);
    EXPECT_EQ(lines.Get(google::GLOG_ERROR).size(), 20U);
}

TEST_F(PreviewFaults, SubscriberThatFailsInsideItsOwnPublicationLeavesTheListInOrder) {
    int calls = 0;
    std::vector<int64> times;
    list->Subscribe(MakeShared<Viewer>([&](auto const&) {
        if (++calls > 1) return;
        list->OnVideoFrame(MakeVideo(2, 1));
        TARSEL_THROW(std::logic_error, "behind its publication");
    }));
    list->Subscribe(MakeViewer(times));
    list->OnVideoFrame(MakeVideo(1, 1));
    Drain(*pool);
    Drain(*pool);
    EXPECT_THAT(times, ElementsAre(1, 2));
    EXPECT_EQ(calls, 2);
}

}  // namespace
}  // namespace Tarsel::Proc
