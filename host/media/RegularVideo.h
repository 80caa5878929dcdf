#pragma once

#include "host/media/CodecStream.h"

namespace Tarsel::Host {

/// Makes pictures fit for a container that counts them instead of telling their times: each goes to the nearest place
/// of the grid of the source's frame rate, and one whose place is taken is left out, since moving it would move all
/// that follow. Pictures that stand on the grid come out as the same objects, and so do those without a time, and
/// all of a source without a rate. Seek: forwarded; all places are free again. End: null.
class TARSEL_HOST_EXPORT RegularVideo : public CodecStream<Proc::IStreamVideo, Proc::IStreamVideo> {
  public:
    /// Throws `std::invalid_argument` for a null source.
    static iptr<RegularVideo> Create(iptr<Proc::IStreamVideo> const& source);

    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override { return source->GetFormatCodec(); }
    int64 GetDroppedCount() const { return dropped; }

  protected:
    std::string GetClassName() const override { return "Tarsel::Host::RegularVideo"; }
    void Enter(Proc::IStreamVisitor& visitor) override;
    iptr<Proc::IDataVideo> ReadNext() override;
    void Restart(int64) override { lastPlace = NO_VALUE; }
    void AddStatistics(Core::Property& node) const override;

  private:
    explicit RegularVideo(iptr<Proc::IStreamVideo> const& pictures);
    int64 TimeOf(int64 place) const;

    Ratio const rate;

    // State of the consumer's thread.
    int64 lastPlace = NO_VALUE;

    std::atomic<int64> dropped{0};
};

}  // namespace Tarsel::Host
