#include "host/scrub/ScrubPreview.h"

#include <exception>
#include <utility>

#include "contracts/Core/Mutex.h"
#include "contracts/Core/Thread.h"

namespace Tarsel::Host {

using Publisher = Core::EventPublisher<Proc::IVideoPreviewSubscriber>;

/// The last of the list's subscribers: what has come here has come to all. One lock, no other is taken under it.
class ScrubPreview::Arrival final : public Proc::IVideoPreviewSubscriber, public RefCounted {
  public:
    void OnVideoFrame(iptr<Proc::IDataVideo> const& frame) override {
        iptr<Proc::IDataVideo> former = frame;
        Core::MutexLock const hold(lock);
        arrived.swap(former);
        changed.NotifyAll();
    }
    /// Ends with the delivery of `frame`, which must be the last one published.
    void WaitFor(iptr<Proc::IDataVideo> const& frame) {
        Core::MutexLock hold(lock);
        while (arrived != frame) changed.Wait(hold);
    }

  private:
    Core::Mutex lock;
    Core::ConditionVariable changed;
    iptr<Proc::IDataVideo> arrived TARSEL_GUARDED_BY(lock);
};

ScrubPreview::ScrubPreview(std::string const& folder, double picturesPerSecond, bool force)
    : files(MakeShared<PngPreview>(folder, picturesPerSecond, force)),
      arrival(MakeShared<Arrival>()),
      list(Proc::CreateVideoPreviewSubscriberList()) {
    auto& publisher = dynamic_cast<Publisher&>(*list);
    publisher.Subscribe(files);
    publisher.Subscribe(arrival);
}

ScrubPreview::~ScrubPreview() {
    Unsubscribe();
}

void ScrubPreview::Unsubscribe() {
    auto& publisher = dynamic_cast<Publisher&>(*list);
    publisher.Unsubscribe(files);
    publisher.Unsubscribe(arrival);
}

void ScrubPreview::Show(iptr<Proc::IDataVideo> const& picture) {
    if (std::exception_ptr const failure = files->GetFailure()) std::rethrow_exception(failure);
    newest = picture;
    list->OnVideoFrame(picture);
}

void ScrubPreview::Finish() {
    if (newest) arrival->WaitFor(newest);
    files->Finish();
}

void ScrubPreview::Discard() {
    Unsubscribe();
    files->Discard();
}

}  // namespace Tarsel::Host
