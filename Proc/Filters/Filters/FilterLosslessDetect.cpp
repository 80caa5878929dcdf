#include "Proc/Filters/Filters/FilterLosslessDetect.h"

#include <glog/logging.h>

#include <algorithm>
#include <boost/exception/diagnostic_information.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

using namespace CodecParsers;

namespace {

/// What stands in front of a line about a packet: its time; without one its decoding time.
int64 GetLogTime(IDataPacket const& packet) {
    return HasValue(packet.GetTime()) ? packet.GetTime() : packet.GetDecodingTime();
}

/// Bytes of a length field in the packets of an HEVC stream, 0 for Annex B; nothing when it can't be told.
std::optional<int> FindLengthSize(iptr<IBlob> const& extradata) {
    if (!extradata || extradata->GetSize() == 0) {
        LOG(WARNING) << "There is no global header in stream, can't search fro CRA packets in hevc stream";
        return std::nullopt;
    }
    try {
        return GetHvccNALULengthSize(extradata->GetData(), extradata->GetSize());
    } catch (Exception const& failure) {
        LOG(WARNING) << "Global header is broken, can't search for CRA packets in hevc stream: " << failure.what();
    }
    return std::nullopt;
}

}  // namespace

FilterLosslessDetect::CheckRecord const FilterLosslessDetect::CHECKS[] = {
    {CheckKind::Times, nullptr, &FilterLosslessDetect::CheckBadPts},
    {CheckKind::NalUnits, Conf::IFormatCodecVideo::CODEC_ID_H265, &FilterLosslessDetect::CheckHevcCra},
    {CheckKind::Times, nullptr, &FilterLosslessDetect::CheckDtsNotAbovePts},
    {CheckKind::Times, nullptr, &FilterLosslessDetect::CheckDtsIncreases},
};

// --- Set-up ----------------------------------------------------------------------------------------------------------

iptr<IFilterLosslessDetect> FilterLosslessDetect::Create(iptr<IStreamRaw> const& source, Settings const& settings) {
    auto filter = MakeShared<FilterLosslessDetect>(source);
    filter->Initialize(dynamic_cast<SettingsLosslessDetect const&>(settings));
    return filter;
}

FilterLosslessDetect::FilterLosslessDetect(iptr<IStreamRaw> source) : StreamImpl(std::move(source), false) {}

void FilterLosslessDetect::Initialize(Core::Property const& property) {
    if (property.Name() != SettingsLosslessDetect::CLASS_ID)
        TARSEL_THROW(FilterException, "Filter was initialized with incorrect class (" + property.Name() + ")!");
    Initialize(Property2SettingsLosslessDetect(property));
}

void FilterLosslessDetect::Initialize(SettingsLosslessDetect const& newSettings) {
    iptr<Conf::IFormatCodec const> const format = parentStream->GetFormatCodec();
    if (!format) TARSEL_THROW(FilterException, "Source format codec must be present");
    std::vector<Check> chosen;
    int lengthSize = 0;
    for (CheckRecord const& record : CHECKS) {
        if (record.codecId && format->GetCodecID() != record.codecId) continue;
        if (record.kind == CheckKind::NalUnits) {
            std::optional<int> const found = FindLengthSize(format->GetExtradata());
            if (!found) continue;
            lengthSize = *found;
        }
        chosen.push_back(record.check);
    }
    Core::MutexLock const lock(stateLock);
    settings = newSettings;
    codecId = format->GetCodecID();
    checks = std::move(chosen);
    nalLengthSize = lengthSize;
    verdict = Verdict();
}

Core::Property FilterLosslessDetect::GetSettings() {
    Core::MutexLock const lock(stateLock);
    return Settings2Property(settings);
}

// --- Packets ---------------------------------------------------------------------------------------------------------

iptr<IDataPacket> FilterLosslessDetect::ReadInternal() {
    iptr<IDataPacket> packet = parentStream->Read();
    if (!packet) return nullptr;
    Core::MutexLock const lock(stateLock);
    ++packetCount;
    for (Check const check : checks) (this->*check)(packet);
    return packet;
}

void FilterLosslessDetect::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    parentStream->RequestSeek(target, seekContext);
}

