#pragma once

#include <glog/logging.h>

#include <atomic>
#include <boost/exception/diagnostic_information.hpp>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Thread.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

/// The base of nearly every filter. `T` is the source's interface, `U` the one offered.
///
/// Goes in: one source stream, never null. Comes out: what the filter's `ReadInternal` makes of it.
/// Seek: clamped to the stream's own duration, then handed to `RequestSeekInternal` and `DoSeekInternal`. End: null,
/// again and again. Threads: one consumer; `SetEndOfStream` and `IsEndOfStream` from any thread. Order of locks:
/// `apiLock`, then `queueLock`.
///
/// With background reading a thread runs one item ahead of the consumer: items go through a mailbox of one. The thread
/// starts at the first `Read` and ends by interruption, at the end of the stream, or after a failure, which the
/// consumer gets, once, behind the items that were read before it. Each derived destructor first calls
/// `StopReaderThread`.
template <class T, class U>
class StreamImpl : public virtual U, public RefCounted {
  public:
    using DataType = typename U::DataType;
    using U::Initialize;

    ~StreamImpl() override { StopReaderThread(); }
    StreamImpl(StreamImpl const&) = delete;
    StreamImpl& operator=(StreamImpl const&) = delete;

    int64 GetDuration() const override { return parentStream->GetDuration(); }
    int64 GetPosition() override;
    iptr<DataType> Read() override;
    void RequestSeek(int64 target, iptr<IRefCountable> seekContext) override;
    void DoSeek() override { DoSeekInternal(); }
    bool FinishSeek() override { return true; }
    void SetEndOfStream() override;
    bool IsEndOfStream() override { return endOfStream.load(); }
    void ReleaseInternalData() override;
    void Accept(IStreamVisitor& visitor) override {
        AcceptInternal(visitor);
        parentStream->Accept(visitor);
    }

  protected:
    /// Throws `std::invalid_argument` "parentStream is NULL." for a null source.
    StreamImpl(iptr<T> source, bool backgroundReading);

    /// Enters the filter into the visitor's collection.
    virtual void AcceptInternal(IStreamVisitor& visitor) = 0;
    /// The next item, or null at the end. On the consumer's thread, or on the reader thread in background mode.
    virtual iptr<DataType> ReadInternal() = 0;
    /// Notes the new position (clamped) and normally forwards it to the source with the same context.
    virtual void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) = 0;
    /// Normally forwards to the source.
    virtual void DoSeekInternal() = 0;

    /// Interrupts the reader thread and waits for its end; does nothing where there is none.
    void StopReaderThread();

    // Settings, constant after construction.
    bool const backgroundReading;

    /// Held through the public operations of the consumer; recursive because a filter's own code may re-enter the base.
    Core::RecursiveMutex apiLock;

    // Wiring.
    iptr<T> const parentStream;
    /// For derived classes; the base doesn't read it.
    std::string codecId = Conf::IFormatCodec::CODEC_ID_NONE;

  private:
    void ReaderLoop();
    void ReadIntoMailbox();
    /// Waits until the mailbox holds an item or there is nothing more to wait for, then rethrows a failure that has no
    /// item in front of it.
    void AwaitItem(Core::MutexLock& lock) TARSEL_REQUIRES(queueLock);

    std::atomic<int64> position{NO_VALUE};
    std::atomic<bool> endOfStream{false};

    /// Guards the mailbox between the reader thread and its consumer. Never held while `ReadInternal` runs.
    Core::Mutex queueLock;
    Core::ConditionVariable spaceAvailable;  // the reader thread waits for an empty mailbox
    Core::ConditionVariable dataAvailable;   // the consumer waits for an item, the end, or the thread's end
    iptr<DataType> bufferedData TARSEL_GUARDED_BY(queueLock);
    std::exception_ptr readerException TARSEL_GUARDED_BY(queueLock);
    bool readerEnded TARSEL_GUARDED_BY(queueLock) = false;
    std::unique_ptr<Core::Thread> readerThread TARSEL_GUARDED_BY(apiLock);
};

template <class T, class U>
StreamImpl<T, U>::StreamImpl(iptr<T> source, bool backgroundReading)
    : backgroundReading(backgroundReading), parentStream(std::move(source)) {
    if (!parentStream) TARSEL_THROW(std::invalid_argument, "parentStream is NULL.");
}

