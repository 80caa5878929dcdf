#pragma once

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "contracts/Core/Time.h"

/// Plain models of the timeline filters: each says step by step what the filter does to times, without a thought for
/// speed, objects, locks or extreme numbers.
namespace Tarsel::Test::Model {

struct Picture {
    int64 time;
    int64 duration;
    int shade;

    int64 GetEnd() const { return AddTime(time, duration); }
    bool operator==(Picture const& other) const = default;
};
using Maybe = std::optional<Picture>;

class Stream {
  public:
    virtual ~Stream() = default;
    virtual int64 GetDuration() = 0;
    virtual void Seek(int64 target) = 0;
    virtual Maybe Read() = 0;
    virtual int64 GetPosition() = 0;
};
using StreamPtr = std::shared_ptr<Stream>;

/// A source. A seek lands on the first item that ends behind the position, or some items ahead of that.
class Source : public Stream {
  public:
    Source(std::vector<Picture> items, int64 duration, std::size_t early)
        : items(std::move(items)), duration(duration), early(early) {}
    int64 GetDuration() override { return duration; }
    void Seek(int64 target) override {
        next = 0;
        while (next < items.size() && !Holds(items[next], target)) ++next;
        next -= std::min(next, early);
    }
    Maybe Read() override { return next < items.size() ? Maybe(items[next++]) : std::nullopt; }
    int64 GetPosition() override { return next < items.size() ? items[next].time : NO_VALUE; }

  private:
    static bool Holds(Picture const& item, int64 target) {
        return HasValue(item.GetEnd()) ? item.GetEnd() > target : item.time >= target;
    }

    std::vector<Picture> const items;
    int64 const duration;
    std::size_t const early;
    std::size_t next = 0;
};

/// What all filters over one source have from their base: seeks held to the duration, and one item read ahead.
class Filter : public Stream {
  public:
    explicit Filter(StreamPtr source) : source(std::move(source)) {}
    int64 GetDuration() override { return source->GetDuration(); }
    void Seek(int64 target) override {
        int64 const duration = GetDuration();
        if (HasValue(duration)) target = std::min(target, duration);
        ahead.reset();
        position = NO_VALUE;
        Place(target);
    }
    Maybe Read() override {
        Maybe const item = ahead ? std::exchange(ahead, std::nullopt) : Next();
        if (item) position = item->GetEnd();
        return item;
    }
    int64 GetPosition() override {
        if (HasValue(position)) return position;
        if (!ahead) ahead = Next();
        if (ahead) position = ahead->time;
        return position;
    }

  protected:
    virtual void Place(int64 target) = 0;
    virtual Maybe Next() = 0;

    StreamPtr const source;

  private:
    Maybe ahead;
    int64 position = NO_VALUE;
};

class Trimmer : public Filter {
  public:
    Trimmer(StreamPtr source, int64 duration, int64 frameDuration)
        : Filter(std::move(source)), duration(duration), frameDuration(frameDuration) {}
    int64 GetDuration() override { return duration; }

  protected:
    void Place(int64 target) override {
        ended = false;
        held.reset();
        start = target;
        source->Seek(target);
    }
    Maybe Next() override {
        while (!ended) {
            Maybe frame = source->Read();
            if (frame && (!HasValue(frame->time) || !HasValue(frame->duration))) continue;
            if (!held) {
                if (!frame) frame = FindLast();
                if (!frame) break;
                held = frame;
                continue;
            }
            if (!frame) {
                if (held->duration < frameDuration / 2 || held->duration <= 0) held->duration = frameDuration;
                frame = held;
                frame->time += held->duration;
            }
            Picture out = *std::exchange(held, frame);
            int const verdict = Correct(out);
            if (verdict == 0) return out;
            if (verdict == 1) break;
        }
        ended = true;
        held.reset();
        return std::nullopt;
    }

