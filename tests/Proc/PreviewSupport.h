#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/VideoPreviewSubscribersList.h"
#include "tests/support/Builders.h"
#include "tests/support/Drain.h"

namespace Tarsel::Test {

/// A subscriber that does what the test says.
class Viewer final : public Proc::IVideoPreviewSubscriber, public RefCounted {
  public:
    using Call = std::function<void(iptr<Proc::IDataVideo> const&)>;

    explicit Viewer(Call call) : call(std::move(call)) { ++alive; }
    ~Viewer() override { --alive; }
    void OnVideoFrame(iptr<Proc::IDataVideo> const& frame) override { call(frame); }

    /// Viewers alive in the process.
    static int GetAlive() { return alive; }

  private:
    Call const call;
    static inline std::atomic<int> alive{0};
};

/// Writes down the times of the frames that it gets, and where: they are told apart by them.
inline iptr<Viewer> MakeViewer(std::vector<int64>& times) {
    return MakeShared<Viewer>([&times](iptr<Proc::IDataVideo> const& frame) { times.push_back(frame->GetTime()); });
}

inline iptr<Proc::VideoPreviewSubscriberList> MakeList(std::shared_ptr<Core::ThreadPool> const& pool) {
    return MakeShared<Proc::VideoPreviewSubscriberList>(pool);
}

}  // namespace Tarsel::Test
