#pragma once

#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// A block of samples in one allocation: planes back to back, exact line size, spare bytes only behind the last plane.
class TARSEL_CONTRACTS_EXPORT DataAudioFF : public IDataAudio, public RefCounted {
  public:
    /// A block of `sampleCount` samples per channel, of undefined contents (`Silence` it or write it), its duration set
    /// by the rate, its time without a value. Throws `ProcException` for an unset format, rate or layout and a count
    /// below 0.
    static iptr<IDataAudio> CreateBySampleCount(Conf::SampleInfo const& info, int sampleCount);
    /// A block of the frame's samples; a decoder's padded planes are repacked. The frame stays the caller's. A frame
    /// with only a channel count takes the default layout of that count. Throws `ProcException` for a frame that isn't
    /// audio.
    static iptr<IDataAudio> CreateFromFrame(AVFrame const* frame, int64 time);
    /// The same with the frame taken over, also when the call throws. Where its samples stand in one plane, in memory
    /// that nobody else holds and with spare bytes behind them, they aren't copied. What else the frame carries (its
    /// time, side data) is left behind.
    static iptr<IDataAudio> TakeFrame(AVFrame* frame, int64 time);

    ~DataAudioFF() override;
    DataAudioFF(DataAudioFF const&) = delete;
    DataAudioFF& operator=(DataAudioFF const&) = delete;

    int64 GetDuration() const override { return duration; }
    void SetDuration(int64 value) override { duration = value; }
    int64 GetTime() const override { return time; }
    void SetTime(int64 value) override { time = value; }
    void CutBegin(int64 length) override;
    void Cut(int64 begin, int64 end) override;
    void CutEnd(int64 length) override;
    int GetChannelCount() const override;
    int GetSampleRate() const override;
    int GetSampleCount() const override;
    Conf::SampleFormats GetSampleFormat() const override { return info.GetSampleFormat(); }
    Conf::SampleInfo GetSampleInfo() const override { return info; }
    AVFrame* GetAVFrame() override { return frame; }
    void Silence() override;
    void SetSampleRate(int sampleRate) override;
    iptr<IBlob> GetBlob() override;
    void CutSamplesBegin(int count) override;
    void CutSamplesEnd(int count) override;
    iptr<IDataAudio> Clone(bool copyPayload) const override;
    void MakeWritable() override;

  private:
    DataAudioFF(AVFrame* frame, Conf::SampleInfo const& info);
    /// Keeps the samples outside `[begin, end)` in a new allocation; time and duration are the caller's to set.
    void RemoveSamples(int begin, int end);
    void SetDurationBySamples();

    AVFrame* frame;  // owned, never null
    Conf::SampleInfo info;
    int64 time = NO_VALUE;
    int64 duration = NO_VALUE;
};

}  // namespace Tarsel::Proc
