#include "host/media/TimeFill.h"

#include <algorithm>
#include <numeric>

namespace Tarsel::Host {

namespace {

bool LacksTime(IndexRecord const& record) {
    return !HasValue(record.time);
}

void SetTime(IndexRecord& record, int64 time) {
    record.time = time;
    record.flags |= IndexRecord::PTS_FILLED;
}

void SetDecodingTime(IndexRecord& record, int64 time) {
    record.decodingTime = time;
    record.flags |= IndexRecord::DTS_FILLED;
}

}  // namespace

PictureOrder::PictureOrder(AVCodecID id, AVCodecParameters const& parameters)
    : parser(av_parser_init(id)), codec(avcodec_alloc_context3(nullptr)) {
    if (parser) parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    if (codec) avcodec_parameters_to_context(codec.get(), &parameters);
}

PictureOrder::~PictureOrder() {
    av_parser_close(parser);
}

void PictureOrder::Add(AVPacket const& packet) {
    int order = 0;
    if (parser && codec) {
        u8* out = nullptr;
        int outSize = 0;
        av_parser_parse2(parser, codec.get(), &out, &outSize, packet.data, packet.size, AV_NOPTS_VALUE, AV_NOPTS_VALUE,
                         packet.pos);
        order = parser->output_picture_number;
    }
    orders.push_back(order);
}

std::vector<std::size_t> PictureOrder::GetRanks(std::vector<IndexRecord> const& records) const {
    if (!parser || !codec || orders.size() != records.size()) return {};
    std::vector<std::size_t> shown(records.size());
    std::iota(shown.begin(), shown.end(), std::size_t{0});
    std::size_t begin = 0;
    bool told = false;
    for (std::size_t i = 1; i <= records.size(); ++i) {
        if (i < records.size() && records[i].randomAccess != RandomAccess::Idr) continue;
        auto const from = shown.begin() + static_cast<std::ptrdiff_t>(begin);
        auto const to = shown.begin() + static_cast<std::ptrdiff_t>(i);
        std::stable_sort(from, to, [this](std::size_t a, std::size_t b) { return orders[a] < orders[b]; });
        told = told || from + 1 == to || orders[*from] != orders[*(to - 1)];
        begin = i;
    }
    // Not one count that moves: the parser couldn't read the headers.
    if (!told) return {};
    std::vector<std::size_t> ranks(records.size());
    for (std::size_t rank = 0; rank < shown.size(); ++rank) ranks[shown[rank]] = rank;
    return ranks;
}

void FillBothTimes(std::vector<IndexRecord>& records, int64 frameTicks) {
    int64 next = 0;
    for (IndexRecord& record : records) {
        if (!HasValue(record.time) && !HasValue(record.decodingTime)) SetDecodingTime(record, next);
        next = AddTime(HasValue(record.decodingTime) ? record.decodingTime : record.time, frameTicks);
    }
}

void FillTimesWithoutReordering(std::vector<IndexRecord>& records, std::vector<u32> const& ticks) {
    int64 next = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        IndexRecord& record = records[i];
        if (LacksTime(record)) SetTime(record, HasValue(record.decodingTime) ? record.decodingTime : next);
        next = AddTime(record.time, ticks[i]);
    }
}

void FillTimesByRank(std::vector<IndexRecord>& records, std::vector<std::size_t> const& ranks, int64 frameTicks) {
    if (records.empty()) return;
    std::size_t delay = 0;
    for (std::size_t i = 0; i < records.size(); ++i)
        if (i > ranks[i]) delay = std::max(delay, i - ranks[i]);
    for (std::size_t i = 0; i < records.size(); ++i) {
        std::size_t const place = ranks[i] + delay;
        std::size_t const last = records.size() - 1;
        int64 const beyond = place > last ? static_cast<int64>(place - last) * frameTicks : 0;
        SetTime(records[i], AddTime(records[std::min(place, last)].decodingTime, beyond));
    }
}

