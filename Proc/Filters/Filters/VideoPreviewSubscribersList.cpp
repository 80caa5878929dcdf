#include "Proc/Filters/Filters/VideoPreviewSubscribersList.h"

#include <glog/logging.h>

#include <boost/exception/diagnostic_information.hpp>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

using Core::RecursiveMutexLock;

VideoPreviewSubscriberList::VideoPreviewSubscriberList(std::shared_ptr<Core::ThreadPool> threadPool)
    : threadPool(std::move(threadPool)) {
    if (!this->threadPool) TARSEL_THROW(std::invalid_argument, "threadPool is NULL");
}

void VideoPreviewSubscriberList::OnVideoFrame(iptr<IDataVideo> const& frame) {
    if (!Exchange(frame)) return;
    try {
        // The task holds the list: the host may drop its own reference while tasks wait.
        threadPool->AddTask([self = iptr<VideoPreviewSubscriberList>(this)] { self->Deliver(); });
    } catch (...) {
        RecursiveMutexLock const lock(latestLock);
        --pendingTasks;
        throw;
    }
}

bool VideoPreviewSubscriberList::Exchange(iptr<IDataVideo> frame) {
    // The frame before it is released behind the lock, as the argument: its destruction may be anything.
    Core::GiveWay::Hurry const hurry(producers);
    RecursiveMutexLock const lock(latestLock);
    latest.swap(frame);
    if (pendingTasks >= MAX_PENDING_TASKS) return false;
    ++pendingTasks;
    return true;
}

void VideoPreviewSubscriberList::Deliver() {
    iptr<IDataVideo> frame;
    Core::MutexLock const alone(deliveryLock);
    producers.Await();
    RecursiveMutexLock const lock(latestLock);
    --pendingTasks;
    // Meant: `latest` stays set, so the next task delivers the frame again. A subscriber may publish another one from
    // inside its call; those behind it still get this one.
    frame = latest;
    if (!frame) return;
    Fire([&frame](IVideoPreviewSubscriber& subscriber) {
        try {
            subscriber.OnVideoFrame(frame);
        } catch (...) {
            LOG(ERROR) << "Preview subscriber has failed: " << boost::current_exception_diagnostic_information(true);
        }
    });
}

iptr<IVideoPreviewSubscriber> CreateVideoPreviewSubscriberList() {
    return MakeShared<VideoPreviewSubscriberList>(Core::GetGlobalThreadPool());
}

}  // namespace Tarsel::Proc