void FilterLosslessDetect::DoSeekInternal() {
    {
        // The next packet doesn't follow the last one.
        Core::MutexLock const lock(stateLock);
        verdict.lastDts = NO_VALUE;
        verdict.badPtsInRow = 0;
    }
    parentStream->DoSeek();
}

void FilterLosslessDetect::CheckBadPts(iptr<IDataPacket> const& packet) {
    if (HasValue(packet->GetTime())) {
        verdict.badPtsInRow = 0;
        return;
    }
    ++verdict.badPtsInRow;
    ++verdict.badPtsTotal;
    if (verdict.badPtsInRow <= settings.GetMaxBadPtsInRow()) return;
    Report(packet, "Lossless impossible: too many sequental bad pts");
    verdict.losslessPossible = false;
}

void FilterLosslessDetect::CheckHevcCra(iptr<IDataPacket> const& packet) {
    if (!verdict.noCraPackets) return;
    iptr<IBlob> const payload = packet->GetBlob();
    NaluRangeList units;
    try {
        if (nalLengthSize == 0)
            FindAnnexBNalus(payload->GetData(), payload->GetSize(), units);
        else
            FindMP4Nalus(payload->GetData(), payload->GetSize(), units, nalLengthSize);
    } catch (std::logic_error const& failure) {
        // The units ahead of the broken one are looked at all the same.
        VLOG(31) << "[" << GetLogTime(*packet) << "]: NAL units are malformed: " << failure.what();
    } catch (Exception const& failure) {
        VLOG(31) << "[" << GetLogTime(*packet) << "]: NAL units are malformed: " << failure.what();
    }
    bool const found = std::any_of(units.begin(), units.end(), [](NaluRange const& unit) {
        return unit.size != 0 && GetHEVCNaluType(unit) == HEVC_NALU_CRA_NUT;
    });
    if (!found) return;
    Report(packet, "Lossless cut impossible: hevc stream has CRA packets instead of IDR");
    // Meant: this alone doesn't make a lossless cut impossible.
    verdict.noCraPackets = false;
}

void FilterLosslessDetect::CheckDtsNotAbovePts(iptr<IDataPacket> const& packet) {
    int64 const pts = packet->GetTime();
    int64 const dts = packet->GetDecodingTime();
    if (!HasValue(pts) || !HasValue(dts) || dts <= pts) return;
    Report(packet, "Lossless impossible: dts > pts");
    verdict.losslessPossible = false;
}

void FilterLosslessDetect::CheckDtsIncreases(iptr<IDataPacket> const& packet) {
    int64 const dts = packet->GetDecodingTime();
    if (!HasValue(dts)) return;
    if (HasValue(verdict.lastDts) && dts <= verdict.lastDts) {
        Report(packet, "Lossless impossible: dts does not increase");
        verdict.losslessPossible = false;
    }
    verdict.lastDts = dts;
}

void FilterLosslessDetect::Report(iptr<IDataPacket> const& packet, char const* finding) {
    VLOG(31) << "[" << GetLogTime(*packet) << "]: " << finding;
    auto& findings = verdict.findings;
    if (std::find(findings.begin(), findings.end(), finding) == findings.end()) findings.emplace_back(finding);
}

// --- Reports ---------------------------------------------------------------------------------------------------------

bool FilterLosslessDetect::IsLosslessPossible() const {
    Core::MutexLock const lock(stateLock);
    return verdict.losslessPossible;
}

bool FilterLosslessDetect::HasCraPackets() const {
    Core::MutexLock const lock(stateLock);
    return !verdict.noCraPackets;
}

std::vector<std::string> FilterLosslessDetect::GetFindings() const {
    Core::MutexLock const lock(stateLock);
    return verdict.findings;
}

u32 FilterLosslessDetect::GetBadPtsTotal() const {
    Core::MutexLock const lock(stateLock);
    return verdict.badPtsTotal;
}

Core::Property FilterLosslessDetect::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::MutexLock const lock(stateLock);
    return result.Add(
        Core::MakeStatistics("Tarsel::Proc::FilterLosslessDetect::GetStatistic", processingTime, packetCount));
}

void FilterLosslessDetect::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterLosslessDetect", Visitors::FRAME_TYPE_FILTER, nullptr);
}

}  // namespace Tarsel::Proc
