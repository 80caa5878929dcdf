#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "tests/support/Gate.h"

namespace Tarsel::Test {

namespace Details {

/// Compressed streams say what they carry; the others have nothing to add.
template <class T>
class MediaTypePart : public virtual T {};
template <>
class MediaTypePart<Proc::IStreamRaw> : public virtual Proc::IStreamRaw {
  public:
    MediaType GetMediaType() const override { return mediaType; }
    MediaType mediaType = MEDIA_TYPE_VIDEO;
};

/// A new format object of a stream's kind; compressed streams get a video one.
template <class T>
iptr<typename T::FormatType> MakeFormat() {
    if constexpr (std::is_same_v<T, Proc::IStreamRaw>)
        return Conf::IFormatCodecVideo::Create();
    else
        return T::FormatType::Create();
}

}  // namespace Details

/// What happened to a stream, in order and from any thread: "RequestSeek(40000)", "DoSeek", "Read"...
class CallLog {
  public:
    void Add(std::string const& call) {
        Core::MutexLock const lock(mutex);
        calls.push_back(call);
        if (listener) listener->Add(name + call);
    }
    /// Another log, which outlives this one's calls, gets them as well, behind a name: so the order among streams
    /// shows.
    void TellAlso(CallLog& other, std::string ownName) {
        Core::MutexLock const lock(mutex);
        listener = &other;
        name = std::move(ownName);
    }
    std::vector<std::string> Take() {
        Core::MutexLock const lock(mutex);
        return std::exchange(calls, {});
    }

  private:
    Core::Mutex mutex;
    std::vector<std::string> calls TARSEL_GUARDED_BY(mutex);
    CallLog* listener TARSEL_GUARDED_BY(mutex) = nullptr;
    std::string name TARSEL_GUARDED_BY(mutex);
};

/// A source that plays a script. A step is an item (given as a fresh clone at each read, as sources do), null (a read
/// that gives null) or an exception. Behind the last step every read gives null. A seek lands on the first step whose
/// item ends behind the position; steps without an item are passed over. One reader at a time; `SetEndOfStream`, the
/// log and the counters from any thread.
template <class T>
class ScriptedStream : public Details::MediaTypePart<T>, public RefCounted {
  public:
    using DataType = typename T::DataType;
    using FormatType = typename T::FormatType;
    using Item = iptr<DataType>;

    class Step {
      public:
        Step(Item item) : item(std::move(item)) {}                         // NOLINT: scripts are lists of plain items
        Step(std::exception_ptr failure) : failure(std::move(failure)) {}  // NOLINT
        Step(std::nullptr_t) {}                                            // NOLINT

        Item item;
        std::exception_ptr failure;
    };

    template <class Steps>
    static iptr<ScriptedStream> Create(Steps const& steps) {
        return iptr<ScriptedStream>(new ScriptedStream({steps.begin(), steps.end()}));
    }
    static iptr<ScriptedStream> Create(std::initializer_list<Step> steps) {
        return iptr<ScriptedStream>(new ScriptedStream({steps.begin(), steps.end()}));
    }
    ~ScriptedStream() override { --liveCount; }

    /// Streams of this kind alive in the process.
    static int GetLiveCount() { return liveCount.load(); }

    // What the test sets before reading.
    int64 duration = NO_VALUE;
    iptr<FormatType> format = Details::MakeFormat<T>();
    /// Every read passes it, on the reader's thread.
    std::shared_ptr<Gate> gate;
    /// Every `SetEndOfStream` passes it, behind the setting of the mark.
    std::shared_ptr<Gate> endGate;

    // What the test looks at.
    CallLog log;
    /// Addresses of the items given, never owners of them.
    std::vector<void const*> delivered;

