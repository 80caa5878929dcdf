#include "Proc/Filters/Filters/SmartMapAudio.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"

namespace Tarsel::Proc {

namespace {

/// A stretch of this length or more is read in blocks.
constexpr int64 LONG_STRETCH = 200000;
constexpr int64 BLOCK = 100000;

}  // namespace

iptr<ISmartMapAudio> SmartMapAudio::Create(iptr<IFilterFactory const> const& factory) {
    return MakeShared<SmartMapAudio>(factory);
}

SmartMapAudio::SmartMapAudio(iptr<IFilterFactory const> const& factory) : factory(factory) {
    if (!factory) TARSEL_THROW(std::invalid_argument, "factory is NULL");
}

iptr<IMappedStreamAudio> SmartMapAudio::MakeHandle() {
    return MakeShared<MappedStream>(iptr<SmartMapBase>(this));
}

std::shared_ptr<SmartMapAudio::StreamData> SmartMapAudio::MakeRecord(iptr<IStreamAudio> const& source) {
    auto record = std::make_shared<StreamData>();
    record->source = source;
    record->resampler = factory->CreateResample(source, ImplNames::DEFAULT);
    record->output = factory->CreateAudioFormatter(record->resampler, ImplNames::DEFAULT);
    record->resampler->SetSampleInfo(sampleInfo);
    return record;
}

void SmartMapAudio::SetSampleInfo(Conf::SampleInfo const& info) {
    CheckLockedForSettings();
    Core::AutoLock const guard(lock);
    try {
        for (auto const& record : streams) record->resampler->SetSampleInfo(info);
    } catch (...) {
        // Some would go on in a format that this map doesn't say it has.
        for (auto const& record : streams) record->resampler->SetSampleInfo(sampleInfo);
        throw;
    }
    sampleInfo = info;
    // Callers hold the former one.
    iptr<Conf::IFormatCodecAudio> const made = format->Clone();
    made->SetChannelLayout(info.GetChannelLayout());
    made->SetSampleRate(info.GetSampleRate());
    made->SetSampleFormat(info.GetSampleFormat());
    format = made;
}

double SmartMapAudio::GetSampleTime() const {
    int const rate = sampleInfo.GetSampleRate();
    return rate > 0 ? 1000000.0 / rate : std::numeric_limits<double>::infinity();
}

// --- Reading ---------------------------------------------------------------------------------------------------------

iptr<IDataAudio> SmartMapAudio::Read() {
    Core::AutoLock const guard(lock);
    PrepareRead();
    double const sampleTime = GetSampleTime();
    Details::FruitlessReads fruitless;
    while (!endOfStream) {
        int64 const slice = MeasureSlice();
        if (slice <= 0) return nullptr;
        if (static_cast<double>(slice) < sampleTime) {
            // No whole sample fits.
            Advance(AddTime(position, slice));
            continue;
        }
        Pass pass = ReadSlice(slice);
        if (endOfStream || !pass.hasSources) return nullptr;
        if (pass.isLost) {
            fruitless.CountLost();
            // Where all have ended nothing can come before something changes.
            Advance(pass.isSound ? AddTime(position, slice) : FindNextTimePoint());
            continue;
        }
        iptr<IDataAudio> result = ApplyEffects(pass.items);
        ++framesRead;
        Advance(AddTime(position, slice));
        return result;
    }
    return nullptr;
}

int64 SmartMapAudio::MeasureSlice() const {
    int64 const now = position;
    if (streams.empty() || now >= duration) return 0;
    // Without a rate all slices are skipped, and all of them at once.
    if (sampleInfo.GetSampleRate() <= 0) return SubTime(duration, now);
    int64 const stretch = SubTime(FindNextTimePoint(), now);
    return stretch >= LONG_STRETCH ? BLOCK : stretch;
}

SmartMapAudio::Pass SmartMapAudio::ReadSlice(int64 slice) {
    int64 const now = position;
    window.MoveTo(streams, now);
    Records sounding = window.Current();
    std::stable_sort(sounding.begin(), sounding.end(),
                     [](auto const& a, auto const& b) { return a->order < b->order; });
    Pass pass;
    for (auto const& record : sounding) {
        if (!record->Holds(now)) continue;
        pass.hasSources = true;
        iptr<IDataAudio> block = ReadBlock(*record, slice);
        if (endOfStream) break;
        if (!block) {
            // What the others give is dropped, too, but read: they would be late by a slice otherwise.
            pass.isLost = true;
            continue;
        }
        pass.isSound = true;
        if (record->end <= AddTime(now, slice)) ReleaseSource(*record);
        // Others may hold it.
        if (block->GetTime() != now) block = MakeOwn(std::move(block));
        block->SetTime(now);
        pass.items.push_back(block);
    }
    return pass;
}

iptr<IDataAudio> SmartMapAudio::ReadBlock(StreamData& record, int64 slice) {
    int64 const into = SubTime(position, record.begin);
    if (static_cast<double>(into) < GetSampleTime()) {
        // The timeline has just entered the source.
        record.isDry = false;
        SeekSource(record, 0);
    } else if (!record.isDry && !record.isSought) {
        SeekSource(record, into);
    }
    if (record.isDry || endOfStream) return nullptr;
    record.output->SetPacketDuration(slice);
    iptr<IDataAudio> block = record.output->Read();
    if (!block && !endOfStream) {
        record.isDry = true;
        ReleaseSource(record);
    }
    return block;
}

iptr<IDataAudio> SmartMapAudio::ApplyEffects(std::vector<iptr<IData>>& items) {
    effects.Process(items, position);
    iptr<IDataAudio> result(items.empty() ? nullptr : dynamic_cast<IDataAudio*>(items.back().get()));
    if (!result) TARSEL_THROW(std::logic_error, "Empty packets buffer");
    return result;
}

void SmartMapAudio::Advance(int64 target) {
    position = target;
    effects.Leave(target);
}

}  // namespace Tarsel::Proc
