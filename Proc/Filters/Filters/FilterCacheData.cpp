#include "Proc/Filters/Filters/FilterCacheData.h"

#include <glog/logging.h>

#include <boost/exception/diagnostic_information.hpp>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

namespace {

constexpr int64 NANOSECONDS_IN_MICROSECOND = 1000;

/// Adds the time of its life to a sum of nanoseconds, also when a failure ends it.
class Meter {
  public:
    explicit Meter(std::atomic<int64>& sum) : sum(sum) {}
    ~Meter() { sum += std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count(); }
    Meter(Meter const&) = delete;
    Meter& operator=(Meter const&) = delete;

  private:
    std::atomic<int64>& sum;
    std::chrono::steady_clock::time_point const start = std::chrono::steady_clock::now();
};

}  // namespace

iptr<IStreamVideo> CreateFilterCacheData(iptr<IStreamVideo> source) {
    return MakeShared<FilterCacheData>(std::move(source));
}

FilterCacheData::FilterCacheData(iptr<IStreamVideo> source) : source(std::move(source)) {
    if (!this->source) TARSEL_THROW(std::invalid_argument, "parentStream is NULL.");
}

FilterCacheData::~FilterCacheData() {
    StopThread();
}

void FilterCacheData::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "No impl");
}

Core::Property FilterCacheData::GetSettings() {
    TARSEL_THROW(FilterException, "No impl");
}

int64 FilterCacheData::GetDuration() const {
    Core::AutoLock const state(stateLock);
    return source->GetDuration();
}

iptr<Conf::IFormatCodecVideo const> FilterCacheData::GetFormatCodec() const {
    Core::AutoLock const state(stateLock);
    return source->GetFormatCodec();
}

void FilterCacheData::Accept(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterCacheData", Visitors::FRAME_TYPE_FILTER, nullptr);
    Core::AutoLock const state(stateLock);
    source->Accept(visitor);
}

// --- Statistics ------------------------------------------------------------------------------------------------------

Core::Property FilterCacheData::GetStatistic() {
    Core::Property result;
    {
        Core::AutoLock const state(stateLock);
        result = source->GetStatistic();
    }
    int64 const work = workTime / NANOSECONDS_IN_MICROSECOND;
    Core::MutexLock const mailbox(mailboxLock);
    Core::Property own = Core::MakeStatistics("Tarsel::Proc::FilterCacheData::GetStatistic", work, framesRead);
    using Microseconds = std::chrono::duration<double, std::micro>;
    double const acceleration = GetAcceleration(Microseconds(lastRead - firstRead).count(), static_cast<double>(work),
                                                Microseconds(waitTime).count());
    own.SetChild("Working time of thread", static_cast<double>(work) / 1e6).SetChild("acceleration", acceleration);
    return result.Add(std::move(own));
}

double FilterCacheData::GetAcceleration(double elapsed, double work, double wait) {
    if (elapsed <= 0) return 1;
    // Without the thread the consumer would do the work where it now waits for it.
    return (elapsed + work - wait) / elapsed;
}

// --- The consumer ----------------------------------------------------------------------------------------------------

iptr<IDataVideo> FilterCacheData::Read() {
    StartThread();
    iptr<IDataVideo> frame;
    Core::MutexLock mailbox(mailboxLock);
    AwaitFrame(mailbox);
    frame = std::move(ready);
    ready = nullptr;
    if (!frame) return nullptr;
    position = AddTime(frame->GetTime(), frame->GetDuration());
    ++framesRead;
    condition.NotifyAll();
    return frame;
}

int64 FilterCacheData::GetPosition() {
    if (int64 const known = position; HasValue(known)) return known;
    StartThread();
    Core::MutexLock mailbox(mailboxLock);
    AwaitFrame(mailbox);
    if (ready) position = ready->GetTime();
    return position;
}

void FilterCacheData::AwaitFrame(Core::MutexLock& lock) {
    struct Watch {
        ~Watch() {
            lastRead = Clock::now();
            waitTime += lastRead - start;
        }
        Clock::time_point& lastRead;
        Clock::duration& waitTime;
        Clock::time_point const start;
    };
    Clock::time_point const now = Clock::now();
    if (!std::exchange(timed, true)) firstRead = now;
    Watch const watch{lastRead, waitTime, now};
    // Ended by the thread (a picture, a failure, its end) or by `SetEndOfStream`.
    while (!ready && !failure && !threadEnded && !endOfStream) condition.Wait(lock);
    if (ready || !failure) return;
    std::rethrow_exception(std::exchange(failure, nullptr));
}

