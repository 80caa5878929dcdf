#pragma once

#include <functional>
#include <string>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterSeekController.h"
#include "tests/support/Builders.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

/// A source that tells its position, as a host's do: the first item behind a seek, then the end of the last one.
template <class T>
iptr<ScriptedFilter<T>> WithPosition(iptr<ScriptedStream<T>> const& source) {
    return MakeShared<ScriptedFilter<T>>(source);
}

/// A seek controller that writes down what it is asked, and moves one stream.
class ScriptedController final : public Proc::IFilterSeekController, public RefCounted {
  public:
    explicit ScriptedController(iptr<Proc::IStream> stream) : stream(std::move(stream)) {}

    std::vector<int64> seeks;

    void Seek(int64 position) override {
        seeks.push_back(position);
        stream->RequestSeek(position, nullptr);
        stream->DoSeek();
    }
    void UpdateSettings(Proc::Settings const&) override { TARSEL_THROW(Proc::FilterException, "Not implemented"); }
    void Initialize(Core::Property const&) override {}
    iptr<Proc::IStreamSubtitle> AddStream(iptr<Proc::IStreamSubtitle> const&) override { return nullptr; }
    iptr<Proc::IStreamVideo> AddStream(iptr<Proc::IStreamVideo> const&) override { return nullptr; }
    iptr<Proc::IStreamAudio> AddStream(iptr<Proc::IStreamAudio> const&) override { return nullptr; }
    iptr<Proc::IStreamRaw> AddStream(iptr<Proc::IStreamRaw> const&) override { return nullptr; }

  private:
    iptr<Proc::IStream> const stream;
};

/// `count` pictures of 40 ms, shaded from `shade` on, in a source that knows its length.
inline iptr<ScriptedVideo> MakeClip(int count, u8 shade = 0) {
    std::vector<iptr<Proc::IDataVideo>> frames;
    for (int i = 0; i < count; ++i) frames.push_back(MakeVideo(int64{40000} * i, 40000, static_cast<u8>(shade + i)));
    auto clip = ScriptedVideo::Create(frames);
    clip->duration = int64{40000} * count;
    return clip;
}

}  // namespace Tarsel::Test
