#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <boost/thread/thread_only.hpp>
#include <memory>
#include <string>
#include <vector>

#include "Proc/Filters/Filters/FilterRegistrator.h"
#include "Proc/Filters/Filters/FilterReverseAudio.h"
#include "Proc/Filters/Filters/FilterReverseVideo.h"
#include "contracts/Core/Thread.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "contracts/Proc/Time.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

/// Where a seek lands.
enum class Landing {
    Containing,   // on the item that contains the position
    ExactSample,  // inside it, on the sample (sound only)
    Early,        // three items ahead of it
    Late,         // on the first item that begins behind the position
    Start,        // always on the first item
};

inline std::string LandingName(::testing::TestParamInfo<Landing> const& test) {
    std::vector<std::string> const names{"Containing", "ExactSample", "Early", "Late", "Start"};
    return names.at(static_cast<std::size_t>(test.param));
}

/// A source for streams that seek again and again: it lands where it is told to, tells where it stands, and can be held
/// inside a call.
template <class T>
class SeekingStream : public T, public RefCounted {
  public:
    using DataType = typename T::DataType;
    using FormatType = typename T::FormatType;
    using Item = iptr<DataType>;

    explicit SeekingStream(std::vector<Item> items, Landing landing = Landing::Containing)
        : items(std::move(items)), landing(landing) {
        if (!this->items.empty()) duration = AddTime(this->items.back()->GetTime(), this->items.back()->GetDuration());
    }
    ~SeekingStream() override = default;

    // What the test sets before reading.
    int64 duration = 0;
    iptr<FormatType> format = FormatType::Create();
    std::exception_ptr failure;  // thrown in place of the item `failAt`
    std::size_t failAt = static_cast<std::size_t>(-1);
    bool telling = true;  // whether `GetPosition` knows
    std::shared_ptr<Gate> readGate, seekGate, requestGate;
    std::atomic<std::size_t> stuckAt{
        static_cast<std::size_t>(-1)};  // a read of this item waits for `SetEndOfStream` alone
    std::shared_ptr<Gate> stuck = std::make_shared<Gate>(false);  // passed ahead of that wait

    // What the test looks at.
    CallLog log;
    std::atomic<int> reads{0};
    std::atomic<int> ends{0};

    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return {}; }
    int64 GetDuration() const override { return duration; }
    int64 GetPosition() override {
        if (!telling || next >= items.size()) return NO_VALUE;
        return items[next]->GetTime();
    }
    Item Read() override {
        ++reads;
        if (readGate) readGate->Pass();
        if (ended) return nullptr;
        if (next == stuckAt) {
            stuck->Pass();
            boost::this_thread::disable_interruption const uninterrupted;
            Core::MutexLock lock(mutex);
            while (!ended) changed.Wait(lock);
            return nullptr;
        }
        if (next == failAt) {
            failAt = static_cast<std::size_t>(-1);
            std::rethrow_exception(failure);
        }
        if (next >= items.size()) return nullptr;
        Item item = items[next++]->Clone(false);
        if constexpr (std::is_same_v<T, Proc::IStreamAudio>) {
            if (skip > 0) item->CutSamplesBegin(std::exchange(skip, 0));
        }
        return item;
    }
    void RequestSeek(int64 position, iptr<IRefCountable>) override {
        log.Add("RequestSeek(" + std::to_string(position) + ")");
        if (requestGate) requestGate->Pass();
        ended = false;
        target = position;
    }
    void DoSeek() override {
        if (seekGate) seekGate->Pass();
        skip = 0;
        auto const behind = std::find_if(items.begin(), items.end(), [&](Item const& item) {
            int64 const start = item->GetTime();
            int64 const end = AddTime(start, item->GetDuration());
            return landing == Landing::Late ? start > target || (start == 0 && target == 0)
                                            : (HasValue(end) ? end > target : start >= target);
        });
        next = static_cast<std::size_t>(behind - items.begin());
        if (landing == Landing::Start) next = 0;
        if (landing == Landing::Early) next -= std::min<std::size_t>(next, 3);
        if constexpr (std::is_same_v<T, Proc::IStreamAudio>) {
            if (landing == Landing::ExactSample && next < items.size()) {
                int64 const inside = target - items[next]->GetTime();
                int const rate = items[next]->GetSampleRate();
                // The sample that contains the position.
                skip = inside > 0 ? static_cast<int>(inside * rate / SECOND) : 0;
                skip = std::min(skip, items[next]->GetSampleCount() - 1);
            }
        }
    }
    bool FinishSeek() override { return false; }
    iptr<FormatType const> GetFormatCodec() const override { return format; }
    Core::Property GetStatistic() override {
        return Core::GetRootItem().Add(Core::MakeStatistics("SeekingStream", 0, 0));
    }
    void SetEndOfStream() override {
        Core::MutexLock const lock(mutex);
        ++ends;
        ended = true;
        changed.NotifyAll();
    }
    bool IsEndOfStream() override { return ended; }
    void ReleaseInternalData() override { log.Add("ReleaseInternalData"); }
    void Accept(Proc::IStreamVisitor& visitor) override {
        Proc::Visitors::Visit(visitor, "SeekingStream", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
    }

  private:
    std::vector<Item> const items;
    Landing const landing;
    std::size_t next = 0;
    int64 target = 0;
    int skip = 0;
    Core::Mutex mutex;
    Core::ConditionVariable changed;
    std::atomic<bool> ended{false};
};

