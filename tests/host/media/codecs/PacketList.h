#pragma once

#include <string>
#include <vector>

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Tests {

using PacketVector = std::vector<iptr<Proc::IDataPacket>>;

/// Packets in memory as a stream, in the place of a demuxer: a seek lands on the last key packet at or before the
/// position. Every read gives a fresh object.
class PacketList : public virtual Proc::IStreamRaw, public RefCounted {
  public:
    PacketList(iptr<Conf::IFormatCodec const> format, MediaType type, PacketVector packets);

    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return {}; }
    int64 GetDuration() const override { return duration; }
    int64 GetPosition() override;
    iptr<Proc::IDataPacket> Read() override;
    void RequestSeek(int64 position, iptr<IRefCountable>) override { target = position; }
    void DoSeek() override;
    bool FinishSeek() override { return true; }
    Core::Property GetStatistic() override { return Core::GetRootItem(); }
    void SetEndOfStream() override { ended = true; }
    bool IsEndOfStream() override { return ended; }
    void ReleaseInternalData() override { ++releases; }
    void Accept(Proc::IStreamVisitor&) override {}
    MediaType GetMediaType() const override { return type; }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return format; }

    PacketVector packets;
    int64 duration = NO_VALUE;
    unsigned reads = 0;
    unsigned releases = 0;

  private:
    iptr<Conf::IFormatCodec const> format;
    MediaType type;
    std::size_t next = 0;
    int64 target = 0;
    bool ended = false;
};

/// Makes the clip `name` by `ffmpeg <arguments> name` in the build folder unless it is there, and returns its path.
std::string MakeClip(std::string const& name, std::string const& arguments);

/// 4 s of H.264 at 25 fps with groups of 50 and three B pictures.
std::string GroupsOf50();

/// All packets of the first stream of a kind. Time 0 is the first picture (without video, the earliest packet).
iptr<PacketList> LoadPackets(std::string const& path, MediaType type);

/// Reads to the end.
template <class S>
auto ReadAll(iptr<S> const& stream) {
    std::vector<iptr<typename S::DataType>> items;
    while (auto item = stream->Read()) items.push_back(item);
    return items;
}

/// All packets of an encoder as a stream of their own.
iptr<PacketList> Collect(iptr<Proc::IStreamRaw> const& stream);

/// Seeks in the two steps of the protocol.
template <class S>
void SeekTo(S& stream, int64 position) {
    stream.RequestSeek(position, nullptr);
    stream.DoSeek();
}

/// Peak signal-to-noise ratio in decibels of luma and of the mean over all components, 99 for equal pictures; 8-bit
/// planar pictures of one format.
struct Psnr {
    double luma;
    double average;
};
Psnr Compare(Proc::IDataVideo const& a, Proc::IDataVideo const& b);

}  // namespace Tarsel::Tests