void FillTimesByDelay(std::vector<IndexRecord>& records, int64 frameTicks) {
    int64 nextReference = NO_VALUE;
    for (std::size_t i = records.size(); i-- > 0;) {
        IndexRecord& record = records[i];
        if (!HasValue(record.decodingTime)) continue;
        bool const shownAtOnce = record.time == record.decodingTime;
        if (LacksTime(record)) {
            int64 const end = AddTime(records.back().decodingTime, frameTicks);
            SetTime(record, HasValue(nextReference) ? nextReference : std::max(end, record.decodingTime));
        }
        if (!shownAtOnce) nextReference = record.decodingTime;
    }
}

void FillSingleTimes(std::vector<IndexRecord>& records, int64 frameTicks) {
    int64 last = NO_VALUE;
    for (IndexRecord& record : records) {
        if (LacksTime(record)) {
            int64 const guess =
                HasValue(last) ? AddTime(last, std::max<int64>(frameTicks / 2, 1)) : record.decodingTime;
            SetTime(record, std::max(guess, record.decodingTime));
        }
        last = record.time;
    }
}

namespace {

/// Nothing is known: the n-th picture is decoded `delay` places before the n-th one is shown.
void SpreadDecodingTimes(std::vector<IndexRecord>& records, int64 frameTicks) {
    std::vector<int64> sorted;
    for (IndexRecord const& record : records) sorted.push_back(record.time);
    std::sort(sorted.begin(), sorted.end());
    int64 shift = 0;
    for (std::size_t i = 0; i < records.size(); ++i) shift = std::max(shift, SubTime(sorted[i], records[i].time));
    shift = (shift + frameTicks - 1) / frameTicks;
    auto const delay = static_cast<std::size_t>(shift);
    for (std::size_t i = 0; i < records.size(); ++i) {
        int64 const early = i < delay ? static_cast<int64>(delay - i) * frameTicks : 0;
        int64 time = SubTime(sorted[i < delay ? 0 : i - delay], early);
        if (i != 0 && time <= records[i - 1].decodingTime) time = records[i - 1].decodingTime + 1;
        SetDecodingTime(records[i], time);
    }
}

/// Fills the gap [begin, end), which known decoding times bound on one side at least.
void FillGap(std::vector<IndexRecord>& records, std::size_t begin, std::size_t end, int64 frameTicks) {
    if (end < records.size()) {
        int64 next = records[end].decodingTime;
        int64 step = frameTicks;
        if (begin != 0) {
            int64 const room = SubTime(next, records[begin - 1].decodingTime);
            step = std::min(step, std::max<int64>(room / static_cast<int64>(end - begin + 1), 1));
        }
        for (std::size_t i = end; i-- > begin;) {
            next = std::min(SubTime(next, step), records[i].time);
            SetDecodingTime(records[i], next);
        }
        return;
    }
    int64 last = records[begin - 1].decodingTime;
    for (std::size_t i = begin; i < end; ++i) {
        last = std::max(std::min(AddTime(last, frameTicks), records[i].time), AddTime(last, 1));
        SetDecodingTime(records[i], last);
    }
}

}  // namespace

void FillDecodingTimes(std::vector<IndexRecord>& records, int64 frameTicks) {
    auto const known = [](IndexRecord const& record) { return HasValue(record.decodingTime); };
    if (std::all_of(records.begin(), records.end(), known)) return;
    frameTicks = std::max<int64>(frameTicks, 1);
    if (std::none_of(records.begin(), records.end(), known)) return SpreadDecodingTimes(records, frameTicks);
    for (std::size_t begin = 0; begin < records.size();) {
        if (known(records[begin])) {
            ++begin;
            continue;
        }
        std::size_t end = begin;
        while (end < records.size() && !known(records[end])) ++end;
        FillGap(records, begin, end, frameTicks);
        begin = end;
    }
}

}  // namespace Tarsel::Host