  private:
    int Correct(Picture& item) const {
        int64 const end = item.time + item.duration;
        int64 const left = start - item.time;
        int64 const right = end - duration;
        if (end <= start) return 2;
        if (item.time > duration) return 1;
        int64 const cut = std::max<int64>(left, 0) + std::max<int64>(right, 0);
        if (cut >= item.duration) return 1;
        if (left > 0) item.time = start;
        item.duration -= cut;
        return 0;
    }
    Maybe FindLast() {
        int64 const length = source->GetDuration();
        if (!HasValue(length)) return std::nullopt;
        for (int64 const step : {2, 20, 200, 2000, 20000}) {
            int64 const place = std::max<int64>(0, length - frameDuration * step);
            source->Seek(place);
            Maybe last;
            while (Maybe const item = source->Read()) last = item;
            if (last) return Picture{start, frameDuration, last->shade};
            if (place == 0) break;
        }
        return std::nullopt;
    }

    int64 const duration;
    int64 const frameDuration;
    bool ended = false;
    int64 start = NO_VALUE;
    Maybe held;
};

class Loop : public Filter {
  public:
    Loop(StreamPtr source, int64 duration) : Filter(std::move(source)), duration(duration) {}
    int64 GetDuration() override { return duration; }

  protected:
    void Place(int64 target) override {
        place = target;
        int64 const length = source->GetDuration();
        int64 in = target;
        if (HasValue(length)) in = length > 0 ? (target % length + length) % length : 0;
        whole = in <= 0;
        gave = moved = false;
        source->Seek(in);
    }
    Maybe Next() override {
        if (place >= duration) return std::nullopt;
        Maybe item = source->Read();
        if (!item) {
            if (whole && gave && !moved) return std::nullopt;
            source->Seek(0);
            whole = true;
            gave = moved = false;
            item = source->Read();
        }
        if (!item) return std::nullopt;
        int64 const length = std::min(std::max<int64>(item->duration, 0), duration - place);
        Picture const out{place, length, item->shade};
        place += length;
        gave = true;
        moved = moved || length > 0;
        return out;
    }

  private:
    int64 const duration;
    int64 place = 0;
    bool whole = true;
    bool gave = false;
    bool moved = false;
};

class Speed : public Filter {
  public:
    Speed(StreamPtr source, double factor) : Filter(std::move(source)), factor(factor) {}
    int64 GetDuration() override {
        int64 const duration = source->GetDuration();
        return HasValue(duration) ? Map(duration) : NO_VALUE;
    }

  protected:
    void Place(int64 target) override {
        lastEnd = NO_VALUE;
        auto place = static_cast<int64>(static_cast<double>(target) * factor + 0.5);
        if (int64 const duration = source->GetDuration(); HasValue(duration)) place = std::min(place, duration - 1);
        source->Seek(std::max<int64>(place, 0));
    }
    Maybe Next() override {
        Maybe const item = source->Read();
        if (!item) return std::nullopt;
        if (!HasValue(lastEnd)) lastEnd = Map(item->time);
        int64 const end = Map(item->time + item->duration);
        int64 const length = end - lastEnd;
        return Picture{std::exchange(lastEnd, end), length < 2 ? 1 : length, item->shade};
    }

  private:
    int64 Map(int64 time) const { return static_cast<int64>(static_cast<double>(time) / factor + 0.5); }

    double const factor;
    int64 lastEnd = NO_VALUE;
};

/// Rates and times are small enough for plain products.
class FrameRate : public Filter {
  public:
    FrameRate(StreamPtr source, int64 numerator, int64 denominator)
        : Filter(std::move(source)), numerator(numerator), period(denominator * SECOND) {}

  protected:
    void Place(int64 target) override {
        slot = target > 0 ? target * numerator / period : 0;
        if (BeginOf(slot + 1) == target) ++slot;
        sought = target;
        lastEnd = NO_VALUE;
        pending.reset();
        source->Seek(BeginOf(slot));
    }
    Maybe Next() override {
        int64 const total = source->GetDuration();
        bool const open = !HasValue(total);
        if (!open && HasValue(lastEnd) && lastEnd >= total) return std::nullopt;
        if (!pending) pending = source->Read();
        if (!pending) return std::nullopt;
        int64 const begin = std::max(BeginOf(slot), sought);
        int64 const end = open ? BeginOf(slot + 1) : std::min(BeginOf(slot + 1), total);
        Maybe best;
        int64 most = 0;
        for (;;) {
            int64 const overlap = std::min(pending->GetEnd(), end) - std::max(pending->time, begin);
            if (!best || overlap > most) {
                best = pending;
                most = overlap;
            }
            if (pending->GetEnd() >= end) break;
            Maybe const next = source->Read();
            if (!next && open) {
                pending.reset();
                if (most <= 0 && HasValue(lastEnd)) best.reset();
            }
            if (!next) break;
            pending = next;
        }
        ++slot;
        lastEnd = end;
        if (best) best = Picture{begin, end - begin, best->shade};
        return best;
    }

