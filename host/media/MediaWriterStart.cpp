// How a writer begins: the first packets are held until it is known where the earliest one stands.
#include <algorithm>
#include <utility>

#include "host/media/Containers.h"
#include "host/media/MediaWriter.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace Tarsel::Host {

namespace {

/// Packets that are held back at most until each stream has shown its first.
constexpr std::size_t MAX_HELD = 256;
/// Offsets between streams that nobody hears, in microseconds.
constexpr int64 SMALL_OFFSET = 10000;

}  // namespace

bool MediaWriter::HoldsEnough() const {
    if (held.size() >= MAX_HELD) return true;
    for (std::size_t i = 0; i < slots.size(); ++i) {
        // Pictures may be shown ahead of the first one, but never before they are decoded.
        int64 earliest = NO_VALUE;
        int64 decoded = NO_VALUE;
        for (auto const& [number, packet] : held) {
            if (number != static_cast<int>(i)) continue;
            if (!HasValue(earliest) || packet->GetTime() < earliest) earliest = packet->GetTime();
            decoded = packet->GetDecodingTime();
        }
        if (!HasValue(earliest) || (HasValue(decoded) && decoded < earliest)) return false;
    }
    return true;
}

/// AVI's readers show a picture that others follow in decoding order when the next one is decoded. Where the pictures
/// shown ahead of the first one were cut off, they leave a gap behind it that would move it, and the pictures with it.
void MediaWriter::CloseFirstGaps() {
    for (std::size_t i = 0; i < slots.size(); ++i) {
        AVStream const& stream = *slots[i].stream;
        if (stream.codecpar->codec_type != AVMEDIA_TYPE_VIDEO || stream.avg_frame_rate.num <= 0) continue;
        std::vector<Proc::IDataPacket*> first;
        for (auto const& [number, packet] : held)
            if (number == static_cast<int>(i) && first.size() < 2) first.push_back(packet.get());
        if (first.size() < 2 || !HasValue(first[0]->GetDecodingTime()) || !HasValue(first[1]->GetDecodingTime()))
            continue;
        int64 const picture = ToMicroseconds(1, av_inv_q(stream.avg_frame_rate));
        int64 const closed = SubTime(first[1]->GetDecodingTime(), picture);
        // Never behind the time at which the picture itself is shown.
        slots[i].firstDecodingTime = std::max(first[0]->GetDecodingTime(), std::min(closed, first[0]->GetTime()));
    }
}

int64 MediaWriter::StartOf(Slot const& slot, Proc::IDataPacket const& packet) {
    if (HasValue(slot.firstDecodingTime)) return slot.firstDecodingTime;
    return HasValue(packet.GetDecodingTime()) ? packet.GetDecodingTime() : packet.GetTime();
}

/// By how much a stream begins ahead of time 0 with what is to be heard or seen. An encoder's priming isn't: what the
/// source says to skip, and where it says nothing a packet of sound at most.
int64 MediaWriter::LeadOf(Slot const& slot, Proc::IDataPacket& packet) {
    AVCodecParameters const& parameters = *slot.stream->codecpar;
    int64 lead = SubTime(0, packet.GetTime());
    if (parameters.codec_type != AVMEDIA_TYPE_AUDIO || parameters.sample_rate <= 0) return lead;
    std::size_t size = 0;
    u8 const* const skip = av_packet_get_side_data(packet.GetAVPacket(), AV_PKT_DATA_SKIP_SAMPLES, &size);
    if (skip && size >= 4) lead = SubTime(lead, ToMicroseconds(AV_RL32(skip), {1, parameters.sample_rate}));
    // A microsecond for the rounding of either time.
    return lead > AddTime(packet.GetDuration(), 1) ? lead : 0;
}

/// The writer of MP4 hides what lies ahead of time 0 behind an edit list. So everything begins later, in whole ticks
/// of the pictures, unless the source hides pictures there as well.
int64 MediaWriter::FindLead() const {
    int64 lead = 0;
    AVRational tick = MATROSKA_TICK;
    std::vector<char> seen(slots.size());
    for (auto const& [number, packet] : held) {
        Slot const& slot = slots[static_cast<std::size_t>(number)];
        bool const video = slot.stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        if (video) tick = slot.stream->time_base;
        if ((packet->GetAVPacket()->flags & AV_PKT_FLAG_DISCARD) != 0) {
            if (video) return 0;
            continue;
        }
        // Only the first packet of sound says what is skipped.
        bool const first = std::exchange(seen[static_cast<std::size_t>(number)], char{1}) == 0;
        if ((first || video) && HasValue(packet->GetTime())) lead = std::max(lead, LeadOf(slot, *packet));
    }
    return ToMicroseconds(av_rescale_q_rnd(lead, MICROSECONDS, tick, AV_ROUND_UP), tick);
}

void MediaWriter::SetStartShift() {
    std::vector<char> seen(slots.size());
    if (IsMov(*container)) startShift = FindLead();
    for (auto const& [number, packet] : held) {
        if (IsMov(*container)) break;
        auto const slot = static_cast<std::size_t>(number);
        // Decoding times rise: only the first counts.
        if (IsAvi(*container) && std::exchange(seen[slot], char{1}) != 0) continue;
        int64 time = IsAvi(*container) ? StartOf(slots[slot], *packet) : packet->GetTime();
        if (!IsAvi(*container)) {
            // In whole ticks: a rest would round the times of all streams anew.
            int64 const tick = FromMicroseconds(time, MATROSKA_TICK);
            time = ToMicroseconds(AddTime(tick, slots[slot].delay), MATROSKA_TICK);
        }
        if (HasValue(time)) startShift = std::max(startShift, SubTime(0, time));
    }
    for (unsigned i = 0; i < context->nb_chapters; ++i) {
        AVChapter& chapter = *context->chapters[i];
        chapter.start = AddTime(chapter.start, startShift);
        chapter.end = AddTime(chapter.end, startShift);
    }
}

void MediaWriter::WarnOfLostOffsets() {
    std::vector<char> seen(slots.size());
    for (auto const& [number, packet] : held) {
        auto const slot = static_cast<std::size_t>(number);
        if (std::exchange(seen[slot], char{1}) != 0) continue;
        int64 const start = AddTime(StartOf(slots[slot], *packet), startShift);
        if (HasValue(start) && start > SMALL_OFFSET)
            warnings.push_back(path + ": " + slots[slot].name + " begins " + std::to_string(start / 1000) +
                               " ms early: avi can't hold a later start");
    }
}

void MediaWriter::ReleaseHeld() {
    if (!std::exchange(holding, false)) return;
    if (IsAvi(*container)) CloseFirstGaps();
    SetStartShift();
    if (IsAvi(*container)) WarnOfLostOffsets();
    WriteHeader();
    for (auto const& [number, packet] : std::exchange(held, {}))
        WriteNow(slots[static_cast<std::size_t>(number)], *packet);
}

}  // namespace Tarsel::Host