using SeekingVideo = SeekingStream<Proc::IStreamVideo>;
using SeekingAudio = SeekingStream<Proc::IStreamAudio>;
using ReverseVideo = Proc::FilterReverse<Proc::IStreamVideo, Proc::IStreamVideoEx>;

inline constexpr int64 PICTURE_BYTES = 16 * 16 * 3 / 2;

/// Pictures one behind the other, 25 a second; each one's shade is its number.
inline iptr<SeekingVideo> MakePictures(int count, Landing landing = Landing::Containing, int64 duration = 40000) {
    auto const source = MakeShared<SeekingVideo>(MakeVideos(count, duration), landing);
    source->format->InitByPixelAspect(16, 16, 1, 1);
    source->format->SetPixelFormat(PIX_FMT_YUV420P);
    source->format->SetFrameRate(Ratio(SECOND, duration));
    return source;
}

inline iptr<Proc::IStreamVideoEx> ReverseOf(iptr<Proc::IStreamVideo> const& source,
                                            int64 limit = Proc::SettingsFilterReverse::DEFAULT_MAX_BUFFER_SIZE) {
    Proc::SettingsFilterReverse settings(true);
    settings.SetMaxBufferSize(limit);
    return Proc::Details::MakeInitialized<Proc::IStreamVideoEx, ReverseVideo>(settings, source);
}

inline iptr<Proc::IStreamAudioEx> ReverseOf(iptr<Proc::IStreamAudio> const& source) {
    return Proc::MakeFilterReverseAudio(source, nullptr, Proc::SettingsFilterReverse(true));
}

/// A block of 32-bit mono samples `first`, `first` + 1...
inline iptr<Proc::IDataAudio> MakeCounted(int64 first, int count, int rate, int64 offset = 0) {
    auto block = MakeAudio(offset + Proc::SampleCount2Duration(first, rate), count, rate, Conf::SAMPLE_FORMAT_S32,
                           Conf::CHANNEL_LAYOUT_MONO);
    for (int i = 0; i < count; ++i) SamplesOf<std::int32_t>(*block)[i] = static_cast<std::int32_t>(first + i);
    return block;
}

/// `total` counted samples in blocks of `size`.
inline std::vector<iptr<Proc::IDataAudio>> MakeBlocks(int64 total, int size, int rate) {
    std::vector<iptr<Proc::IDataAudio>> blocks;
    for (int64 first = 0; first < total; first += size)
        blocks.push_back(MakeCounted(first, static_cast<int>(std::min<int64>(size, total - first)), rate));
    return blocks;
}

inline iptr<SeekingAudio> MakeSound(int64 total, int size, int rate = 8000, Landing landing = Landing::Containing) {
    auto const source = MakeShared<SeekingAudio>(MakeBlocks(total, size, rate), landing);
    source->duration = Proc::SampleCount2Duration(total, rate);
    source->format->SetSampleInfo({Conf::SAMPLE_FORMAT_S32, rate, Conf::CHANNEL_LAYOUT_MONO});
    return source;
}

/// All samples of counted blocks, one behind the other.
inline std::vector<std::int32_t> SamplesIn(std::vector<iptr<Proc::IDataAudio>> const& blocks) {
    std::vector<std::int32_t> samples;
    for (auto const& block : blocks) {
        auto const* const first = SamplesOf<std::int32_t>(*block);
        samples.insert(samples.end(), first, first + block->GetSampleCount());
    }
    return samples;
}

/// `total` - 1 down to 0.
inline std::vector<std::int32_t> Backwards(int64 total) {
    std::vector<std::int32_t> samples;
    for (int64 i = total - 1; i >= 0; --i) samples.push_back(static_cast<std::int32_t>(i));
    return samples;
}

inline u8 ShadeOf(Proc::IDataVideo const& frame) {
    return *frame.GetPlaneConst(0).GetOffsetPtr(0, 0);
}

}  // namespace Tarsel::Test
