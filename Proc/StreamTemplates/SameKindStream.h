#pragma once

#include "Proc/StreamTemplates/StreamBaseImpl.h"

namespace Tarsel::Proc {

/// The base of a wrapper that offers the kind of stream it takes, for `T` in `IStreamVideo`, `IStreamAudio`,
/// `IStreamSubtitle`, `IStreamRaw`: compressed streams also tell their source's media type.
template <class T>
class SameKindStream : public StreamImpl<T, T> {
  protected:
    using StreamImpl<T, T>::StreamImpl;
};

template <>
class SameKindStream<IStreamRaw> : public StreamImpl<IStreamRaw, IStreamRaw> {
  public:
    MediaType GetMediaType() const override { return parentStream->GetMediaType(); }

  protected:
    using StreamImpl<IStreamRaw, IStreamRaw>::StreamImpl;
};

}  // namespace Tarsel::Proc