template <class T, class U>
iptr<typename StreamImpl<T, U>::DataType> StreamImpl<T, U>::Read() {
    Core::RecursiveMutexLock const api(apiLock);
    iptr<DataType> item;
    if (backgroundReading) {
        if (!readerThread) {
            {
                Core::MutexLock const queue(queueLock);
                readerEnded = false;
            }
            readerThread = std::make_unique<Core::Thread>([this] { ReaderLoop(); });
            spaceAvailable.NotifyAll();
        }
        Core::MutexLock queue(queueLock);
        AwaitItem(queue);
        item = std::move(bufferedData);
        bufferedData = nullptr;
        spaceAvailable.NotifyAll();
    } else {
        {
            Core::MutexLock const queue(queueLock);
            item = std::move(bufferedData);
            bufferedData = nullptr;
        }
        if (!item) item = ReadInternal();
    }
    if (item) position = AddTime(item->GetTime(), item->GetDuration());
    return item;
}

template <class T, class U>
void StreamImpl<T, U>::AwaitItem(Core::MutexLock& lock) {
    while (!bufferedData && !readerException && !readerEnded && !IsEndOfStream()) dataAvailable.Wait(lock);
    if (bufferedData || !readerException) return;
    std::rethrow_exception(std::exchange(readerException, nullptr));
}

template <class T, class U>
int64 StreamImpl<T, U>::GetPosition() {
    if (int64 const known = position; HasValue(known)) return known;
    Core::RecursiveMutexLock const api(apiLock);
    Core::MutexLock queue(queueLock);
    if (!bufferedData) {
        if (readerThread) {
            AwaitItem(queue);
        } else {
            queue.unlock();
            iptr<DataType> item = ReadInternal();
            queue.lock();
            bufferedData = std::move(item);
        }
    }
    if (bufferedData) position = bufferedData->GetTime();
    return position;
}

template <class T, class U>
void StreamImpl<T, U>::RequestSeek(int64 target, iptr<IRefCountable> seekContext) {
    Core::RecursiveMutexLock const api(apiLock);
    StopReaderThread();
    endOfStream = false;
    int64 const duration = this->GetDuration();
    if (HasValue(duration) && target > duration) target = duration;
    position = NO_VALUE;
    {
        Core::MutexLock const queue(queueLock);
        bufferedData = nullptr;
        readerException = nullptr;
    }
    RequestSeekInternal(target, seekContext);
}

template <class T, class U>
void StreamImpl<T, U>::SetEndOfStream() {
    endOfStream = true;
    parentStream->SetEndOfStream();
    if (!backgroundReading) return;
    // Under the lock, so that a consumer between its test and its wait doesn't miss it.
    Core::MutexLock const queue(queueLock);
    dataAvailable.NotifyAll();
}

template <class T, class U>
void StreamImpl<T, U>::ReleaseInternalData() {
    Core::RecursiveMutexLock const api(apiLock);
    StopReaderThread();
    {
        Core::MutexLock const queue(queueLock);
        bufferedData = nullptr;
    }
    parentStream->ReleaseInternalData();
}

template <class T, class U>
void StreamImpl<T, U>::StopReaderThread() {
    Core::RecursiveMutexLock const api(apiLock);
    if (!backgroundReading || !readerThread) return;
    readerThread->Interrupt();
    spaceAvailable.NotifyAll();
    readerThread->Join();
    readerThread.reset();
}

template <class T, class U>
void StreamImpl<T, U>::ReaderLoop() {
    try {
        while (!IsEndOfStream()) ReadIntoMailbox();
    } catch (boost::thread_interrupted const&) {
        // The quiet end: whoever interrupts waits for it.
    }
    Core::MutexLock const queue(queueLock);
    readerEnded = true;
    dataAvailable.NotifyAll();
}

template <class T, class U>
void StreamImpl<T, U>::ReadIntoMailbox() {
    iptr<DataType> item;
    try {
        Core::InterruptionPoint();
        item = ReadInternal();
        if (!item) SetEndOfStream();
    } catch (boost::thread_interrupted const&) {
        throw;
    } catch (...) {
        {
            // Stored before the end is announced: a consumer that wakes at the end finds the reason.
            Core::MutexLock const queue(queueLock);
            readerException = std::current_exception();
        }
        SetEndOfStream();
        LOG(ERROR) << "Background reading thread:" << boost::current_exception_diagnostic_information(true);
        item = nullptr;
    }
    Core::MutexLock queue(queueLock);
    for (Core::InterruptionPoint(); bufferedData; Core::InterruptionPoint()) spaceAvailable.Wait(queue);
    // An end that came from outside while the item was being read: the consumer has been told that there is none.
    if (IsEndOfStream()) item = nullptr;
    bufferedData = std::move(item);
    dataAvailable.NotifyOne();
}

}  // namespace Tarsel::Proc
