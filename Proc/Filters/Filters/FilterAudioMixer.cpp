#include "Proc/Filters/Filters/FilterAudioMixer.h"

#include <algorithm>
#include <stdexcept>

#include "Proc/Algorithms/AudioAlg.h"
#include "contracts/Conf/IPreset.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"
#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"

namespace Tarsel::Proc {

namespace {

/// A stream that has lost its format since it was added has no say in what is common, and can still be removed.
void Merge(Conf::SampleInfo& common, IStreamAudio const& stream) {
    iptr<Conf::IFormatCodecAudio const> const format = stream.GetFormatCodec();
    if (format) common.MergeWith(format->GetSampleInfo(), Conf::MergeStrategy::Best);
}

double Factor(int percent) {
    return percent / 100.0;
}

}  // namespace

iptr<IFilterAudioMixer> FilterAudioMixer::Create(iptr<IFilterFactory const> const& factory) {
    return MakeShared<FilterAudioMixer>(factory);
}

FilterAudioMixer::FilterAudioMixer(iptr<IFilterFactory const> const& factory) : factory(factory) {
    if (!factory) TARSEL_THROW(std::invalid_argument, "factory is NULL");
}

// --- Streams ---------------------------------------------------------------------------------------------------------

Conf::SampleInfo FilterAudioMixer::CommonSampleInfo() const {
    Conf::SampleInfo common;
    common.Init(Conf::SAMPLE_FORMAT_NONE, -1, Conf::CHANNEL_LAYOUT_NONE);
    for (MixerEntry const& entry : entries) Merge(common, *entry.source);
    return common;
}

void FilterAudioMixer::ConformTo(Conf::SampleInfo const& info) {
    for (MixerEntry const& entry : entries) entry.resampler->SetSampleInfo(info);
}

FilterAudioMixer::MixerEntry FilterAudioMixer::Conform(iptr<IStreamAudio> const& stream,
                                                       Conf::SampleInfo const& info) const {
    iptr<IFilterResample> const resampler = factory->CreateResample(stream, ImplNames::DEFAULT);
    resampler->SetSampleInfo(info);
    iptr<IFilterAudioFormatter> const packetiser = factory->CreateAudioFormatter(resampler, ImplNames::DEFAULT);
    return {stream, packetiser, resampler, packetiser, 1.0, false, MixerInput(packetiser, factory)};
}

void FilterAudioMixer::AddStream(iptr<IStreamAudio> const& stream, int volume) {
    if (!stream) TARSEL_THROW(std::invalid_argument, "source is NULL");
    iptr<Conf::IFormatCodecAudio const> const format = stream->GetFormatCodec();
    if (!format) TARSEL_THROW(FilterException, "Stream format is NULL.");
    Conf::SampleInfo const before = CommonSampleInfo();
    Conf::SampleInfo after = before;
    after.MergeWith(format->GetSampleInfo(), Conf::MergeStrategy::Best);
    bool const lifts = after != before;
    try {
        if (lifts) ConformTo(after);
        entries.push_back(Conform(stream, after));
        entries.back().volume = Factor(volume);
    } catch (...) {
        // The others would go on in a format that this filter doesn't say it has.
        if (lifts) ConformTo(before);
        throw;
    }
}

void FilterAudioMixer::RemoveStream(iptr<IStreamAudio> const& stream) {
    RemoveStreamAt(FindStream(stream));
}

void FilterAudioMixer::RemoveStreamAt(int index) {
    // An index below 0 is beyond all that there are, too.
    if (static_cast<std::size_t>(index) >= entries.size()) return;
    Conf::SampleInfo const before = CommonSampleInfo();
    entries.erase(entries.begin() + index);
    Conf::SampleInfo const after = CommonSampleInfo();
    if (after != before) ConformTo(after);
}

int FilterAudioMixer::FindStream(iptr<IStreamAudio> const& stream) {
    auto const found =
        std::find_if(entries.begin(), entries.end(), [&](MixerEntry const& entry) { return entry.source == stream; });
    return found == entries.end() ? -1 : static_cast<int>(found - entries.begin());
}

void FilterAudioMixer::SetVolumeAt(uint32 index, int volume) {
    if (index < entries.size()) entries[index].volume = Factor(volume);
}

void FilterAudioMixer::SetVolume(iptr<IStreamAudio> const& stream, int volume) {
    // The place of an absent stream is beyond all that there can be.
    SetVolumeAt(static_cast<uint32>(FindStream(stream)), volume);
}

void FilterAudioMixer::UpdateFormat() {
    ConformTo(CommonSampleInfo());
}

// --- Reading ---------------------------------------------------------------------------------------------------------

iptr<IDataAudio> FilterAudioMixer::Read() {
    for (MixerEntry& entry : entries)
        if (!entry.finished) entry.finished = !entry.input.Load();
    if (aligning) AlignHeads();
    auto const first =
        std::find_if(entries.begin(), entries.end(), [](MixerEntry const& entry) { return !entry.finished; });
    if (first == entries.end()) return nullptr;
    // To be asked now: the mix takes the head away.
    int64 const time = first->input.HeadTime();
    int64 const duration = first->input.HeadDuration();
    iptr<IDataAudio> result = Mix(first->input.HeadInfo(), first->input.HeadCount());
    result->SetTime(time);
    result->SetDuration(duration);
    position = AddTime(time, duration);
    ++blocksRead;
    return result;
}

iptr<IDataAudio> FilterAudioMixer::Mix(Conf::SampleInfo const& info, int count) {
    // All that reads comes first: when it fails, nothing has been taken from anyone.
    for (MixerEntry& entry : entries) {
        if (entry.finished) continue;
        entry.input.Prepare(count, info);
        // Its last blocks may have come to nothing in another format.
        entry.finished = !entry.input.Load();
    }
    iptr<IDataAudio> result = DataAudioFF::CreateBySampleCount(info, count);
    std::vector<iptr<IDataAudio>> blocks;
    std::vector<MixSource> sources;
    blocks.reserve(entries.size());
    sources.reserve(entries.size());
    for (MixerEntry& entry : entries) {
        if (entry.finished) continue;
        blocks.push_back(entry.input.Take(count, info));
        sources.emplace_back(blocks.back(), entry.volume);
    }
    AudioBlockView mixed(result);
    MixAudio(mixed, sources);
    return result;
}

void FilterAudioMixer::AlignHeads() {
    int64 const asked = position;
    int64 start = NO_VALUE;
    for (MixerEntry const& entry : entries) {
        if (entry.finished) continue;
        int64 const time = entry.input.HeadTime();
        if (time <= asked) start = std::max(start, time);
    }
    for (MixerEntry& entry : entries) {
        if (entry.finished) continue;
        entry.input.DropUntil(start);
        entry.finished = !entry.input.Load();
    }
    aligning = false;
}

// --- Seek ------------------------------------------------------------------------------------------------------------

void FilterAudioMixer::RequestSeek(int64 target, iptr<IRefCountable> seekContext) {
    for (MixerEntry& entry : entries) {
        entry.finished = false;
        entry.input.Reset();
        entry.output->RequestSeek(target, seekContext);
    }
    position = target;
    aligning = true;
}

void FilterAudioMixer::DoSeek() {
    for (MixerEntry const& entry : entries) entry.output->DoSeek();
}

bool FilterAudioMixer::FinishSeek() {
    bool done = true;
    // Each one is waited for.
    for (MixerEntry const& entry : entries) done = entry.output->FinishSeek() && done;
    return done;
}

// --- All streams -----------------------------------------------------------------------------------------------------

void FilterAudioMixer::Initialize(Core::Property const& property) {
    if (property.Name() != CLASS_ID)
        TARSEL_THROW(FilterException, "Object was initialized with incorrect class (" + property.Name() + ")!");
}

Core::Property FilterAudioMixer::GetSettings() {
    return Core::Property(CLASS_ID).SetChild(Conf::IPreset::KEY_TYPE_ID, "");
}

int64 FilterAudioMixer::GetDuration() const {
    if (entries.empty()) return 0;
    int64 longest = NO_VALUE;  // below all that are known
    for (MixerEntry const& entry : entries) longest = std::max(longest, entry.output->GetDuration());
    return longest;
}

iptr<Conf::IFormatCodecAudio const> FilterAudioMixer::GetFormatCodec() const {
    iptr<Conf::IFormatCodecAudio> const format = Conf::IFormatCodecAudio::Create();
    format->SetSampleInfo(CommonSampleInfo());
    return format;
}

Core::Property FilterAudioMixer::GetStatistic() {
    Core::Property result = Core::MakeStatistics("Tarsel::Proc::FilterAudioMixer::GetStatistic", readTime, blocksRead);
    for (MixerEntry const& entry : entries) result.Add(entry.output->GetStatistic());
    return result;
}

void FilterAudioMixer::SetEndOfStream() {
    for (MixerEntry const& entry : entries) entry.output->SetEndOfStream();
}

bool FilterAudioMixer::IsEndOfStream() {
    return std::any_of(entries.begin(), entries.end(),
                       [](MixerEntry const& entry) { return entry.output->IsEndOfStream(); });
}

void FilterAudioMixer::ReleaseInternalData() {
    for (MixerEntry& entry : entries) {
        entry.input.Reset();
        entry.output->ReleaseInternalData();
    }
}

void FilterAudioMixer::Accept(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterAudioMixer", Visitors::FRAME_TYPE_FILTER, nullptr);
    for (MixerEntry const& entry : entries) entry.output->Accept(visitor);
}

}  // namespace Tarsel::Proc
