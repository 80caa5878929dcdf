#include <gtest/gtest.h>

#include <boost/thread/thread_only.hpp>
#include <deque>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Thread.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "contracts/Proc/SettingsResizer.h"
#include "host/gpu/GpuThread.h"
#include "tests/host/gpu/TwoSides.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Gate.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using TestSupport::MessageOf;

TEST(GpuThreadWork, IsDoneInTheOrderInWhichItWasGiven) {
    std::vector<int> order;
    GpuThread thread;
    for (int i = 0; i < 100; ++i) thread.Post([&order, i] { order.push_back(i); });
    thread.Run([&order] { order.push_back(100); });
    ASSERT_EQ(order.size(), 101U);
    for (int i = 0; i < 101; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(GpuThreadWork, IsDoneOnOneThreadThatIsNotTheCallers) {
    GpuThread thread;
    boost::thread::id first;
    boost::thread::id second;
    thread.Run([&] { first = boost::this_thread::get_id(); });
    Core::Thread([&] { thread.Run([&] { second = boost::this_thread::get_id(); }); }).Join();
    EXPECT_EQ(first, second);
    EXPECT_NE(first, boost::this_thread::get_id());
}

TEST(GpuThreadWork, ThatThrowsFailsItsCallerAlone) {
    GpuThread thread;
    EXPECT_EQ(MessageOf<std::runtime_error>([&] { thread.Run([] { TARSEL_THROW(std::runtime_error, "broken"); }); }),
              "broken");
    bool done = false;
    thread.Run([&] { done = true; });
    EXPECT_TRUE(done);
}

TEST(GpuThreadWork, ThatWaitsIsDoneBeforeTheLastOfAStop) {
    std::vector<int> order;
    Gate gate(false);
    gate.Close();
    GpuThread thread;
    thread.Post([&] {
        gate.Pass();
        order.push_back(1);
    });
    thread.Post([&] { order.push_back(2); });
    gate.Open();
    thread.Stop([&] { order.push_back(3); });
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
    thread.Stop([&] { order.push_back(4); });
    thread.Post([&] { order.push_back(5); });
    EXPECT_EQ(MessageOf<EffectException>([&] { thread.Run([&] { order.push_back(6); }); }),
              "The GPU device has been closed");
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(GpuThreadWork, EndsBeforeAnInterruptionOfItsCallerIsFelt) {
    GpuThread thread;
    Gate gate(false);
    gate.Close();
    bool done = false;
    bool interrupted = false;
    Core::Thread caller([&] {
        try {
            thread.Run([&] {
                gate.Pass();
                done = true;
            });
            EXPECT_TRUE(done);
            Core::InterruptionPoint();
        } catch (boost::thread_interrupted const&) {
            interrupted = true;
        }
    });
    gate.AwaitArrivals(1);
    caller.Interrupt();
    gate.Open();
    caller.Join();
    EXPECT_TRUE(done);
    EXPECT_TRUE(interrupted);
}

class GpuThreads : public GpuTest {
  protected:
    static constexpr int FRAMES = 25;

    /// What a chain of two effects makes of picture number `i`; `seed` tells the callers apart.
    static iptr<IDataVideo> Chain(char const* side, int i, unsigned seed, iptr<IDataVideo> picture) {
        SettingsResizer resize;
        resize.SetCustomMode(SettingsResizer::MODE_STRETCH, {20 + i, 30, 1, 1});
        SettingsEffectFade fade;
        fade.SetColor(static_cast<int>(seed) * 100);
        auto const fading = MakeSide(fade, side);
        TimeToProgress map;
        map.end = 3;
        fading->SetTimeToProgress(map);
        picture->SetTime(1);
        picture = AsPicture(MakeSide(resize, side)->ProcessData({picture}));
        return AsPicture(fading->ProcessData({picture}));
    }
    static iptr<IDataVideo> Picture(int i, unsigned seed) {
        return Noise(24, 18, seed * 1000 + static_cast<unsigned>(i));
    }
    static void ExpectChain(IDataVideo const& found, int i, unsigned seed) {
        EXPECT_LE(LargestDifference(found, *Chain(ImplNames::TARSEL, i, seed, Picture(i, seed))), 2) << i;
    }
};

TEST_F(GpuThreads, TwoChainsAtOnceGiveWhatEachGivesAlone) {
    auto const run = [](unsigned seed) {
        for (int i = 0; i < FRAMES; ++i)
            ExpectChain(*Download(Chain(ImplNames::OGL, i, seed, Upload(Picture(i, seed)))), i, seed);
    };
    Core::Thread first([&] { run(1); });
    Core::Thread second([&] { run(2); });
    first.Join();
    second.Join();
}

/// Frames on their way from one thread to another.
class Handover {
  public:
    void Give(iptr<IDataVideo> frame) {
        Core::MutexLock const lock(mutex);
        frames.push_back(std::move(frame));
        changed.NotifyAll();
    }
    /// Waits for the next one.
    iptr<IDataVideo> Take() {
        Core::MutexLock lock(mutex);
        while (frames.empty()) changed.Wait(lock);
        iptr<IDataVideo> frame = std::move(frames.front());
        frames.pop_front();
        return frame;
    }

  private:
    Core::Mutex mutex;
    Core::ConditionVariable changed;
    std::deque<iptr<IDataVideo>> frames TARSEL_GUARDED_BY(mutex);
};

TEST_F(GpuThreads, FramesAreMadeUsedAndDroppedOnThreeThreads) {
    Handover uploaded;
    Handover processed;
    int64 const held = device->GetCounters().texturesHeld;
    Core::Thread first([&] {
        for (int i = 0; i < FRAMES; ++i) uploaded.Give(Upload(Picture(i, 3)));
    });
    Core::Thread second([&] {
        for (int i = 0; i < FRAMES; ++i) {
            iptr<IDataVideo> frame = uploaded.Take();
            // One of the two is dropped here while the other is at work elsewhere.
            processed.Give(frame->Clone(false));
        }
    });
    for (int i = 0; i < FRAMES; ++i) ExpectChain(*Download(Chain(ImplNames::OGL, i, 3, processed.Take())), i, 3);
    first.Join();
    second.Join();
    EXPECT_EQ(device->GetCounters().texturesHeld, held);
}

TEST_F(GpuThreads, TheLastFrameMayGoOnAnyThread) {
    device = nullptr;
    KeptDevice() = nullptr;
    for (int i = 0; i < 3; ++i) {
        iptr<IDataVideo> frame;
        Core::Thread([&] { frame = Upload(Picture(i, 4)); }).Join();
        std::weak_ptr<GpuDevice> const watched = static_cast<DataVideoOGL&>(*frame).GetDevice().shared_from_this();
        Core::Thread([&] { frame = nullptr; }).Join();
        EXPECT_TRUE(watched.expired());
    }
}

TEST_F(GpuThreads, ADeviceThatGoesWhileAnotherOneComesDisturbsNoFrame) {
    device = nullptr;
    KeptDevice() = nullptr;
    auto const run = [](unsigned seed) {
        for (int i = 0; i < 5; ++i) {
            auto const picture = Picture(i, seed);
            EXPECT_EQ(BytesOf(*Download(Upload(picture))), BytesOf(*picture));
        }
    };
    Core::Thread first([&] { run(5); });
    Core::Thread second([&] { run(6); });
    first.Join();
    second.Join();
}

}  // namespace
}  // namespace Tarsel::Host
