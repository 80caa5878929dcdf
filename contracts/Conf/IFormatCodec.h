#pragma once

#include <string>

#include "contracts/Conf/FrameInfo.h"
#include "contracts/Conf/MediaTypes.h"
#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Time.h"

namespace Tarsel::Conf {

/// Describes a stream's format: codec, header bytes, properties. A stream's own format object is never changed by
/// others: who needs another one clones it.
class TARSEL_CONTRACTS_EXPORT IFormatCodec : public virtual IRefCountable {
  public:
    static constexpr char CODEC_ID_NONE[] = "none";

    /// The codec's name; `CODEC_ID_NONE` when unset.
    virtual std::string const& GetCodecID() const = 0;
    virtual void SetCodecID(std::string const& codecId) = 0;
    /// Whether a codec is named.
    virtual bool ExistsCodecID() const = 0;

    /// Length that the container states, in microseconds, or no value.
    virtual int64 GetOriginalDuration() const = 0;
    virtual void SetOriginalDuration(int64 duration) = 0;

    /// The codec's global header ("extradata"), in the framing of the stream's packets; null for none.
    virtual void SetExtradata(iptr<IBlob> const& extradata) = 0;
    virtual iptr<IBlob> GetExtradata() const = 0;
    /// The generic form of the typed `Clone`.
    virtual iptr<IFormatCodec> CloneBase() const = 0;
    /// A copy that can be changed on its own. Header bytes and native parameters are shared.
    iptr<IFormatCodec> Clone() const { return CloneBase(); }

    /// Codec properties (`TAG_BITRATE`...).
    virtual Core::Property const& GetProperty() const = 0;
    virtual void SetProperty(Core::Property const& property) = 0;
    /// What the graph builder wants to say about the stream (language, title...).
    virtual Core::Property const& GetMetadata() const = 0;
    virtual void SetMetadata(Core::Property const& metadata) = 0;

    /// The container's own description of the stream. Only the layer that set it looks inside.
    virtual iptr<IRefCountable const> GetNativeParameters() const = 0;
    virtual void SetNativeParameters(iptr<IRefCountable const> const& parameters) = 0;
};

class TARSEL_CONTRACTS_EXPORT IFormatCodecVideo : public virtual IFormatCodec {
  public:
    static constexpr char CODEC_ID_H263[] = "h263";
    static constexpr char CODEC_ID_H264[] = "h264";
    static constexpr char CODEC_ID_H265[] = "hevc";
    static constexpr char CODEC_ID_MPEG1VIDEO[] = "mpeg1video";
    static constexpr char CODEC_ID_MPEG2VIDEO[] = "mpeg2video";
    static constexpr char CODEC_ID_MPEG4[] = "mpeg4";
    static constexpr char CODEC_ID_WMV2[] = "wmv2";
    static constexpr char CODEC_ID_VP8[] = "vp8";
    static constexpr char CODEC_ID_VP9[] = "vp9";
    static constexpr char CODEC_ID_THEORA[] = "theora";

    static iptr<IFormatCodecVideo> Create();
    virtual iptr<IFormatCodecVideo> Clone() const = 0;
    iptr<IFormatCodec> CloneBase() const final;

    virtual FrameInfo const& GetFrameInfo() const = 0;
    virtual void SetFrameInfo(FrameInfo const& info) = 0;
    virtual int GetWidth() const = 0;
    virtual int GetHeight() const = 0;
    virtual PixFmt GetPixelFormat() const = 0;
    virtual void SetPixelFormat(PixFmt format) = 0;
    /// Frames a second; 0/1 when unknown. A host's streams always have a positive one.
    virtual Ratio GetFrameRate() const = 0;
    virtual void SetFrameRate(Ratio const& rate) = 0;
    /// A denominator of 0 throws `Core::CoreException`.
    virtual void SetFrameRate(unsigned numerator, unsigned denominator) = 0;
    /// Whether the stream is a still picture posing as video.
    virtual bool GetImageFlag() const = 0;
    virtual bool ExistsImageFlag() const = 0;
    virtual void SetImageFlag(bool image) = 0;
    /// Whether the stream can be cut at any picture.
    virtual bool GetCutAnywhere() const = 0;
    virtual void SetCutAnywhere(bool anywhere) = 0;
    /// Sets size in pixels and pixel aspect; an aspect with a 0 becomes 1/1.
    virtual void InitByPixelAspect(unsigned width, unsigned height, unsigned aspectNum, unsigned aspectDen) = 0;
};

class TARSEL_CONTRACTS_EXPORT IFormatCodecAudio : public virtual IFormatCodec {
  public:
    static constexpr char CODEC_ID_AAC[] = "aac";
    static constexpr char CODEC_ID_AAC_LATM[] = "aac_latm";

    static iptr<IFormatCodecAudio> Create();
    virtual iptr<IFormatCodecAudio> Clone() const = 0;
    iptr<IFormatCodec> CloneBase() const final;

    virtual SampleInfo const& GetSampleInfo() const = 0;
    virtual void SetSampleInfo(SampleInfo const& info) = 0;
    virtual void SetSampleRate(int sampleRate) = 0;
    virtual void SetSampleFormat(SampleFormats format) = 0;
    virtual void SetChannelLayout(ChannelLayout layout) = 0;
};

class TARSEL_CONTRACTS_EXPORT IFormatCodecSubtitle : public virtual IFormatCodec {
  public:
    static iptr<IFormatCodecSubtitle> Create();
    virtual iptr<IFormatCodecSubtitle> Clone() const = 0;
    iptr<IFormatCodec> CloneBase() const final;

    /// The script header of text subtitles, empty for others.
    virtual std::string const& GetSubtitleHeader() const = 0;
    virtual void SetSubtitleHeader(std::string const& header) = 0;
};

}  // namespace Tarsel::Conf