    int64 BeginOf(int64 index) const { return (2 * index * period + numerator) / (2 * numerator); }

    int64 const numerator;
    int64 const period;

  private:
    int64 slot = 0;
    int64 sought = 0;
    int64 lastEnd = NO_VALUE;
    Maybe pending;
};

class Adjust : public FrameRate {
  public:
    using FrameRate::FrameRate;

  protected:
    void Place(int64 target) override {
        previous.reset();
        FrameRate::Place(target);
    }
    Maybe Next() override {
        Maybe current = source->Read();
        if (current && !previous) {
            previous = current;
            current = source->Read();
        }
        if (!current) return std::exchange(previous, std::nullopt);
        double const rate = static_cast<double>(numerator) / (static_cast<double>(period) / SECOND);
        auto const number = [&](int64 time) { return std::llround(static_cast<double>(time) * rate / SECOND); };
        if (number(current->time) <= number(previous->time))
            current->time = static_cast<int64>(((static_cast<double>(number(previous->time)) + 1) - 0.49) / rate *
                                               static_cast<double>(SECOND));
        previous->duration = current->time - previous->time;
        return std::exchange(previous, current);
    }

  private:
    Maybe previous;
};

/// Over a source that lands on the item that holds the position or ahead of it, and whose items don't overlap.
class Reverse : public Filter {
  public:
    using Filter::Filter;

  protected:
    void Place(int64 target) override {
        int64 const end = source->GetDuration() - std::max<int64>(target, 0);
        items.clear();
        source->Seek(0);
        while (Maybe item = source->Read()) {
            if (item->time >= end) break;
            item->duration = std::min(item->GetEnd(), end) - item->time;
            item->time = source->GetDuration() - item->GetEnd();
            items.push_back(*item);
        }
    }
    Maybe Next() override {
        if (items.empty()) return std::nullopt;
        Picture const last = items.back();
        items.pop_back();
        return last;
    }

  private:
    std::vector<Picture> items;
};

class Join : public Stream {
  public:
    explicit Join(std::vector<StreamPtr> streams) : clips(std::move(streams)) {
        for (auto const& clip : clips) durations.push_back(clip->GetDuration());
    }
    int64 GetDuration() override {
        int64 sum = 0;
        for (int64 const duration : durations) sum = AddTime(sum, duration);
        return sum;
    }
    void Seek(int64 target) override {
        current = clips.size() - 1;
        for (std::size_t i = clips.size(); i-- > 0;)
            if (HasValue(durations[i]) && StartOf(i) <= target && target < StartOf(i) + durations[i]) current = i;
        clips[current]->Seek(target - StartOf(current));
        position = AddTime(clips[current]->GetPosition(), StartOf(current));
    }
    Maybe Read() override {
        while (current < clips.size()) {
            if (Maybe item = clips[current]->Read()) {
                item->time = AddTime(item->time, StartOf(current));
                position = item->GetEnd();
                return item;
            }
            if (++current < clips.size()) clips[current]->Seek(0);
        }
        return std::nullopt;
    }
    int64 GetPosition() override { return position; }

  private:
    int64 StartOf(std::size_t index) const {
        int64 sum = 0;
        for (std::size_t i = 0; i < index; ++i) sum += HasValue(durations[i]) ? durations[i] : 0;
        return sum;
    }

    std::vector<StreamPtr> const clips;
    std::vector<int64> durations;
    std::size_t current = 0;
    int64 position = NO_VALUE;
};

}  // namespace Tarsel::Test::Model