    void Initialize(Core::Property const& property) override { log.Add("Initialize(" + property.Name() + ")"); }
    Core::Property GetSettings() override { return Core::Property("ScriptedStream"); }
    int64 GetDuration() const override { return duration; }
    int64 GetPosition() override { return NO_VALUE; }
    Item Read() override {
        log.Add("Read");
        if (gate) gate->Pass();
        std::size_t const at = next;
        if (ended || at >= steps.size()) return nullptr;
        next = at + 1;
        Step const& step = steps[at];
        if (step.failure) std::rethrow_exception(step.failure);
        if (!step.item) return nullptr;
        Item const item = step.item->Clone(false);
        delivered.push_back(item.get());
        return item;
    }
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override {
        log.Add("RequestSeek(" + std::to_string(position) + (seekContext ? ", context)" : ")"));
        ended = false;
        target = position;
    }
    void DoSeek() override {
        log.Add("DoSeek");
        std::size_t at = 0;
        for (; at < steps.size(); ++at) {
            Item const& item = steps[at].item;
            if (item && AddTime(item->GetTime(), item->GetDuration()) > target) break;
        }
        next = at;
    }
    bool FinishSeek() override {
        log.Add("FinishSeek");
        return true;
    }
    iptr<FormatType const> GetFormatCodec() const override { return format; }
    Core::Property GetStatistic() override {
        return Core::GetRootItem().Add(Core::MakeStatistics("ScriptedStream", 0, static_cast<unsigned>(next)));
    }
    void SetEndOfStream() override {
        log.Add("SetEndOfStream");
        ended = true;
        if (endGate) endGate->Pass();
    }
    bool IsEndOfStream() override { return ended; }
    void ReleaseInternalData() override { log.Add("ReleaseInternalData"); }
    void Accept(Proc::IStreamVisitor& visitor) override {
        Proc::Visitors::Visit(visitor, "ScriptedStream", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
    }

  protected:
    explicit ScriptedStream(std::vector<Step> steps) : steps(std::move(steps)) { ++liveCount; }

  private:
    inline static std::atomic<int> liveCount{0};

    std::vector<Step> const steps;
    // Statistics may be asked for beside the reader.
    std::atomic<std::size_t> next{0};
    int64 target = NO_VALUE;
    std::atomic<bool> ended{false};
};

using ScriptedVideo = ScriptedStream<Proc::IStreamVideo>;
using ScriptedAudio = ScriptedStream<Proc::IStreamAudio>;
using ScriptedSubtitle = ScriptedStream<Proc::IStreamSubtitle>;
using ScriptedRaw = ScriptedStream<Proc::IStreamRaw>;

/// A failure as a step of a script: `Failure<Proc::FilterException>("text")`.
template <class E>
std::exception_ptr Failure(std::string const& message) {
    try {
        TARSEL_THROW(E, message);
    } catch (...) {
        return std::current_exception();
    }
}

/// A filter on the stream base that passes its source through, with hooks for the test.
template <class T>
class ScriptedFilter : public Proc::StreamImpl<T, T>, public Details::MediaTypePart<T> {
  public:
    using DataType = typename T::DataType;
    using FormatType = typename T::FormatType;
    using Item = iptr<DataType>;

    explicit ScriptedFilter(iptr<T> source, bool backgroundReading = false)
        : Proc::StreamImpl<T, T>(std::move(source), backgroundReading) {
        ++liveCount;
    }
    ~ScriptedFilter() override {
        this->StopReaderThread();
        log.reset();
        --liveCount;
    }
    static int GetLiveCount() { return liveCount.load(); }

    /// Runs in `ReadInternal` in place of the source's read.
    std::function<Item()> onRead;
    /// Runs in `RequestSeekInternal` ahead of the forwarding.
    std::function<void(int64)> onRequestSeek;
    std::unique_ptr<CallLog> log = std::make_unique<CallLog>();

    void Initialize(Core::Property const&) override { TARSEL_THROW(Proc::FilterException, "Method not implemented"); }
    Core::Property GetSettings() override { TARSEL_THROW(Proc::FilterException, "Method not implemented"); }
    Core::Property GetStatistic() override {
        return this->parentStream->GetStatistic().Add(Core::MakeStatistics("ScriptedFilter", 0, 0));
    }
    iptr<FormatType const> GetFormatCodec() const override { return this->parentStream->GetFormatCodec(); }

  protected:
    void AcceptInternal(Proc::IStreamVisitor& visitor) override {
        Proc::Visitors::Visit(visitor, "ScriptedFilter", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
    }
    Item ReadInternal() override {
        log->Add("ReadInternal");
        return onRead ? onRead() : this->parentStream->Read();
    }
    void RequestSeekInternal(int64 position, iptr<IRefCountable> const& seekContext) override {
        log->Add("RequestSeekInternal(" + std::to_string(position) + ")");
        if (onRequestSeek) onRequestSeek(position);
        this->parentStream->RequestSeek(position, seekContext);
    }
    void DoSeekInternal() override {
        log->Add("DoSeekInternal");
        this->parentStream->DoSeek();
    }

  private:
    inline static std::atomic<int> liveCount{0};
};

/// All phases of a seek.
inline void Seek(Proc::IStream& stream, int64 position) {
    stream.RequestSeek(position, nullptr);
    stream.DoSeek();
    stream.FinishSeek();
}

/// The recording sink: reads to the first null and gives everything read. More than `limit` items fail.
template <class T>
std::vector<iptr<typename T::DataType>> ReadAll(T& stream, std::size_t limit = 100000) {
    std::vector<iptr<typename T::DataType>> items;
    while (auto item = stream.Read()) {
        items.push_back(std::move(item));
        if (items.size() > limit) TARSEL_THROW(std::runtime_error, "the stream doesn't end");
    }
    return items;
}

}  // namespace Tarsel::Test
