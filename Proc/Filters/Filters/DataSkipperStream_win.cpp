#include "Proc/Filters/Filters/DataSkipperStream_win.h"

#include <glog/logging.h>

#include <type_traits>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

uint32 HashPicture(IDataVideo const& frame) {
    uint32 sum = 0;
    int const planes = GetPlanesCount(frame);
    for (int index = 0; index < planes; ++index) {
        auto const plane = frame.GetPlaneConst(static_cast<unsigned>(index));
        uint32 hash = 0x811C9DC5U;
        for (int row = 0; row < plane.GetRows(); ++row) {
            u8 const* const bytes = plane.GetData() + row * plane.GetStride();
            for (int i = 0; i < plane.GetRowBytes(); ++i) hash = (hash ^ bytes[i]) * 0x01000193U;
        }
        sum += hash;
    }
    return sum;
}

template <class T>
DataSkipperStreamImpl<T>::DataSkipperStreamImpl(iptr<T> source, iptr<FilterCutController> controller)
    : SameKindStream<T>(std::move(source), false), controller(std::move(controller)) {}

template <class T>
DataSkipperStreamImpl<T>::~DataSkipperStreamImpl() {
    this->StopReaderThread();
}

template <class T>
void DataSkipperStreamImpl<T>::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class T>
Core::Property DataSkipperStreamImpl<T>::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class T>
void DataSkipperStreamImpl<T>::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "DataSkipperStreamImpl", Visitors::FRAME_TYPE_FILTER, nullptr);
}

template <class T>
void DataSkipperStreamImpl<T>::RequestSeekInternal(int64 position, iptr<IRefCountable> const& seekContext) {
    this->parentStream->RequestSeek(position, seekContext);
}

template <class T>
iptr<typename T::DataType> DataSkipperStreamImpl<T>::ReadInternal() {
    while (!this->IsEndOfStream()) {
        iptr<DataType> const item = this->parentStream->Read();
        if (!item) {
            VLOG(4001) << "PTS=" << lastTime << " --> NULL";
            return nullptr;
        }
        lastTime = item->GetTime();
        ++frames.framesRead;
        iptr<DataType> mapped = controller->Map(item);
        if (!mapped) {
            VLOG(4001) << " --> NULL";
            if (HasValue(endTime) && HasValue(lastTime) && lastTime >= endTime) {
                frames.endReached = true;
                return nullptr;
            }
            continue;
        }
        VLOG(4001) << "PTS=" << item->GetTime() << ", Dur=" << item->GetDuration() << " --> PTS=" << mapped->GetTime()
                   << ", Dur=" << mapped->GetDuration();
        if constexpr (std::is_same_v<T, IStreamVideo>) {
            if (!Remember(*mapped)) continue;
        }
        return mapped;
    }
    return nullptr;
}

template <class T>
bool DataSkipperStreamImpl<T>::Remember(IDataVideo const& mapped) {
    if (!HasValue(frames.firstTime)) frames.firstTime = mapped.GetTime();
    uint32 const hash = HashPicture(mapped);
    if (frames.lastFrameHash != hash) {
        frames.frameDurations.emplace(mapped.GetTime(), mapped.GetDuration());
        frames.lastFrameTime = mapped.GetTime();
        frames.lastFrameHash = hash;
        return true;
    }
    VLOG(4001) << "Got the same picture, added dur(" << mapped.GetDuration() << ") to pts (" << frames.lastFrameTime
               << ")";
    int64& duration = frames.frameDurations[frames.lastFrameTime];
    duration = AddTime(duration, mapped.GetDuration());
    return false;
}

template class DataSkipperStreamImpl<IStreamVideo>;
template class DataSkipperStreamImpl<IStreamAudio>;
template class DataSkipperStreamImpl<IStreamRaw>;

}  // namespace Tarsel::Proc
