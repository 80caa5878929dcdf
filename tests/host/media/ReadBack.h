#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "contracts/Proc/IStream.h"
#include "host/media/MediaFile.h"
#include "host/media/MediaWriter.h"

namespace Tarsel::Test {

/// A packet as libavformat alone reads it, times in the container's ticks.
struct RawPacket {
    std::int64_t pts = 0;
    std::int64_t dts = 0;
    std::int64_t duration = 0;
    bool key = false;
    std::string digest;
    /// Of the units between start codes, whatever their order and the length of the codes: what a change of framing
    /// keeps.
    std::string unitDigest;

    bool operator==(RawPacket const&) const = default;
};
std::ostream& operator<<(std::ostream& out, RawPacket const& packet);

/// All packets of a file by stream, read without this project's host.
std::map<int, std::vector<RawPacket>> ReadBack(std::string const& path);

/// A packet as a stream of the host gives it.
struct Item {
    int64 time = 0;
    int64 decodingTime = 0;
    int64 duration = 0;
    bool key = false;
    std::string digest;

    bool operator==(Item const&) const = default;
};
std::ostream& operator<<(std::ostream& out, Item const& item);

Item ToItem(Proc::IDataPacket& packet);
/// Reads on to the end, or until there are `most` items.
std::vector<Item> ReadItems(Proc::IStreamRaw& stream, std::size_t most = static_cast<std::size_t>(-1));

/// Copies everything from a file into a writer that has not begun, and finishes it.
void CopyAll(Host::MediaFile& file, Host::MediaWriter& writer);
/// The same from path to path; gives the writer's warnings.
std::vector<std::string> CopyFile(std::string const& from, std::string const& to);

}  // namespace Tarsel::Test
