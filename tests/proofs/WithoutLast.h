// A stream without its last item, which is what a cache makes of it.
#pragma once

#include <utility>

#include "host/graph/GraphBuilder.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Test {

/// Hands an item out when it holds the next one. The length that it tells is the whole one.
template <class T>
class WithoutLast final : public Host::ForwardingStream<T> {
  public:
    using typename Host::ForwardingStream<T>::DataType;

    explicit WithoutLast(iptr<T> source) : Host::ForwardingStream<T>(std::move(source)) {}

    iptr<DataType> Read() override {
        if (!held) held = this->stream->Read();
        if (!held) return nullptr;
        iptr<DataType> next = this->stream->Read();
        if (!next) return nullptr;
        return std::exchange(held, std::move(next));
    }
    int64 GetPosition() override { return held ? held->GetTime() : this->stream->GetPosition(); }
    void DoSeek() override {
        held = nullptr;
        this->stream->DoSeek();
    }
    void ReleaseInternalData() override {
        held = nullptr;
        this->stream->ReleaseInternalData();
    }

  private:
    iptr<DataType> held;
};

/// Pictures and sound without their last item; other kinds as they are.
inline Host::GraphStream WithoutLastItem(Host::GraphStream stream) {
    if (auto const* const video = std::get_if<iptr<Proc::IStreamVideo>>(&stream))
        return iptr<Proc::IStreamVideo>(MakeShared<WithoutLast<Proc::IStreamVideo>>(*video));
    if (auto const* const audio = std::get_if<iptr<Proc::IStreamAudio>>(&stream))
        return iptr<Proc::IStreamAudio>(MakeShared<WithoutLast<Proc::IStreamAudio>>(*audio));
    return stream;
}

}  // namespace Tarsel::Test
