#pragma once

#include <glog/logging.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/FilterCache.h"
#include "Proc/Filters/Filters/FilterCacheController.h"
#include "tests/support/Builders.h"
#include "tests/support/Gate.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

/// The length of a picture, microseconds: 25 a second.
inline constexpr int64 PICTURE = 40000;

/// A clip under a controller of its own, whose cache keeps a second on either side of the reader.
struct CachedClip {
    explicit CachedClip(int pictures) : CachedClip(ScriptedVideo::Create(MakeVideos(pictures, PICTURE))) {
        source->duration = pictures * PICTURE;
    }
    explicit CachedClip(iptr<ScriptedVideo> clip) : source(std::move(clip)) {}

    Proc::IFilterCache& AsCache() const { return dynamic_cast<Proc::IFilterCache&>(*cache); }
    /// The time of the next item, or no value at the end.
    int64 ReadTime() const {
        auto const item = cache->Read();
        return item ? item->GetTime() : NO_VALUE;
    }
    std::vector<int64> ReadTimes(int count) const {
        std::vector<int64> times;
        for (int i = 0; i < count; ++i) times.push_back(ReadTime());
        return times;
    }
    /// What the source was asked since the last time, reading left out.
    std::vector<std::string> TakeSeeks() const {
        std::vector<std::string> calls = source->log.Take();
        calls.erase(std::remove(calls.begin(), calls.end(), "Read"), calls.end());
        return calls;
    }

    iptr<ScriptedVideo> source;
    iptr<Proc::IFilterCacheController> controller = Proc::FilterCacheController::Create();
    iptr<Proc::IStreamVideo> cache = controller->AddStream(iptr<Proc::IStreamVideo>(source));
};

/// Counts the ends of caches' threads that began while it lives: each says in the log that it sleeps.
class SleeperWatch final : public google::LogSink {
  public:
    SleeperWatch() : before(std::exchange(FLAGS_v, 30)) {
        // A fixed time zone: else the log stores it anew for each line, where the thread sanitizer can't follow.
        setenv("TZ", "UTC", 1);
        tzset();
        google::AddLogSink(this);
    }
    ~SleeperWatch() override {
        google::RemoveLogSink(this);
        FLAGS_v = before;
    }
    void send(google::LogSeverity, char const*, char const*, int, std::tm const*, char const* message,
              std::size_t length) override {
        if (std::string_view(message, length).substr(0, 11) == "BT Sleeping") thread_local Notice const notice{ends};
    }
    void AwaitEnds(int count) { ends->AwaitArrivals(count); }

  private:
    struct Notice {
        std::shared_ptr<Gate> ends;
        ~Notice() { ends->Pass(); }
    };

    int const before;
    std::shared_ptr<Gate> const ends = std::make_shared<Gate>(false);
};

/// Runs `seek`, which makes the first seek of `count` new caches, and waits until their threads have ended by it. From
/// then on the reader is alone with the caches and their sources.
template <class Seeking>
auto AfterThreadsEnd(int count, Seeking seek) {
    SleeperWatch watch;
    auto result = seek();
    watch.AwaitEnds(count);
    return result;
}

/// A clip whose cache has been sought to `position` and has no thread any more.
inline CachedClip MakeSought(iptr<ScriptedVideo> const& source, int64 position = 0) {
    return AfterThreadsEnd(1, [&] {
        CachedClip clip(source);
        Seek(*clip.cache, position);
        source->log.Take();
        return clip;
    });
}
inline iptr<ScriptedVideo> MakeClip(int pictures) {
    auto clip = ScriptedVideo::Create(MakeVideos(pictures, PICTURE));
    clip->duration = pictures * PICTURE;
    return clip;
}
inline CachedClip MakeSoughtClip(int pictures, int64 position = 0) {
    return MakeSought(MakeClip(pictures), position);
}

}  // namespace Tarsel::Test
