// A filter that damages one item, to be put behind a node of a graph.
#pragma once

#include <utility>

#include "host/graph/GraphBuilder.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Test {

enum class Damage {
    /// One byte in the middle of the item has another value.
    Byte,
    /// The item doesn't come.
    Lost,
    /// The item comes a microsecond later.
    Late,
    /// The item and the next one come at each other's times.
    Swapped,
};

inline void DamageByte(Proc::IDataVideo& picture) {
    u8& byte = *picture.GetPlane(0).GetOffsetPtr(static_cast<unsigned>(picture.GetWidth()) / 2,
                                                 static_cast<unsigned>(picture.GetHeight()) / 2);
    byte = static_cast<u8>(byte ^ 1U);
}
inline void DamageByte(Proc::IDataAudio& block) {
    block.MakeWritable();
    auto const blob = block.GetBlob();
    u8& byte = blob->GetWritableData()[blob->GetSize() / 4 * 2];  // a low one, whatever the format
    byte = static_cast<u8>(byte ^ 1U);
}
inline void DamageByte(Proc::IDataPacket& packet) {
    auto const blob = packet.GetBlob();
    u8& byte = blob->GetWritableData()[blob->GetSize() / 2];
    byte = static_cast<u8>(byte ^ 1U);
}

/// The item of the number (from 0, counted from the last seek) comes out damaged; all others pass.
template <class T>
class BrokenStream final : public Host::ForwardingStream<T> {
  public:
    using typename Host::ForwardingStream<T>::DataType;

    BrokenStream(iptr<T> source, Damage damage, int number)
        : Host::ForwardingStream<T>(std::move(source)), damage(damage), number(number) {}

    iptr<DataType> Read() override {
        if (kept) return std::exchange(kept, nullptr);
        iptr<DataType> item = this->stream->Read();
        if (!item || count++ != number) return item;
        if (damage == Damage::Lost) return this->stream->Read();
        item = item->Clone(true);
        if (damage == Damage::Byte) DamageByte(*item);
        if (damage == Damage::Late) item->SetTime(item->GetTime() + 1);
        if (damage == Damage::Swapped) return Swap(std::move(item));
        return item;
    }
    void DoSeek() override {
        count = 0;
        kept = nullptr;
        this->stream->DoSeek();
    }

  private:
    iptr<DataType> Swap(iptr<DataType> item) {
        iptr<DataType> next = this->stream->Read();
        if (!next) return item;
        next = next->Clone(true);
        int64 const time = item->GetTime();
        item->SetTime(next->GetTime());
        next->SetTime(time);
        kept = std::move(item);
        return next;
    }

    Damage const damage;
    int const number;
    int count = 0;
    iptr<DataType> kept;
};

/// Breaks the node.
inline Host::NodeWrap BreakNode(Host::NodeId broken, Damage damage, int number) {
    return [=](Host::BuiltNode const& node, Host::GraphStream stream) -> Host::GraphStream {
        if (node.id != broken) return stream;
        if (auto const* const video = std::get_if<iptr<Proc::IStreamVideo>>(&stream))
            return iptr<Proc::IStreamVideo>(MakeShared<BrokenStream<Proc::IStreamVideo>>(*video, damage, number));
        if (auto const* const audio = std::get_if<iptr<Proc::IStreamAudio>>(&stream))
            return iptr<Proc::IStreamAudio>(MakeShared<BrokenStream<Proc::IStreamAudio>>(*audio, damage, number));
        if (auto const* const packets = std::get_if<iptr<Proc::IStreamRaw>>(&stream))
            return iptr<Proc::IStreamRaw>(MakeShared<BrokenStream<Proc::IStreamRaw>>(*packets, damage, number));
        return stream;
    };
}

}  // namespace Tarsel::Test
