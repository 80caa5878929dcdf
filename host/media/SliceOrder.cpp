#include "host/media/SliceOrder.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataPacketFF.h"
#include "contracts/Proc/IPTSRestorer.h"

namespace Tarsel::Host {

namespace {

bool IsSlice(u8 first) {
    int const type = first & 31;
    return type == 1 || type == 2 || type == 5;
}

}  // namespace

void SliceOrder::Add(AVPacket const& packet, NalFraming framing) {
    Head head{};
    NalWalker walker(packet.data, static_cast<std::size_t>(std::max(packet.size, 0)), framing);
    while (walker.Next()) {
        if (!IsSlice(walker.GetData()[0])) continue;
        head[START_CODE - 1] = 1;
        std::memcpy(head.data() + START_CODE, walker.GetData(), std::min(walker.GetSize(), HEAD));
        break;
    }
    heads.push_back(head);
}

std::vector<std::size_t> SliceOrder::GetRanks() const {
    auto const restorer = Proc::CodecParsers::CreateH264PTSRestorer(false, 0);
    std::vector<std::size_t> ranks(heads.size());
    std::size_t rank = 0;
    // The times that the restorer gives don't ascend; the order in which it gives the packets is what counts.
    auto const take = [&] {
        for (auto restored = restorer->GetPacket(); restored.packet; restored = restorer->GetPacket())
            ranks[static_cast<std::size_t>(restored.packet->GetSourcePosition())] = rank++;
    };
    try {
        for (std::size_t i = 0; i < heads.size(); ++i) {
            AVPacket* const raw = av_packet_alloc();
            if (!raw || av_new_packet(raw, static_cast<int>(heads[i].size())) < 0)
                TARSEL_THROW(Core::IOException, "Out of memory");
            std::memcpy(raw->data, heads[i].data(), heads[i].size());
            auto const number = static_cast<int64>(i);
            auto const packet = Proc::DataPacketFF::Create(raw, MEDIA_TYPE_VIDEO, NO_VALUE, number, 1);
            packet->SetSourcePosition(number);
            restorer->AddPacket(packet);
            take();
        }
        restorer->AddPacket(nullptr);
        take();
    } catch (Core::IOException const&) {
        throw;
    } catch (Exception const&) {
        return {};
    } catch (std::logic_error const&) {
        return {};
    }
    return ranks;
}

}  // namespace Tarsel::Host
