#include "Proc/Filters/Filters/MixerInput.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/CopySamples.h"
#include "contracts/Proc/DataAudioFF.h"
#include "contracts/Proc/IFilterResample.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Proc {

namespace {

/// So many blocks without a sample in a row are no stream any more.
constexpr int MAX_EMPTY_BLOCKS = 100000;

/// One block as a stream, for a converter to read.
class OneBlockStream final : public virtual IStreamAudio, public RefCounted {
  public:
    explicit OneBlockStream(iptr<IDataAudio> block) : info(block->GetSampleInfo()), rest(std::move(block)) {}

    void Initialize(Core::Property const&) override { TARSEL_THROW(FilterException, "Method not implemented"); }
    Core::Property GetSettings() override { TARSEL_THROW(FilterException, "Method not implemented"); }
    int64 GetDuration() const override { return NO_VALUE; }
    int64 GetPosition() override { return rest ? rest->GetTime() : NO_VALUE; }
    iptr<IDataAudio> Read() override { return ended ? nullptr : std::exchange(rest, nullptr); }
    void RequestSeek(int64, iptr<IRefCountable>) override {}
    void DoSeek() override {}
    bool FinishSeek() override { return true; }
    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override {
        iptr<Conf::IFormatCodecAudio> const format = Conf::IFormatCodecAudio::Create();
        format->SetSampleInfo(info);
        return format;
    }
    Core::Property GetStatistic() override { return Core::GetRootItem(); }
    void SetEndOfStream() override { ended = true; }
    bool IsEndOfStream() override { return ended; }
    void ReleaseInternalData() override {}
    void Accept(IStreamVisitor&) override {}

  private:
    Conf::SampleInfo const info;
    iptr<IDataAudio> rest;
    std::atomic<bool> ended{false};
};

}  // namespace

int64 MixerInput::Held::Time() const {
    if (offset == 0) return base;
    return AddTime(base, SampleCount2Duration(offset, block->GetSampleRate()));
}

int64 MixerInput::Held::Duration() const {
    if (offset == 0 && base == block->GetTime()) return block->GetDuration();
    int64 const rest = SubTime(AddTime(block->GetTime(), block->GetDuration()), Time());
    return HasValue(rest) ? std::max<int64>(rest, 0) : NO_VALUE;
}

MixerInput::MixerInput(iptr<IStreamAudio> stream, iptr<IFilterFactory const> factory)
    : stream(std::move(stream)), factory(std::move(factory)) {}

void MixerInput::Reset() {
    held.clear();
    heldCount = 0;
    ended = false;
}

// --- Reading ---------------------------------------------------------------------------------------------------------

bool MixerInput::Load() {
    return !held.empty() || ReadOn(true);
}

bool MixerInput::ReadOn(bool keepEmpty) {
    for (int empty = 0; !ended; ++empty) {
        iptr<IDataAudio> const block = stream->Read();
        ended = !block;
        if (block && (keepEmpty || block->GetSampleCount() > 0)) {
            held.emplace_back(block);
            heldCount += block->GetSampleCount();
            return true;
        }
        if (empty == MAX_EMPTY_BLOCKS)
            TARSEL_THROW(FilterException, "A mixed stream gives only blocks without samples");
    }
    return false;
}

void MixerInput::Hold(int64 count) {
    while (heldCount < count && ReadOn(false)) continue;
}

void MixerInput::DropUntil(int64 start) {
    int64 const time = HeadTime();
    if (!HasValue(time) || time >= start) return;
    int64 const distance = SubTime(start, time);
    int const rate = held.front().block->GetSampleRate();
    int64 const count = Duration2SampleCount(std::min(distance, SECOND), rate);
    Hold(count);
    if (distance > SECOND && !(ended && heldCount < count)) return;
    Drop(count);
    // The clock goes on from where all begin together, not from a microsecond beside it.
    if (!held.empty()) {
        Held& head = held.front();
        head.base = SubTime(start, SampleCount2Duration(head.offset, head.block->GetSampleRate()));
    }
}

void MixerInput::Drop(int64 count) {
    while (!held.empty() && count >= held.front().Count()) {
        int const whole = held.front().Count();
        count -= whole;
        heldCount -= whole;
        held.pop_front();
    }
    if (held.empty()) return;
    held.front().offset += static_cast<int>(count);
    heldCount -= count;
}

// --- Handing out -----------------------------------------------------------------------------------------------------

void MixerInput::Prepare(int count, Conf::SampleInfo const& info) {
    int64 ready = 0;
    std::size_t next = 0;
    while (ready < count) {
        if (next == held.size() && !ReadOn(false)) return;
        if (held[next].block->GetSampleInfo() != info) ConvertAt(next, info);
        // A block of too few samples may have come to none, and another one stands here now, or none.
        if (next == held.size() || held[next].block->GetSampleInfo() != info) continue;
        ready += held[next].Count();
        ++next;
    }
}

void MixerInput::ConvertAt(std::size_t index, Conf::SampleInfo const& info) {
    std::deque<Held> const converted = Convert(held[index], info);
    heldCount -= held[index].Count();
    for (Held const& part : converted) heldCount += part.Count();
    auto const behind = held.erase(held.begin() + static_cast<std::ptrdiff_t>(index));
    held.insert(behind, converted.begin(), converted.end());
}

iptr<IDataAudio> MixerInput::Take(int count, Conf::SampleInfo const& info) {
    // The ordinary case: a block that goes on as it came.
    if (!held.empty() && held.front().offset == 0 && held.front().Count() == count) {
        iptr<IDataAudio> const whole = held.front().block;
        if (whole->GetSampleInfo() == info) {
            held.pop_front();
            heldCount -= count;
            return whole;
        }
    }
    iptr<IDataAudio> const result = DataAudioFF::CreateBySampleCount(info, count);
    if (heldCount < count) result->Silence();
    int done = 0;
    for (std::size_t i = 0; i < held.size() && done < count; ++i) {
        int const part = std::min(held[i].Count(), count - done);
        CopySamples(*result, done, *held[i].block, held[i].offset, part);
        done += part;
    }
    Drop(done);
    return result;
}

std::deque<MixerInput::Held> MixerInput::Convert(Held const& foreign, Conf::SampleInfo const& info) const {
    iptr<IDataAudio> rest = foreign.block;
    if (foreign.offset > 0) {
        rest = DataAudioFF::CreateBySampleCount(foreign.block->GetSampleInfo(), foreign.Count());
        CopySamples(*rest, 0, *foreign.block, foreign.offset, foreign.Count());
        rest->SetTime(foreign.Time());
        rest->SetDuration(foreign.Duration());
    }
    iptr<IStreamAudio> const source = MakeShared<OneBlockStream>(rest);
    iptr<IFilterResample> const converter = factory->CreateResample(source, ImplNames::DEFAULT);
    converter->SetSampleInfo(info);
    converter->RequestSeek(0, nullptr);
    converter->DoSeek();
    std::deque<Held> result;
    while (iptr<IDataAudio> const block = converter->Read()) {
        if (block->GetSampleInfo() != info)
            TARSEL_THROW(FilterException, "A block of a mixed stream can't be converted to the format of the mix");
        result.emplace_back(block);
    }
    return result;
}

}  // namespace Tarsel::Proc