void FilterCacheData::RequestSeek(int64 target, iptr<IRefCountable> seekContext) {
    StopThread();
    Core::AutoLock const state(stateLock);
    Forget();
    source->RequestSeek(target, std::move(seekContext));
}

void FilterCacheData::DoSeek() {
    // Who has read between the two phases has read ahead at the old position, too.
    if (StopThread()) Forget();
    Core::AutoLock const state(stateLock);
    source->DoSeek();
}

bool FilterCacheData::FinishSeek() {
    Core::AutoLock const state(stateLock);
    return source->FinishSeek();
}

void FilterCacheData::Forget() {
    iptr<IDataVideo> frame;  // given up behind the lock
    Core::MutexLock const mailbox(mailboxLock);
    frame = std::move(ready);
    ready = nullptr;
    failure = nullptr;
    endOfStream = false;
    position = NO_VALUE;
}

void FilterCacheData::ReleaseInternalData() {
    StopThread();
    iptr<IDataVideo> frame;  // given up behind the locks
    Core::AutoLock const state(stateLock);
    {
        Core::MutexLock const mailbox(mailboxLock);
        frame = std::move(ready);
        ready = nullptr;
    }
    source->ReleaseInternalData();
}

// It must get through to a source that is being read, so it takes no `stateLock`.
void FilterCacheData::SetEndOfStream() TARSEL_NO_THREAD_SAFETY_ANALYSIS {
    endOfStream = true;
    source->SetEndOfStream();
    // Under the lock, so that who is between its test and its wait doesn't miss it.
    Core::MutexLock const mailbox(mailboxLock);
    condition.NotifyAll();
}

void FilterCacheData::StartThread() {
    if (threadStarted) return;
    Core::MutexLock const lock(threadLock);
    if (thread) return;
    {
        Core::MutexLock const mailbox(mailboxLock);
        threadEnded = false;
    }
    thread = std::make_unique<Core::Thread>([this] { ThreadMain(); });
    threadStarted = true;
}

bool FilterCacheData::StopThread() {
    Core::MutexLock const lock(threadLock);
    if (!thread) return false;
    thread->Interrupt();
    // The interruption ends a wait for the consumer and, at its next interruption point, a read of the source.
    thread->Join();
    thread.reset();
    threadStarted = false;
    return true;
}

// --- The thread ------------------------------------------------------------------------------------------------------

void FilterCacheData::ThreadMain() {
    try {
        std::exception_ptr reason;
        try {
            while (ReadAhead()) {
            }
        } catch (boost::thread_interrupted const&) {
            throw;
        } catch (...) {
            LOG(ERROR) << "Background reading thread:" << boost::current_exception_diagnostic_information(true);
            reason = std::current_exception();
        }
        if (reason) HandOver(std::move(reason));
    } catch (boost::thread_interrupted const&) {
        // The quiet end: whoever interrupts waits for it.
    }
    Core::MutexLock const mailbox(mailboxLock);
    threadEnded = true;
    condition.NotifyAll();
}

bool FilterCacheData::ReadAhead() {
    iptr<IDataVideo> frame;
    if (!ReadSource(frame)) return false;
    Core::MutexLock mailbox(mailboxLock);
    // An end that came from outside while the picture was being read: the consumer has been told that there is none.
    if (!AwaitSpace(mailbox)) return false;
    bool const more = frame != nullptr;
    ready = std::move(frame);
    if (!more) endOfStream = true;
    condition.NotifyAll();
    return more;
}

bool FilterCacheData::ReadSource(iptr<IDataVideo>& frame) {
    Core::AutoLock const state(stateLock);
    Core::InterruptionPoint();
    if (endOfStream) return false;
    Meter const meter(workTime);
    frame = source->Read();
    return true;
}

bool FilterCacheData::AwaitSpace(Core::MutexLock& lock) {
    // Ended by the consumer, by `SetEndOfStream`, or by an interruption.
    for (Core::InterruptionPoint(); ready && !endOfStream; Core::InterruptionPoint()) condition.Wait(lock);
    return !endOfStream;
}

void FilterCacheData::HandOver(std::exception_ptr reason) {
    Core::MutexLock mailbox(mailboxLock);
    // An end from outside changes nothing here: the failure has happened.
    AwaitSpace(mailbox);
    failure = std::move(reason);
    endOfStream = true;
    condition.NotifyAll();
}

}  // namespace Tarsel::Proc
