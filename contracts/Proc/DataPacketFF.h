#pragma once

#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// A compressed packet over an FFmpeg packet.
class TARSEL_CONTRACTS_EXPORT DataPacketFF : public IDataPacket, public RefCounted {
  public:
    /// Wraps `packet` and takes it over, also when the call throws (`std::invalid_argument` for null). Times in
    /// microseconds or no value.
    static iptr<IDataPacket> Create(AVPacket* packet, MediaType type, int64 time, int64 decodingTime, int64 duration);
    /// Packets alive in the process, for tests that bound the memory of a graph.
    static int64 GetLiveCount();

    ~DataPacketFF() override;
    DataPacketFF(DataPacketFF const&) = delete;
    DataPacketFF& operator=(DataPacketFF const&) = delete;

    int64 GetDuration() const override { return duration; }
    void SetDuration(int64 value) override { duration = value; }
    int64 GetTime() const override { return time; }
    void SetTime(int64 value) override { time = value; }
    [[noreturn]] void CutBegin(int64) override;
    [[noreturn]] void Cut(int64, int64) override;
    [[noreturn]] void CutEnd(int64) override;
    int64 GetDecodingTime() const override { return decodingTime; }
    void SetDecodingTime(int64 value) override { decodingTime = value; }
    int64 GetSourcePosition() const override { return sourcePosition; }
    void SetSourcePosition(int64 value) override { sourcePosition = value; }
    bool IsKeyFrame() const override;
    std::size_t GetSize() const override;
    AVPacket* GetAVPacket() override { return packet; }
    iptr<IBlob> GetBlob() const override;
    MediaType GetMediaType() const override { return type; }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return format; }
    void SetFormatCodec(iptr<Conf::IFormatCodec const> const& value) override { format = value; }
    iptr<IDataPacket> Clone(bool copyPayload) const override;

  private:
    DataPacketFF(AVPacket* packet, MediaType type, int64 time, int64 decodingTime, int64 duration);

    AVPacket* packet;  // owned, never null
    MediaType type;
    int64 time;
    int64 decodingTime;
    int64 duration;
    int64 sourcePosition = NO_VALUE;
    iptr<Conf::IFormatCodec const> format;
};

}  // namespace Tarsel::Proc
