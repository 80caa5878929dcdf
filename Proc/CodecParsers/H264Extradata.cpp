#include <algorithm>
#include <bitset>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Proc/CodecParsers/ExpGolomb.h"
#include "Proc/CodecParsers/ExtradataBytes.h"
#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "contracts/Core/BitIO.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

void AppendAfterLength(std::string& out, NaluRange const& unit) {
    if (unit.size > 0xFFFF)
        TARSEL_THROW(Exception, "Parameter set of " + std::to_string(unit.size) +
                                    " bytes is too big for avcC header, 65535 at most");
    AppendByte(out, unit.size >> 8);
    AppendByte(out, unit.size);
    Append(out, unit.data, unit.size);
}

bool IsAvcC(IBlob const* extradata) {
    return IsAvcCHeader(extradata ? extradata->GetData() : nullptr, extradata ? extradata->GetSize() : 0);
}

// Refuses null and empty extradata: neither has a form.
IBlob const& Require(iptr<IBlob> const& extradata) {
    IsAvcC(extradata.get());
    return *extradata;
}

NaluRangeList FindUnits(IBlob const& extradata) {
    NaluRangeList units;
    FindExtradataNalus(extradata.GetData(), extradata.GetSize(), units);
    return units;
}

NaluRange GetFirst(IBlob const& extradata, u32 type) {
    return GetFirstNaluOfType(extradata.GetData(), extradata.GetSize(), type);
}

bool SameBytes(NaluRange const& a, NaluRange const& b) {
    return std::equal(a.data, a.data + a.size, b.data, b.data + b.size);
}

// One SPS or PPS with the number under which slices name it.
struct NumberedSet {
    NaluRange unit;
    u32 id = 0;
    u32 spsId = 0;  // of a PPS: the SPS that it refers to; of an SPS: `id`
};

struct ParameterSets {
    std::vector<NumberedSet> sps;
    std::vector<NumberedSet> pps;
};

NumberedSet ReadNumbers(NaluRange const& unit, u32 type) {
    Bytes const payload = RemoveEmulationPrevention(unit.data, unit.size);
    Core::DataBitInput in(Core::DataInputMemory::Create(payload.data(), payload.size()));
    // Ahead of its id an SPS has the NAL header, profile, constraints and level, a PPS the NAL header alone.
    in.ReadBits(type == H264_NALU_SPS ? 32 : 8);
    u32 const id = ReadUE(in);
    return {unit, id, type == H264_NALU_SPS ? id : ReadUE(in)};
}

ParameterSets FindParameterSets(IBlob const& extradata) {
    ParameterSets sets;
    for (NaluRange const& unit : FindUnits(extradata)) {
        if (unit.size == 0) continue;
        u32 const type = GetH264NaluType(unit);
        if (type == H264_NALU_SPS) sets.sps.push_back(ReadNumbers(unit, type));
        if (type == H264_NALU_PPS) sets.pps.push_back(ReadNumbers(unit, type));
    }
    return sets;
}

// The sets of `added` that `present` lacks. Two different sets under one number would make pictures decode under the
// wrong one, so that is refused.
std::vector<NumberedSet> FindMissing(std::vector<NumberedSet> const& present, std::vector<NumberedSet> const& added,
                                     char const* kind) {
    // Annex B can hold any number of sets.
    std::unordered_map<u32, NumberedSet const*> firstOfId;
    for (NumberedSet const& set : present) firstOfId.emplace(set.id, &set);
    std::vector<NumberedSet> missing;
    for (NumberedSet const& set : added) {
        auto const same = firstOfId.find(set.id);
        if (same == firstOfId.end())
            missing.push_back(set);
        else if (!SameBytes(same->second->unit, set.unit))
            TARSEL_THROW(Exception, std::string("Can't merge extradata: both sides have ") + kind + " " +
                                        std::to_string(set.id) + " and they differ");
    }
    return missing;
}

