#include "host/media/AnnexBSei.h"

#include <cstring>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Host {

namespace {

constexpr int NAL_SEI = 6;
constexpr unsigned SEI_USER_DATA_UNREGISTERED = 5;

struct Unit {
    std::size_t begin;    // of its start code
    std::size_t payload;  // behind the start code
    std::size_t end;
};

std::vector<Unit> FindUnits(u8 const* data, std::size_t size) {
    std::vector<Unit> units;
    for (std::size_t i = 0; i + 3 <= size; ++i) {
        if (data[i] != 0 || data[i + 1] != 0 || data[i + 2] != 1) continue;
        std::size_t const begin = i > 0 && data[i - 1] == 0 ? i - 1 : i;
        if (!units.empty()) units.back().end = begin;
        units.push_back({begin, i + 3, size});
        i += 2;
    }
    return units;
}

/// A number coded as a run of 0xFF bytes and a last one (H.264, 7.3.2.3.1).
bool ReadNumber(u8 const* data, std::size_t size, std::size_t& at, unsigned& number) {
    number = 0;
    while (at < size && data[at] == 0xFF && number < 0x1000000) {
        number += 0xFF;
        ++at;
    }
    if (at >= size) return false;
    number += data[at++];
    return true;
}

bool IsUserDataOnly(u8 const* data, std::size_t size) {
    if (size < 2 || (data[0] & 0x1F) != NAL_SEI) return false;
    // Emulation prevention bytes count in the unit and not in the message.
    std::vector<u8> message;
    for (std::size_t i = 1; i < size; ++i) {
        std::size_t const n = message.size();
        if (data[i] == 3 && n >= 2 && message[n - 1] == 0 && message[n - 2] == 0 && i + 1 < size && data[i + 1] <= 3)
            continue;
        message.push_back(data[i]);
    }
    for (std::size_t at = 0; at + 1 < message.size() && message[at] != 0x80;) {
        unsigned type = 0;
        unsigned length = 0;
        if (!ReadNumber(message.data(), message.size(), at, type) ||
            !ReadNumber(message.data(), message.size(), at, length) || length > message.size() - at ||
            type != SEI_USER_DATA_UNREGISTERED)
            return false;
        at += length;
    }
    return true;
}

}  // namespace

void RemoveUserDataSei(AVPacket& packet) {
    auto const size = static_cast<std::size_t>(packet.size);
    std::vector<Unit> kept;
    bool found = false;
    for (Unit const& unit : FindUnits(packet.data, size)) {
        if (IsUserDataOnly(packet.data + unit.payload, unit.end - unit.payload))
            found = true;
        else
            kept.push_back(unit);
    }
    if (!found) return;
    if (av_packet_make_writable(&packet) < 0) TARSEL_THROW(Proc::ProcException, "Can't copy a packet");
    std::size_t written = 0;
    for (Unit const& unit : kept) {
        std::memmove(packet.data + written, packet.data + unit.begin, unit.end - unit.begin);
        written += unit.end - unit.begin;
    }
    av_shrink_packet(&packet, static_cast<int>(written));
}

}  // namespace Tarsel::Host
