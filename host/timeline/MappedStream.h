#pragma once

#include <type_traits>
#include <utility>
#include <vector>

#include "contracts/Proc/ISmartMap.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// A smart map together with what stands on it, as one stream: the handles of a map go inside of its lock, when nobody
/// holds the stream any more. Put everything on it first, then seek, then read. Seek, end and threads: the map's.
template <class Map, class T>
class MappedStream final : public ForwardingStream<T> {
  public:
    static iptr<MappedStream> Create(iptr<Map> map) { return iptr<MappedStream>(new MappedStream(std::move(map))); }

    ~MappedStream() override {
        Locked const locked(*map);
        streams.clear();
        effects.clear();
    }

    Map& GetMap() const { return *map; }
    void AddStream(iptr<T> const& source, int64 begin, int order) {
        Locked const locked(*map);
        auto handle = map->MapStream(source);
        handle->SetBegin(begin);
        handle->SetOrder(order);
        streams.push_back(std::move(handle));
    }
    /// Over [begin, end).
    void AddEffect(iptr<Proc::IEffect> const& effect, int64 begin, int64 end) {
        Locked const locked(*map);
        effects.push_back(map->MapEffect(effect, begin, end));
    }

  private:
    class Locked {
      public:
        explicit Locked(Map& held) : held(held) { held.Lock(); }
        ~Locked() { held.Unlock(); }
        Locked(Locked const&) = delete;
        Locked& operator=(Locked const&) = delete;

      private:
        Map& held;
    };
    using StreamHandle = decltype(std::declval<Map&>().MapStream(std::declval<iptr<T> const&>()));

    explicit MappedStream(iptr<Map> mapped) : ForwardingStream<T>(mapped), map(std::move(mapped)) {}

    iptr<Map> const map;
    std::vector<StreamHandle> streams;
    std::vector<iptr<Proc::IMappedEffect>> effects;
};

using MappedVideo = MappedStream<Proc::ISmartMapVideo, Proc::IStreamVideo>;
using MappedAudio = MappedStream<Proc::ISmartMapAudio, Proc::IStreamAudio>;

}  // namespace Tarsel::Host
