#include <optional>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Conf {

namespace {

/// The part that all formats share, under the interface `I`.
template <class I>
class FormatCodecImpl : public I, public RefCounted {
  public:
    std::string const& GetCodecID() const override { return codecId; }
    void SetCodecID(std::string const& id) override { codecId = id; }
    bool ExistsCodecID() const override { return !codecId.empty() && codecId != IFormatCodec::CODEC_ID_NONE; }
    int64 GetOriginalDuration() const override { return originalDuration; }
    void SetOriginalDuration(int64 duration) override { originalDuration = duration; }
    void SetExtradata(iptr<IBlob> const& blob) override { extradata = blob; }
    iptr<IBlob> GetExtradata() const override { return extradata; }
    Core::Property const& GetProperty() const override { return property; }
    void SetProperty(Core::Property const& value) override { property = value; }
    Core::Property const& GetMetadata() const override { return metadata; }
    void SetMetadata(Core::Property const& value) override { metadata = value; }
    iptr<IRefCountable const> GetNativeParameters() const override { return nativeParameters; }
    void SetNativeParameters(iptr<IRefCountable const> const& value) override { nativeParameters = value; }

  private:
    std::string codecId = IFormatCodec::CODEC_ID_NONE;
    int64 originalDuration = NO_VALUE;
    iptr<IBlob> extradata;
    Core::Property property;
    Core::Property metadata;
    iptr<IRefCountable const> nativeParameters;
};

class FormatCodecVideo final : public FormatCodecImpl<IFormatCodecVideo> {
  public:
    iptr<IFormatCodecVideo> Clone() const override { return MakeShared<FormatCodecVideo>(*this); }
    FrameInfo const& GetFrameInfo() const override { return info; }
    void SetFrameInfo(FrameInfo const& value) override {
        info = value;
        if (info.pixelAspectNum < 1 || info.pixelAspectDen < 1) info.pixelAspectNum = info.pixelAspectDen = 1;
    }
    int GetWidth() const override { return info.width; }
    int GetHeight() const override { return info.height; }
    PixFmt GetPixelFormat() const override { return pixelFormat; }
    void SetPixelFormat(PixFmt format) override { pixelFormat = format; }
    Ratio GetFrameRate() const override { return frameRate; }
    void SetFrameRate(Ratio const& rate) override { frameRate = rate; }
    void SetFrameRate(unsigned numerator, unsigned denominator) override {
        if (denominator == 0) TARSEL_THROW(Core::CoreException, "Frame rate has a denominator of 0");
        frameRate = Ratio(numerator, denominator);
    }
    bool GetImageFlag() const override { return imageFlag.value_or(false); }
    bool ExistsImageFlag() const override { return imageFlag.has_value(); }
    void SetImageFlag(bool image) override { imageFlag = image; }
    bool GetCutAnywhere() const override { return cutAnywhere; }
    void SetCutAnywhere(bool anywhere) override { cutAnywhere = anywhere; }
    void InitByPixelAspect(unsigned width, unsigned height, unsigned aspectNum, unsigned aspectDen) override {
        SetFrameInfo({static_cast<int>(width), static_cast<int>(height), static_cast<int>(aspectNum),
                      static_cast<int>(aspectDen)});
    }

  private:
    FrameInfo info;
    PixFmt pixelFormat = PIX_FMT_NONE;
    Ratio frameRate{0, 1};
    std::optional<bool> imageFlag;
    bool cutAnywhere = false;
};

class FormatCodecAudio final : public FormatCodecImpl<IFormatCodecAudio> {
  public:
    iptr<IFormatCodecAudio> Clone() const override { return MakeShared<FormatCodecAudio>(*this); }
    SampleInfo const& GetSampleInfo() const override { return info; }
    void SetSampleInfo(SampleInfo const& value) override { info = value; }
    void SetSampleRate(int rate) override { info.Init(info.GetSampleFormat(), rate, info.GetChannelLayout()); }
    void SetSampleFormat(SampleFormats format) override {
        info.Init(format, info.GetSampleRate(), info.GetChannelLayout());
    }
    void SetChannelLayout(ChannelLayout layout) override {
        info.Init(info.GetSampleFormat(), info.GetSampleRate(), layout);
    }

  private:
    SampleInfo info;
};

class FormatCodecSubtitle final : public FormatCodecImpl<IFormatCodecSubtitle> {
  public:
    iptr<IFormatCodecSubtitle> Clone() const override { return MakeShared<FormatCodecSubtitle>(*this); }
    std::string const& GetSubtitleHeader() const override { return header; }
    void SetSubtitleHeader(std::string const& value) override { header = value; }

  private:
    std::string header;
};

}  // namespace

iptr<IFormatCodecVideo> IFormatCodecVideo::Create() {
    return MakeShared<FormatCodecVideo>();
}
iptr<IFormatCodec> IFormatCodecVideo::CloneBase() const {
    return Clone();
}

iptr<IFormatCodecAudio> IFormatCodecAudio::Create() {
    return MakeShared<FormatCodecAudio>();
}
iptr<IFormatCodec> IFormatCodecAudio::CloneBase() const {
    return Clone();
}

iptr<IFormatCodecSubtitle> IFormatCodecSubtitle::Create() {
    return MakeShared<FormatCodecSubtitle>();
}
iptr<IFormatCodec> IFormatCodecSubtitle::CloneBase() const {
    return Clone();
}

}  // namespace Tarsel::Conf
