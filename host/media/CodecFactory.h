#pragma once

#include <string>
#include <vector>

#include "contracts/Proc/ICodecFactory.h"
#include "host/media/DecoderCore.h"
#include "host/media/VideoEncoderSetup.h"

namespace Tarsel::Host {

/// The host's decoders and encoders. Stateless after construction: any thread may ask.
class TARSEL_HOST_EXPORT CodecFactory : public Proc::ICodecFactory, public RefCounted {
  public:
    struct Options {
        /// Of the decoders it makes.
        DecoderOptions decoder;
        /// Lists no encoder and refuses to make one, so that cuts go to key pictures; `reason` says why, for the
        /// message.
        bool noEncoders = false;
        std::string reason;
    };

    static iptr<CodecFactory> Create(Options const& options);
    static iptr<CodecFactory> Create();

    iptr<Proc::IStreamVideo> CreateVideoDecoder(iptr<Proc::IStreamRaw> const& source,
                                                std::string const& implName) const override;
    std::vector<std::string> GetEncoderNames(std::string const& codecId) const override;
    iptr<Proc::IEncoder> CreateVideoEncoder(
        iptr<Proc::IStreamVideo> const& source, Core::Property const& properties, std::string const& implName,
        iptr<Core::ComputingResourceManager::BusyResource> const& resource) const override;

  private:
    explicit CodecFactory(Options const& options) : options(options) {}

    Options const options;
};

/// Codecs that a container is filled with when everything is encoded anew. An empty name: that kind of stream isn't
/// carried.
struct ContainerCodecs {
    std::string video;
    std::string audio;
    std::string subtitle;
};

/// By the container's short name or file extension, in any case ("mp4", "matroska", "mkv"...). Throws
/// `CodecFactoryException` for one that isn't known.
TARSEL_HOST_EXPORT ContainerCodecs DefaultEncoders(std::string const& container);

}  // namespace Tarsel::Host
