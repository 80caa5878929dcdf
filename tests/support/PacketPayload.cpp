#include "tests/support/PacketPayload.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace Tarsel::Test {
namespace {

constexpr std::array<u8, 3> START_CODE{0, 0, 1};

using Place = Bytes::const_iterator;

Place FindStartCode(Place from, Place end) {
    return std::search(from, end, START_CODE.begin(), START_CODE.end());
}

std::vector<Bytes> SplitAnnexB(Bytes const& data) {
    std::vector<Bytes> units;
    auto place = FindStartCode(data.begin(), data.end());
    while (place != data.end()) {
        auto const begin = place + 3;
        auto const next = FindStartCode(begin, data.end());
        auto end = next;
        // Zeros in front of a start code belong to the framing.
        while (end != begin && *(end - 1) == 0) --end;
        units.emplace_back(begin, end);
        place = next;
    }
    return units;
}

std::vector<Bytes> SplitLengths(Bytes const& data) {
    std::vector<Bytes> units;
    std::size_t place = 0;
    while (place + 4 <= data.size()) {
        std::size_t const length = static_cast<std::size_t>(data[place]) << 24 |
                                   static_cast<std::size_t>(data[place + 1]) << 16 |
                                   static_cast<std::size_t>(data[place + 2]) << 8 | data[place + 3];
        place += 4;
        std::size_t const size = std::min(length, data.size() - place);
        units.emplace_back(data.begin() + static_cast<std::ptrdiff_t>(place),
                           data.begin() + static_cast<std::ptrdiff_t>(place + size));
        place += size;
    }
    return units;
}

bool IsHeaderUnit(Bytes const& unit, bool hevc) {
    if (unit.empty()) return true;
    if (!hevc) {
        int const type = unit[0] & 31;
        return type >= 7 && type <= 9;
    }
    int const type = unit[0] >> 1 & 63;
    return type >= 32 && type <= 35;
}

Bytes NalPayload(StreamInspection const& stream, PacketInfo const& packet, bool hevc) {
    bool const lengths = !stream.extradata.empty() && stream.extradata[0] == 1;
    Bytes result;
    for (auto const& unit : lengths ? SplitLengths(packet.data) : SplitAnnexB(packet.data)) {
        if (IsHeaderUnit(unit, hevc)) continue;
        result.insert(result.end(), START_CODE.begin(), START_CODE.end());
        auto end = unit.end();
        while (end != unit.begin() && *(end - 1) == 0) --end;
        result.insert(result.end(), unit.begin(), end);
    }
    return result;
}

/// From the first unit on that `starts` accepts by its code; the whole packet without one.
template <class Starts>
Bytes FromUnit(Bytes const& data, Starts const& starts) {
    for (auto place = FindStartCode(data.begin(), data.end()); place != data.end();
         place = FindStartCode(place + 3, data.end()))
        if (place + 3 != data.end() && starts(place[3])) return {place, data.end()};
    return data;
}

}  // namespace

Bytes ComparablePayload(StreamInspection const& stream, PacketInfo const& packet, bool foreign) {
    if (packet.key && stream.codec == "mpeg4")
        return FromUnit(packet.data, [](u8 code) { return code == 0xB3 || code == 0xB6; });
    if (packet.key && (stream.codec == "mpeg2video" || stream.codec == "mpeg1video"))
        return FromUnit(packet.data, [](u8 code) { return code == 0xB8 || code == 0; });
    if (foreign && (stream.codec == "h264" || stream.codec == "hevc"))
        return NalPayload(stream, packet, stream.codec == "hevc");
    if (foreign && stream.codec == "aac" && packet.data.size() > 9 && packet.data[0] == 0xFF &&
        (packet.data[1] & 0xF6) == 0xF0) {
        bool const checked = (packet.data[1] & 1) == 0;
        return {packet.data.begin() + (checked ? 9 : 7), packet.data.end()};
    }
    return packet.data;
}

}  // namespace Tarsel::Test
