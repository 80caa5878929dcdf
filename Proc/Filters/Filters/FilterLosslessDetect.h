#pragma once

#include <string>
#include <vector>

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFilterLosslessDetect.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsLosslessDetect.h"

namespace Tarsel::Proc {

/// Looks at each packet that goes by and judges whether the stream can be cut without loss.
///
/// Goes in: packets of one stream in decoding order. Comes out: the same objects, unchanged. Seek and end: the
/// source's. A seek breaks the comparison of times, so that a step back in the stream is no finding; what was found
/// stays found. Times are looked at in every stream, the units of packets in HEVC alone, and there only with a global
/// header, which tells their framing. Threads: one consumer; `Initialize`, the verdict and `GetStatistic` from any
/// thread.
class FilterLosslessDetect final : public IFilterLosslessDetect, public StreamImpl<IStreamRaw, IStreamRaw> {
  public:
    /// The factory of the registry. Throws `std::bad_cast` for settings of another class and `std::invalid_argument`
    /// for a null source.
    static iptr<IFilterLosslessDetect> Create(iptr<IStreamRaw> const& source, Settings const& settings);

    explicit FilterLosslessDetect(iptr<IStreamRaw> source);
    ~FilterLosslessDetect() override { StopReaderThread(); }

    /// Takes `Property2SettingsLosslessDetect`. A property of another name throws `FilterException` "Filter was
    /// initialized with incorrect class (" and the name.
    void Initialize(Core::Property const& property) override;
    /// Begins anew: verdict, counters and findings are those of a filter that has seen nothing. Throws
    /// `FilterException` "Source format codec must be present".
    void Initialize(SettingsLosslessDetect const& newSettings) override;
    Core::Property GetSettings() override;
    Core::Property GetStatistic() override;
    MediaType GetMediaType() const override { return parentStream->GetMediaType(); }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return parentStream->GetFormatCodec(); }

    bool IsLosslessPossible() const override;
    bool HasCraPackets() const override;
    std::vector<std::string> GetFindings() const override;
    /// Packets without a presentation time.
    u32 GetBadPtsTotal() const;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataPacket> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

  private:
    using Check = void (FilterLosslessDetect::*)(iptr<IDataPacket> const&);
    /// What a check looks at.
    enum class CheckKind { Times, NalUnits };
    struct CheckRecord {
        CheckKind kind;
        char const* codecId;  // null: for every codec
        Check check;
    };
    static CheckRecord const CHECKS[];

    /// All that has been seen since `Initialize`.
    struct Verdict {
        bool losslessPossible = true;
        bool noCraPackets = true;
        u32 badPtsTotal = 0;
        u32 badPtsInRow = 0;
        int64 lastDts = NO_VALUE;
        std::vector<std::string> findings;
    };

    void CheckBadPts(iptr<IDataPacket> const& packet) TARSEL_REQUIRES(stateLock);
    void CheckHevcCra(iptr<IDataPacket> const& packet) TARSEL_REQUIRES(stateLock);
    void CheckDtsNotAbovePts(iptr<IDataPacket> const& packet) TARSEL_REQUIRES(stateLock);
    void CheckDtsIncreases(iptr<IDataPacket> const& packet) TARSEL_REQUIRES(stateLock);
    /// Logs a finding and keeps its text, once.
    void Report(iptr<IDataPacket> const& packet, char const* finding) TARSEL_REQUIRES(stateLock);

    /// Guards the members below; never held while the source is called.
    mutable Core::Mutex stateLock;
    SettingsLosslessDetect settings TARSEL_GUARDED_BY(stateLock);
    std::vector<Check> checks TARSEL_GUARDED_BY(stateLock);  // run in order on each packet
    int nalLengthSize TARSEL_GUARDED_BY(stateLock) = 0;      // 0: Annex B
    Verdict verdict TARSEL_GUARDED_BY(stateLock);
    int64 processingTime TARSEL_GUARDED_BY(stateLock) = 0;
    u32 packetCount TARSEL_GUARDED_BY(stateLock) = 0;
};

}  // namespace Tarsel::Proc