void RequireCount(std::size_t count, std::size_t limit, char const* kind) {
    if (count > limit)
        TARSEL_THROW(Exception, std::string("Can't merge extradata: ") + std::to_string(count) + " " + kind +
                                    ", avcC header holds " + std::to_string(limit) + " at most");
}

// Where the two lists of an avcC end, and how many units they have.
struct AvccLayout {
    std::size_t spsEnd = 6;
    std::size_t ppsEnd = 0;
    std::size_t spsCount = 0;
    std::size_t ppsCount = 0;
};

AvccLayout GetAvccLayout(IBlob const& avcc) {
    AvccLayout layout;
    NaluRangeList const units = FindUnits(avcc);
    layout.spsCount = avcc.GetData()[5] & 31U;
    layout.ppsCount = units.size() - layout.spsCount;
    std::size_t index = 0;
    for (; index < layout.spsCount; ++index) layout.spsEnd += 2 + units[index].size;
    layout.ppsEnd = layout.spsEnd + 1;
    for (; index < units.size(); ++index) layout.ppsEnd += 2 + units[index].size;
    return layout;
}

// `avcc` with more units at the end of its two lists. All else stays, byte for byte: units of other types, and behind
// the PPS the fields of the higher profiles.
std::string ExtendAvcc(IBlob const& avcc, std::vector<NumberedSet> const& sps, std::vector<NumberedSet> const& pps) {
    AvccLayout const layout = GetAvccLayout(avcc);
    u8 const* const data = avcc.GetData();
    RequireCount(layout.spsCount + sps.size(), 31, "SPS");
    RequireCount(layout.ppsCount + pps.size(), 255, "PPS");
    std::string out;
    Append(out, data, 5);
    AppendByte(out, 0xE0 | (layout.spsCount + sps.size()));
    Append(out, data + 6, layout.spsEnd - 6);
    for (NumberedSet const& set : sps) AppendAfterLength(out, set.unit);
    AppendByte(out, layout.ppsCount + pps.size());
    Append(out, data + layout.spsEnd + 1, layout.ppsEnd - layout.spsEnd - 1);
    for (NumberedSet const& set : pps) AppendAfterLength(out, set.unit);
    Append(out, data + layout.ppsEnd, avcc.GetSize() - layout.ppsEnd);
    return out;
}

}  // namespace

iptr<IBlob> H264_Extradata_Mp4toAnnexB(iptr<IBlob> extradata) {
    if (!extradata || !IsAvcC(extradata.get())) return extradata;
    std::string out;
    for (NaluRange const& unit : FindUnits(*extradata)) AppendAfterStartCode(out, unit);
    return MakeExtradata(out);
}

iptr<IBlob> H264_Extradata_AnnexBtoMp4(iptr<IBlob> extradata) {
    if (IsAvcC(extradata.get())) return extradata;
    NaluRangeList const units = FindUnits(*extradata);
    NaluRangeList const sps = FilterNalusByType(units, H264_NALU_SPS);
    NaluRangeList const pps = FilterNalusByType(units, H264_NALU_PPS);
    if (sps.empty() || pps.empty()) TARSEL_THROW(Exception, "No sps or pps found!");
    if (sps.front().size <= 3)
        TARSEL_THROW(Exception, "At least 4 bytes requires from first sps to form the avcc header");
    std::string out;
    AppendByte(out, 1);                    // configurationVersion
    Append(out, sps.front().data + 1, 3);  // AVCProfileIndication, profile_compatibility, AVCLevelIndication
    AppendByte(out, 0xFF);                 // lengthSizeMinusOne 3
    AppendByte(out, 0xE0 | sps.size());    // meant: the count isn't masked to its five bits
    for (NaluRange const& unit : sps) AppendAfterLength(out, unit);
    AppendByte(out, pps.size());
    for (NaluRange const& unit : pps) AppendAfterLength(out, unit);
    return MakeExtradata(out);
}

