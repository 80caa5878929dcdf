#pragma once

#include <string>
#include <vector>

#include "contracts/Core/ComputingResourceManager.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// An encoder as a stream of packets. Its format, with the header bytes, is complete from construction on.
class TARSEL_CONTRACTS_EXPORT IEncoder : public virtual IStreamRaw {
  public:
    /// The resource that the encoder occupies, null for none.
    virtual iptr<Core::ComputingResourceManager::BusyResource> GetResource() const = 0;
};

/// The host's maker of decoders and encoders.
class TARSEL_CONTRACTS_EXPORT ICodecFactory : public virtual IRefCountable {
  public:
    /// A decoder over packets; an empty name asks for the default implementation. Throws `CodecFactoryException` when
    /// there is none. The source isn't read before the first seek or read.
    virtual iptr<IStreamVideo> CreateVideoDecoder(iptr<IStreamRaw> const& source,
                                                  std::string const& implName) const = 0;
    /// Names of the encoder implementations for a codec, best first. An empty list when the codec must not be encoded.
    virtual std::vector<std::string> GetEncoderNames(std::string const& codecId) const = 0;
    /// An encoder over pictures, for the codec that the format of `source` names (a decoder's format keeps that of its
    /// packets). It is opened from that format alone: no picture is read. Null, `EncoderException` and
    /// `CodecFactoryException` mean that it can't be had; `Core::NotEnoughResource` that it can't be had now.
    virtual iptr<IEncoder> CreateVideoEncoder(
        iptr<IStreamVideo> const& source, Core::Property const& properties, std::string const& implName,
        iptr<Core::ComputingResourceManager::BusyResource> const& resource) const = 0;
};

}  // namespace Tarsel::Proc
