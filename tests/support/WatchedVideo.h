#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <utility>
#include <vector>

#include "tests/support/Builders.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

/// A source of pictures of 40 microseconds without gaps. It counts calls that run into each other,
/// and offers hooks that run inside the calls.
class WatchedVideo final : public ScriptedVideo {
  public:
    static constexpr int64 FRAME = 40;

    explicit WatchedVideo(int count) : WatchedVideo(MakeVideos(count, FRAME)) {}

    /// Inside `Read`, with the number of the read from 0 on, ahead of the script's step.
    std::function<void(int)> onRead;
    /// The same with the step's item in hand, which nothing takes back from there.
    std::function<void(int)> onGive;
    std::function<void()> onRequestSeek, onDoSeek, onFinishSeek, onRelease, onFormat, onDuration;
    std::atomic<int> reads{0};
    std::atomic<int> overlaps{0};

    int64 GetDuration() const override {
        Inside const inside(*this);
        if (onDuration) onDuration();
        return ScriptedVideo::GetDuration();
    }
    Item Read() override {
        Inside const inside(*this);
        int const number = reads++;
        if (onRead) onRead(number);
        Item item = ScriptedVideo::Read();
        if (onGive) onGive(number);
        return item;
    }
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override {
        Inside const inside(*this);
        ScriptedVideo::RequestSeek(position, std::move(seekContext));
        if (onRequestSeek) onRequestSeek();
    }
    void DoSeek() override {
        Inside const inside(*this);
        ScriptedVideo::DoSeek();
        if (onDoSeek) onDoSeek();
    }
    bool FinishSeek() override {
        Inside const inside(*this);
        if (onFinishSeek) onFinishSeek();
        return ScriptedVideo::FinishSeek();
    }
    iptr<FormatType const> GetFormatCodec() const override {
        Inside const inside(*this);
        if (onFormat) onFormat();
        return ScriptedVideo::GetFormatCodec();
    }
    Core::Property GetStatistic() override {
        Inside const inside(*this);
        return ScriptedVideo::GetStatistic();
    }
    void ReleaseInternalData() override {
        Inside const inside(*this);
        ScriptedVideo::ReleaseInternalData();
        if (onRelease) onRelease();
    }
    void Accept(Proc::IStreamVisitor& visitor) override {
        Inside const inside(*this);
        ScriptedVideo::Accept(visitor);
    }

  private:
    /// A call that must be alone at the source.
    class Inside {
      public:
        explicit Inside(WatchedVideo const& source) : source(const_cast<WatchedVideo&>(source)) {
            if (this->source.callers++ != 0) ++this->source.overlaps;
        }
        ~Inside() { --source.callers; }
        Inside(Inside const&) = delete;
        Inside& operator=(Inside const&) = delete;

      private:
        WatchedVideo& source;
    };

    explicit WatchedVideo(std::vector<Item> const& frames) : ScriptedVideo({frames.begin(), frames.end()}) {
        duration = FRAME * static_cast<int64>(frames.size());
    }

    std::atomic<int> callers{0};
};

}  // namespace Tarsel::Test