iptr<IBlob> MergeH264Extradata(iptr<IBlob> first, iptr<IBlob> second) {
    std::string out;
    if (!IsAvcC(first.get())) {
        Append(out, first->GetData(), first->GetSize());
        if (!IsAvcC(second.get()))
            Append(out, second->GetData(), second->GetSize());
        else
            for (NaluRange const& unit : FindUnits(*second)) AppendAfterStartCode(out, unit);
        return MakeExtradata(out);
    }
    // Looked for first: an avcC too short for its fixed head is refused here.
    NaluRange const sps = GetFirst(*first, H264_NALU_SPS);
    Append(out, first->GetData(), 5);
    AppendByte(out, 0xE2);
    AppendAfterLength(out, sps);
    AppendAfterLength(out, GetFirst(Require(second), H264_NALU_SPS));
    AppendByte(out, 2);
    AppendAfterLength(out, GetFirst(*first, H264_NALU_PPS));
    AppendAfterLength(out, GetFirst(*second, H264_NALU_PPS));
    return MakeExtradata(out);
}

u32 GetFirstFreeParameterSetId(iptr<IBlob> extradata) {
    if (!extradata) return 1;
    u32 lowest = 0;
    NaluRangeList const units = FindUnits(*extradata);
    for (u32 const type : {H264_NALU_SPS, H264_NALU_PPS}) {
        for (NaluRange const& unit : FilterNalusByType(units, type)) {
            Core::DataBitInput in(Core::DataInputMemory::Create(unit.data, unit.size));
            in.ReadBits(type == H264_NALU_SPS ? 32 : 8);
            // Meant: the value starts at 0, so no id is ever below it, and the answer is always 1.
            lowest = std::min(lowest, ReadUE(in));
        }
    }
    return lowest + 1;
}

bool HasOnlyOneSpsAndPpsOtherThanId1(iptr<IBlob> extradata) {
    if (!extradata) return false;
    ParameterSets const sets = FindParameterSets(*extradata);
    return sets.sps.size() == 1 && sets.pps.size() == 1 && sets.sps[0].id != 1 && sets.pps[0].id != 1;
}

iptr<IBlob> MergeAllH264ParameterSets(iptr<IBlob> source, iptr<IBlob> encoder) {
    ParameterSets const present = FindParameterSets(Require(source));
    ParameterSets const added = FindParameterSets(Require(encoder));
    if (added.sps.empty() || added.pps.empty()) TARSEL_THROW(Exception, "No sps or pps found!");
    auto const sps = FindMissing(present.sps, added.sps, "SPS");
    auto const pps = FindMissing(present.pps, added.pps, "PPS");
    if (IsAvcC(source.get())) return MakeExtradata(ExtendAvcc(*source, sps, pps));
    std::string out;
    Append(out, source->GetData(), source->GetSize());
    for (NumberedSet const& set : sps) AppendAfterStartCode(out, set.unit);
    for (NumberedSet const& set : pps) AppendAfterStartCode(out, set.unit);
    return MakeExtradata(out);
}

std::optional<u32> FindFreeParameterSetId(iptr<IBlob> extradata) {
    if (!extradata) return std::nullopt;
    constexpr u32 COUNT = 32;  // seq_parameter_set_id is 0 to 31
    std::bitset<COUNT> taken;
    auto const take = [&taken](u32 id) {
        if (id < COUNT) taken.set(id);
    };
    ParameterSets const sets = FindParameterSets(*extradata);
    for (NumberedSet const& set : sets.sps) take(set.id);
    for (NumberedSet const& set : sets.pps) {
        take(set.id);
        take(set.spsId);  // an SPS that only the packets carry
    }
    for (u32 id = 0; id < COUNT; ++id)
        if (!taken.test(id)) return id;
    return std::nullopt;
}

}  // namespace Tarsel::Proc::CodecParsers
