#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks/cache/Parts.h"
#include "contracts/Core/TimerSimple.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/IVideoPreviewSubscriber.h"

namespace Tarsel::Bench {

namespace {

using Publisher = Core::EventPublisher<Proc::IVideoPreviewSubscriber>;

/// What a slow subscriber takes for a frame.
constexpr std::chrono::milliseconds SLOW{5};
constexpr int64 RUN = SECOND;

class Viewer final : public Proc::IVideoPreviewSubscriber, public RefCounted {
  public:
    explicit Viewer(bool slow) : slow(slow) {}
    void OnVideoFrame(iptr<Proc::IDataVideo> const&) override {
        ++calls;
        if (slow) std::this_thread::sleep_for(SLOW);
    }

    bool const slow;
    std::atomic<int64> calls{0};
};

struct Figures {
    int64 frames = 0;
    int64 worst = 0;  // microseconds in one publication
    int64 deliveries = 0;
    int64 span = 0;
};

/// Publishes for a second, one frame in each `pause` microseconds, or without a pause.
Figures Measure(int viewers, bool oneSlow, int64 pause) {
    std::vector<iptr<Proc::IDataVideo>> frames;
    for (int i = 0; i < 64; ++i)
        frames.push_back(Proc::DataVideoFF::Create(PIX_FMT_YUV420P, {1280, 720, 1, 1}, nullptr));
    auto const list = Proc::CreateVideoPreviewSubscriberList();
    auto const publisher = boost::dynamic_pointer_cast<Publisher>(list);
    std::vector<iptr<Viewer>> subscribed;
    for (int i = 0; i < viewers; ++i) {
        subscribed.push_back(MakeShared<Viewer>(oneSlow && i == 0));
        publisher->Subscribe(subscribed.back());
    }
    Figures figures;
    Core::TimerSimple const run;
    while ((figures.span = run.GetElapsed()) < RUN) {
        Core::TimerSimple const wait;
        list->OnVideoFrame(frames[static_cast<std::size_t>(figures.frames) % frames.size()]);
        figures.worst = std::max(figures.worst, wait.GetElapsed());
        ++figures.frames;
        if (pause != 0) std::this_thread::sleep_for(std::chrono::microseconds(pause));
    }
    // What still waits isn't the next measurement's.
    for (auto const& viewer : subscribed) publisher->Unsubscribe(viewer);
    while (list->GetRefCountImpl() > 2) std::this_thread::yield();
    if (!subscribed.empty()) figures.deliveries = subscribed.back()->calls;
    return figures;
}

void AddRows(Rows& rows, std::string const& name, int viewers, bool oneSlow) {
    Figures const flood = Measure(viewers, oneSlow, 0);
    double const rate = 1e6 * static_cast<double>(flood.frames) / static_cast<double>(flood.span);
    double const delivered = 1e6 * static_cast<double>(flood.deliveries) / static_cast<double>(flood.span);
    rows.push_back({"preview, " + name + ": published without a pause", rate, "frames/s", {}});
    rows.push_back({"preview, " + name + ": delivered of them", delivered, "frames/s", {}});
    rows.push_back({"preview, " + name + ": worst wait", static_cast<double>(flood.worst), "us", {}});
    Figures const steady = Measure(viewers, oneSlow, 10000);
    rows.push_back(
        {"preview, " + name + ": worst wait at 100 frames a second", static_cast<double>(steady.worst), "us", {}});
    std::fprintf(stderr, "%s\n", name.c_str());
}

}  // namespace

void MeasurePreview(Rows& rows) {
    AddRows(rows, "no subscriber", 0, false);
    AddRows(rows, "1 subscriber", 1, false);
    AddRows(rows, "8 subscribers", 8, false);
    AddRows(rows, "1 subscriber that takes 5 ms", 1, true);
    AddRows(rows, "8 subscribers, one takes 5 ms", 8, true);
}

}  // namespace Tarsel::Bench
