#pragma once

#include <map>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"
#include "contracts/Core/ioPath.h"

namespace Tarsel::Proc {

// The record of one run: for each node of a graph the digests of the items that came out of it. Values, none of which
// locks. Whoever uses them links the filters library.

/// One digested item.
class TARSEL_FILTERS_EXPORT PacketCRCInfo {
  public:
    PacketCRCInfo(unsigned index, int64 timeStamp, std::string const& crc);

    /// Place of the item within its node, from 0.
    unsigned GetPacketIndex() const { return packetIndex; }
    /// The item's time, microseconds; no value when it has none.
    int64 GetTimeStamp() const { return timeStamp; }
    /// The digest, a text of any kind.
    std::string const& GetCRC() const { return crc; }
    bool operator==(PacketCRCInfo const&) const = default;

  private:
    unsigned packetIndex;
    int64 timeStamp;
    std::string crc;
};

/// The items of one node, in order of arrival.
class TARSEL_FILTERS_EXPORT FilterCRCInfo {
  public:
    explicit FilterCRCInfo(int64 graphNodeId);

    /// Appends an item whose index is the present length. Argument order as it is: the time comes first.
    void AddPacketCRCInfo(int64 timeStamp, std::string const& crc);
    int64 GetGraphNodeId() const { return graphNodeId; }
    std::vector<PacketCRCInfo> const& GetPacketCRCInfoList() const { return packets; }
    bool operator==(FilterCRCInfo const&) const = default;

  private:
    int64 graphNodeId;
    std::vector<PacketCRCInfo> packets;
};

/// The record of a whole run, and its JSON file (as `write_json` of Boost.PropertyTree writes it: every value is a
/// string, four spaces of indent).
class TARSEL_FILTERS_EXPORT GraphCRCData {
  public:
    /// Appends an item to its node, which is entered when it is new, and counts it.
    void AddPacketCRCInfo(int64 graphNodeId, int64 timeStamp, std::string const& crc);
    void Clear();
    /// By node id, ascending.
    std::map<int64, FilterCRCInfo> const& GetFilterCRCInfoList() const { return filters; }
    unsigned GetFilterCount() const { return static_cast<unsigned>(filters.size()); }
    /// All items of all nodes. Of a record from a file: what the file says.
    unsigned GetPacketCount() const { return packetCount; }
    /// The graph description and the media that the run used; empty when they weren't told.
    ioPath const& GetSourceGraphFileName() const { return sourceGraphFileName; }
    ioPath const& GetSourceMediaFileName() const { return sourceMediaFileName; }
    void SetSourceGraphFileName(ioPath const& fileName) { sourceGraphFileName = fileName; }
    void SetSourceMediaFileName(ioPath const& fileName) { sourceMediaFileName = fileName; }

    /// Replaces everything by what a file holds. A missing, unreadable or malformed file throws Boost's
    /// `json_parser_error`, a missing key `ptree_bad_path`, a value that isn't the wanted number `ptree_bad_data`. The
    /// object then holds what was read in front of the failure: count, names and whole nodes.
    void LoadFromFile(ioPath const& fileName);
    /// Throws `json_parser_error` when the file can't be written.
    void SaveToFile(ioPath const& fileName) const;
    bool operator==(GraphCRCData const&) const = default;

  private:
    unsigned packetCount = 0;
    ioPath sourceGraphFileName;
    ioPath sourceMediaFileName;
    std::map<int64, FilterCRCInfo> filters;
};

}  // namespace Tarsel::Proc
