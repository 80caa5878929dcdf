#pragma once

#include <deque>

#include "Proc/Filters/Filters/ReverseMemory.h"
#include "Proc/Filters/Filters/ReverseStream.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// A waiting picture, its place in the source's time, and its part of the memory.
struct BufferData final : public RefCounted {
    BufferData(iptr<IDataVideo> frame, int64 start, int64 end, ReverseMemory::Share memory)
        : frame(std::move(frame)), start(start), end(end), memory(std::move(memory)), bytes(this->memory.GetBytes()) {}

    iptr<IDataVideo> frame;
    int64 start;
    int64 end;  // no value until the next picture's time is known, where the picture has no duration
    ReverseMemory::Share memory;
    int64 bytes;
};

template <class Data>
struct ReverseBuffer;
/// Pictures in source order.
template <>
struct ReverseBuffer<IDataVideo> {
    struct Entry {
        iptr<BufferData> data;
        int64 GetBytes() const { return data->bytes; }
    };

    bool IsEmpty() const { return frames.empty(); }
    /// Its memory counts as free from now on.
    Entry TakeLast() {
        Entry last{std::move(frames.back())};
        frames.pop_back();
        last.data->memory.Release();
        return last;
    }

    std::deque<iptr<BufferData>> frames;
};

/// Plays pictures backwards.
///
/// Goes in: pictures. Comes out: the same pictures from the last to the first, at mirrored times. The waiting pictures
/// of all these filters of the process stay within the memory limit of the settings, or above it by one chunk of a
/// filter that has nothing else to hand out. Seek: to the picture that holds the position, whose duration then begins
/// there. Pictures behind the source's duration and such without a known time are left out. End: null, again and again.
/// Threads: see `ReverseStream`.
template <class T, class TEx>
class FilterReverse final : public ReverseStream<T, TEx, ReverseBuffer<typename T::DataType>> {
  public:
    using Base = ReverseStream<T, TEx, ReverseBuffer<typename T::DataType>>;
    using typename Base::DataType;
    using Chunk = ReverseBuffer<DataType>;

    /// Throws as the shared base does.
    explicit FilterReverse(iptr<T> source);
    ~FilterReverse() override { this->StopThread(); }

  protected:
    /// Throws `FilterException` "Wrong settings!" for a limit that is not above 0.
    void CheckSettings(SettingsFilterReverse const& settings) const override;
    void Restart(int64) override {}
    iptr<DataType> Finish(typename Base::Entry entry) override;
    void ReadBackwards(int64 end) override;

  private:
    /// A chunk in the making.
    struct Filling {
        int64 start;      // where the source was sent
        int64 end;        // what begins here or later belongs to the chunk before
        int64 droppable;  // pictures that begin before it weren't asked for: they go when memory is short
        Chunk chunk;
        bool dropped = false;
        int64 wanted = 0;
        int64 forNothing = 0;
    };

    int64 ChunkLength(int64 scale);
    bool LandedInsideAPicture(Filling const& filling) const;
    /// Puts the first picture aside; it is read again with the chunk in front.
    void DropFirst(Filling& filling);
    void DropFirstLocked(Filling& filling) TARSEL_REQUIRES(this->queueLock);
    /// These are false when the thread is to end.
    bool Land(int64 start, int64& landed);
    bool Fill(Filling& filling);
    bool Keep(iptr<DataType> frame, int64 start, int64 end, Filling& filling);

    // Of the thread alone.
    Ratio frameRate{0, 1};
    int64 frameBytes = 1;
};

extern template class FilterReverse<IStreamVideo, IStreamVideoEx>;

}  // namespace Tarsel::Proc
