#pragma once

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/DataAudioFF.h"
#include "contracts/Proc/DataPacketFF.h"
#include "contracts/Proc/DataSubtitleFF.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/ICodecFactory.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterCutController.h"
#include "tests/support/LogLines.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

// Scripted sources and a scripted codec factory for the tests of the cut streams.

namespace Tarsel::CutTest {

using Conf::IFormatCodecVideo;

// --- Items -----------------------------------------------------------------------------------------------------------

/// A packet whose payload is a start code, a slice header byte and `id`.
inline iptr<Proc::IDataPacket> MakePacket(int64 time, int64 decodingTime, int64 duration, bool key, u32 id,
                                          MediaType type = MEDIA_TYPE_VIDEO) {
    u8 const payload[] = {0, 0, 0, 1, u8(key ? 0x65 : 0x41), u8(id >> 24), u8(id >> 16), u8(id >> 8), u8(id), 0x80};
    AVPacket* const packet = av_packet_alloc();
    if (av_new_packet(packet, sizeof(payload)) < 0) TARSEL_THROW(std::runtime_error, "no memory");
    std::memcpy(packet->data, payload, sizeof(payload));
    if (key) packet->flags |= AV_PKT_FLAG_KEY;
    return Proc::DataPacketFF::Create(packet, type, time, decodingTime, duration);
}

/// A packet as a demuxer gives it: its source position is its presentation time.
inline iptr<Proc::IDataPacket> MakeSourcePacket(int64 time, int64 decodingTime, int64 duration, bool key, u32 id,
                                                MediaType type = MEDIA_TYPE_VIDEO) {
    auto packet = MakePacket(time, decodingTime, duration, key, id, type);
    packet->SetSourcePosition(time);
    return packet;
}

inline u32 ReadId(u8 const* bytes) {
    return u32{bytes[0]} << 24 | u32{bytes[1]} << 16 | u32{bytes[2]} << 8 | bytes[3];
}
/// The `id` of `MakePacket`, also behind a header that was put in front.
inline u32 IdOf(Proc::IDataPacket const& packet) {
    auto const blob = packet.GetBlob();
    if (blob->GetSize() < 10) return 0xFFFFFFFF;
    return ReadId(blob->GetData() + blob->GetSize() - 5);
}

/// A 16x16 picture that shows `id`.
inline iptr<Proc::IDataVideo> MakeFrame(int64 time, int64 duration, u32 id) {
    auto frame = Proc::DataVideoFF::Create(PIX_FMT_RGB24, {16, 16, 1, 1}, nullptr);
    auto const plane = frame->GetPlane(0);
    for (int row = 0; row < plane.GetRows(); ++row)
        for (int i = 0; i < plane.GetRowBytes(); ++i)
            plane.GetData()[row * plane.GetStride() + i] = u8(id >> (8 * (3 - i % 4)));
    frame->SetTime(time);
    frame->SetDuration(duration);
    return frame;
}
inline u32 IdOf(Proc::IDataVideo const& frame) {
    return ReadId(frame.GetPlaneConst(0).GetData());
}

/// Samples that count up from `first`, 16 bits, mono; the duration follows from the rate.
inline iptr<Proc::IDataAudio> MakeBlock(int64 time, int samples, int first, int rate = 1000) {
    auto block =
        Proc::DataAudioFF::CreateBySampleCount({Conf::SAMPLE_FORMAT_S16, rate, Conf::CHANNEL_LAYOUT_MONO}, samples);
    auto* const data = reinterpret_cast<std::int16_t*>(block->GetBlob()->GetWritableData());
    for (int i = 0; i < samples; ++i) data[i] = static_cast<std::int16_t>(first + i);
    block->SetTime(time);
    return block;
}

inline iptr<Proc::IDataSubtitle> MakeSubtitle(int64 time, int64 duration) {
    AVSubtitle subtitle{};
    return Proc::DataSubtitleFF::Create(&subtitle, time, duration);
}

// --- Sources ---------------------------------------------------------------------------------------------------------

template <class T>
class MediaTypeBase : public virtual T {};
template <>
class MediaTypeBase<Proc::IStreamRaw> : public virtual Proc::IStreamRaw {
  public:
    MediaType GetMediaType() const override { return mediaType; }
    MediaType mediaType = MEDIA_TYPE_VIDEO;
};

template <class T>
auto NewFormat() {
    if constexpr (std::is_same_v<T, Proc::IStreamRaw>)
        return IFormatCodecVideo::Create();
    else
        return T::FormatType::Create();
}

/// Plays a list of items, a fresh clone at each read. A seek lands as a demuxer's or decoder's does: packets on the
/// last key at or ahead of the place, else on the item that contains it; `landEarlier` moves it by that many items to
/// the front. The position is told by the contract.
template <class T>
class Source : public MediaTypeBase<T>, public RefCounted {
  public:
    using Item = iptr<typename T::DataType>;

    explicit Source(std::vector<Item> script, int64 length) : duration(length), items(std::move(script)) {}

    int64 duration;
    decltype(NewFormat<T>()) format = NewFormat<T>();
    std::size_t landEarlier = 0;
    std::function<void(std::size_t)> onRead;  // before the item of that index (or the end) is read
    std::vector<int64> seeks;                 // every position asked for
    std::atomic<unsigned> reads{0};

    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return Core::Property("Source"); }
    int64 GetDuration() const override { return duration; }
    int64 GetPosition() override {
        if (HasValue(position)) return position;
        if (ended || next >= items.size()) return NO_VALUE;
        return items[next]->GetTime();
    }
    Item Read() override {
        ++reads;
        if (onRead) onRead(next);
        if (ended || next >= items.size()) return nullptr;
        Item const item = items[next++]->Clone(false);
        position = AddTime(item->GetTime(), item->GetDuration());
        return item;
    }
    void RequestSeek(int64 target, iptr<IRefCountable>) override {
        seeks.push_back(target);
        ended = false;
        wanted = target;
    }
    void DoSeek() override {
        position = NO_VALUE;
        next = LandingPlace();
        next -= std::min(next, landEarlier);
        if constexpr (std::is_same_v<T, Proc::IStreamRaw>)
            while (next > 0 && next < items.size() && !items[next]->IsKeyFrame()) --next;
    }
    bool FinishSeek() override { return true; }
    iptr<typename T::FormatType const> GetFormatCodec() const override { return format; }
    Core::Property GetStatistic() override { return Core::GetRootItem(); }
    void SetEndOfStream() override { ended = true; }
    bool IsEndOfStream() override { return ended; }
    void ReleaseInternalData() override {}
    void Accept(Proc::IStreamVisitor& visitor) override { Proc::Visitors::Visit(visitor, "Source", 5, nullptr); }

  private:
    std::size_t LandingPlace() const {
        std::size_t place = items.size();
        if constexpr (std::is_same_v<T, Proc::IStreamRaw>) {
            place = 0;
            for (std::size_t i = 0; i < items.size(); ++i)
                if (items[i]->IsKeyFrame() && HasValue(items[i]->GetTime()) && items[i]->GetTime() <= wanted) place = i;
        } else {
            for (std::size_t i = items.size(); i-- > 0;)
                if (items[i]->GetTime() >= wanted || AddTime(items[i]->GetTime(), items[i]->GetDuration()) > wanted)
                    place = i;
        }
        return place;
    }

    std::vector<Item> const items;
    std::size_t next = 0;
    int64 position = NO_VALUE;
    int64 wanted = 0;
    std::atomic<bool> ended{false};
};

using PacketSource = Source<Proc::IStreamRaw>;

// --- A video stream of groups ----------------------------------------------------------------------------------------

constexpr int64 FRAME = 40000;

/// How the pictures of a group are ordered.
enum class Order { Straight, Reordered, Open };

/// Groups of the given numbers of pictures, 40 ms each from 0, in decoding order. `Reordered` groups have each second
/// pair swapped (P ahead of B); `Open` ones have one leading picture behind each key but the first, which belongs to
/// the display time of the group before. Decoding times count up, two pictures ahead when reordered.
inline std::vector<iptr<Proc::IDataPacket>> MakeGroups(std::vector<int> const& sizes, Order order) {
    std::vector<iptr<Proc::IDataPacket>> result;
    int total = 0;
    for (int const size : sizes) total += size;
    std::vector<int> keys;
    int start = 0;
    for (int const size : sizes) {
        keys.push_back(start);
        start += size;
    }
    int const delay = order == Order::Straight ? 0 : 1;
    int decoding = 0;
    auto const add = [&](int display, bool key) {
        result.push_back(
            MakeSourcePacket(display * FRAME, (decoding++ - delay) * FRAME, FRAME, key, static_cast<u32>(display + 1)));
    };
    for (std::size_t g = 0; g < sizes.size(); ++g) {
        int const first = keys[g];
        int const end = g + 1 < keys.size() ? keys[g + 1] : total;
        add(first, true);
        if (order == Order::Open && g > 0 && sizes[g - 1] > 1) add(first - 1, false);
        // In an open stream the last picture of a group follows the next key.
        int const last = order == Order::Open && g + 1 < keys.size() && sizes[g] > 1 ? end - 1 : end;
        for (int i = first + 1; i < last; ++i) {
            if (order != Order::Straight && i + 1 < last) {
                add(i + 1, false);
                add(i, false);
                ++i;
            } else {
                add(i, false);
            }
        }
    }
    return result;
}

/// Packets that all are keys: sound of `packetDuration` from `start`.
inline std::vector<iptr<Proc::IDataPacket>> MakeSound(int count, int64 packetDuration, int64 start = 0) {
    std::vector<iptr<Proc::IDataPacket>> result;
    for (int i = 0; i < count; ++i) {
        int64 const time = start + i * packetDuration;
        result.push_back(MakeSourcePacket(time, time, packetDuration, true, static_cast<u32>(i + 1), MEDIA_TYPE_AUDIO));
    }
    return result;
}

inline iptr<PacketSource> MakeVideoSource(std::vector<iptr<Proc::IDataPacket>> packets, int64 duration,
                                          char const* codecId = IFormatCodecVideo::CODEC_ID_VP8) {
    auto source = MakeShared<PacketSource>(std::move(packets), duration);
    source->format->SetCodecID(codecId);
    return source;
}
inline iptr<PacketSource> MakeSoundSource(std::vector<iptr<Proc::IDataPacket>> packets, int64 duration) {
    auto source = MakeShared<PacketSource>(std::move(packets), duration);
    source->mediaType = MEDIA_TYPE_AUDIO;
    source->format->SetCodecID("aac");
    return source;
}

// --- Codecs ----------------------------------------------------------------------------------------------------------

/// Makes one frame per packet, in display order. Packets ahead of the first key can't be decoded.
class FakeDecoder final : public Proc::IStreamVideo, public RefCounted {
  public:
    explicit FakeDecoder(iptr<Proc::IStreamRaw> source) : source(std::move(source)) {
        format->SetCodecID(this->source->GetFormatCodec()->GetCodecID());
        format->SetExtradata(this->source->GetFormatCodec()->GetExtradata());
    }
    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return {}; }
    int64 GetDuration() const override { return source->GetDuration(); }
    int64 GetPosition() override { return NO_VALUE; }
    iptr<Proc::IDataVideo> Read() override {
        if (!decoded) {
            decoded = true;
            bool keySeen = false;
            while (auto packet = source->Read()) {
                keySeen = keySeen || packet->IsKeyFrame();
                if (keySeen && packet->GetTime() >= from)
                    frames.push_back(MakeFrame(packet->GetTime(), packet->GetDuration(), IdOf(*packet)));
            }
            std::stable_sort(frames.begin(), frames.end(),
                             [](auto const& a, auto const& b) { return a->GetTime() < b->GetTime(); });
        }
        if (frames.empty()) return nullptr;
        auto frame = frames.front();
        frames.pop_front();
        return frame;
    }
    void RequestSeek(int64 position, iptr<IRefCountable>) override {
        from = position;
        source->RequestSeek(position, nullptr);
    }
    void DoSeek() override {
        frames.clear();
        decoded = false;
        source->DoSeek();
    }
    bool FinishSeek() override { return true; }
    iptr<IFormatCodecVideo const> GetFormatCodec() const override { return format; }
    Core::Property GetStatistic() override { return Core::GetRootItem(); }
    void SetEndOfStream() override {}
    bool IsEndOfStream() override { return false; }
    void ReleaseInternalData() override {}
    void Accept(Proc::IStreamVisitor&) override {}

  private:
    iptr<Proc::IStreamRaw> const source;
    iptr<IFormatCodecVideo> const format = IFormatCodecVideo::Create();
    std::deque<iptr<Proc::IDataVideo>> frames;
    bool decoded = false;
    int64 from = NO_VALUE;
};

/// What the scripted factory does for one encoder name.
struct EncoderScript {
    enum class Creation { Works, Null, EncoderFailure, FactoryFailure, NoResource };
    Creation creation = Creation::Works;
    Creation creationWhenRecoding = Creation::Works;  // over anything but a decoder
    iptr<IBlob> extradata;
    bool reorders = false;      // pairs are swapped, decoding times lie one frame back
    int extraPackets = 0;       // above 0: one packet too many, below: one too few
    std::size_t unitBytes = 0;  // a payload of this size instead of the usual one
    bool failsInRead = false;
};

/// Makes one packet per frame, the first one a key, decoding times `FRAME` apart.
class FakeEncoder final : public Proc::IEncoder, public RefCounted {
  public:
    FakeEncoder(iptr<Proc::IStreamVideo> source, EncoderScript const& script, Core::Property properties,
                iptr<Core::ComputingResourceManager::BusyResource> resource)
        : source(std::move(source)), script(script), resource(std::move(resource)) {
        format->SetCodecID(this->source->GetFormatCodec()->GetCodecID());
        format->SetExtradata(script.extradata);
        format->SetProperty(properties);
    }
    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return {}; }
    int64 GetDuration() const override { return source->GetDuration(); }
    int64 GetPosition() override { return NO_VALUE; }
    MediaType GetMediaType() const override { return MEDIA_TYPE_VIDEO; }
    iptr<Proc::IDataPacket> Read() override {
        if (script.failsInRead) TARSEL_THROW(Proc::ProcException, "encoder broke");
        if (!encoded) Encode();
        if (packets.empty()) return nullptr;
        auto packet = packets.front();
        packets.pop_front();
        return packet;
    }
    void RequestSeek(int64 position, iptr<IRefCountable>) override { source->RequestSeek(position, nullptr); }
    void DoSeek() override { source->DoSeek(); }
    bool FinishSeek() override { return true; }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return format; }
    Core::Property GetStatistic() override { return Core::GetRootItem(); }
    void SetEndOfStream() override {}
    bool IsEndOfStream() override { return false; }
    void ReleaseInternalData() override {}
    void Accept(Proc::IStreamVisitor&) override {}
    iptr<Core::ComputingResourceManager::BusyResource> GetResource() const override { return resource; }

  private:
    /// Counts frames, as an encoder with a fixed time base does: the n-th packet shows at n frames behind the first.
    void Encode() {
        encoded = true;
        std::vector<iptr<Proc::IDataVideo>> frames;
        while (auto frame = source->Read()) frames.push_back(frame);
        if (script.extraPackets < 0 && !frames.empty()) frames.pop_back();
        if (script.extraPackets > 0 && !frames.empty()) frames.push_back(frames.back());
        int64 const first = frames.empty() ? 0 : frames.front()->GetTime();
        for (std::size_t i = 0; i < frames.size(); ++i) {
            std::size_t shown = i;
            if (script.reorders && i > 0) shown = i % 2 == 1 && i + 1 < frames.size() ? i + 1 : i % 2 == 0 ? i - 1 : i;
            int64 const time = first + static_cast<int64>(shown) * FRAME;
            int64 const decodingTime = first + (static_cast<int64>(i) - (script.reorders ? 1 : 0)) * FRAME;
            auto packet = MakePacket(time, decodingTime, FRAME, i == 0, IdOf(*frames[shown]));
            if (script.unitBytes > 0) packet = Inflate(*packet);
            packets.push_back(packet);
        }
    }
    iptr<Proc::IDataPacket> Inflate(Proc::IDataPacket const& small) const {
        AVPacket* const packet = av_packet_alloc();
        if (av_new_packet(packet, static_cast<int>(script.unitBytes + 4)) < 0)
            TARSEL_THROW(std::runtime_error, "no memory");
        std::memset(packet->data, 0x55, script.unitBytes + 4);
        u8 const startCode[] = {0, 0, 0, 1};
        std::memcpy(packet->data, startCode, 4);
        packet->flags = small.IsKeyFrame() ? AV_PKT_FLAG_KEY : 0;
        return Proc::DataPacketFF::Create(packet, MEDIA_TYPE_VIDEO, small.GetTime(), small.GetDecodingTime(),
                                          small.GetDuration());
    }

    iptr<Proc::IStreamVideo> const source;
    EncoderScript const script;
    iptr<Core::ComputingResourceManager::BusyResource> const resource;
    iptr<IFormatCodecVideo> const format = IFormatCodecVideo::Create();
    std::deque<iptr<Proc::IDataPacket>> packets;
    bool encoded = false;
};

/// One script per encoder name, in the order in which they are listed.
class FakeFactory final : public Proc::ICodecFactory, public RefCounted {
  public:
    std::vector<std::pair<std::string, EncoderScript>> encoders;
    bool decoderFails = false;

    // What was asked for.
    mutable std::vector<std::string> created;
    mutable std::vector<Core::Property> properties;
    mutable std::vector<bool> hadResource;

    iptr<Proc::IStreamVideo> CreateVideoDecoder(iptr<Proc::IStreamRaw> const& source,
                                                std::string const& implName) const override {
        if (decoderFails) TARSEL_THROW(Proc::CodecFactoryException, "no decoder");
        if (!implName.empty()) TARSEL_THROW(std::logic_error, "the default decoder is wanted");
        return MakeShared<FakeDecoder>(source);
    }
    std::vector<std::string> GetEncoderNames(std::string const&) const override {
        std::vector<std::string> names;
        for (auto const& entry : encoders) names.push_back(entry.first);
        return names;
    }
    iptr<Proc::IEncoder> CreateVideoEncoder(
        iptr<Proc::IStreamVideo> const& source, Core::Property const& property, std::string const& implName,
        iptr<Core::ComputingResourceManager::BusyResource> const& resource) const override {
        created.push_back(implName);
        properties.push_back(property);
        hadResource.push_back(resource != nullptr);
        bool const recoding = !dynamic_cast<FakeDecoder*>(source.get());
        for (auto const& [name, script] : encoders) {
            if (name != implName) continue;
            switch (recoding ? script.creationWhenRecoding : script.creation) {
                case EncoderScript::Creation::Null:
                    return nullptr;
                case EncoderScript::Creation::EncoderFailure:
                    TARSEL_THROW(Proc::EncoderException, "encoder won't open");
                case EncoderScript::Creation::FactoryFailure:
                    TARSEL_THROW(Proc::CodecFactoryException, "no such encoder");
                case EncoderScript::Creation::NoResource:
                    TARSEL_THROW(Core::NotEnoughResource, "all busy");
                case EncoderScript::Creation::Works:
                    return MakeShared<FakeEncoder>(source, script, property, resource);
            }
        }
        return nullptr;
    }
};

/// A factory with one working encoder of the usual name.
inline iptr<FakeFactory> MakeFactory(EncoderScript const& script = {}) {
    auto factory = MakeShared<FakeFactory>();
    factory->encoders.emplace_back(Proc::ImplNames::FFMPEG, script);
    return factory;
}
/// A factory without encoders: cuts fall on groups.
inline iptr<FakeFactory> MakeFactoryWithoutEncoders() {
    return MakeShared<FakeFactory>();
}

inline iptr<IBlob> MakeBlob(std::vector<u8> const& bytes) {
    return Proc::BlobFF::Create(bytes.data(), bytes.size());
}

// --- Reading ---------------------------------------------------------------------------------------------------------

template <class Stream>
void SeekTo(Stream& stream, int64 position) {
    stream.RequestSeek(position, nullptr);
    stream.DoSeek();
}

template <class T>
auto ReadAll(T& stream) {
    std::vector<iptr<typename T::DataType>> items;
    while (auto item = stream.Read()) {
        items.push_back(item);
        if (items.size() > 1000000) TARSEL_THROW(std::runtime_error, "the stream doesn't end");
    }
    return items;
}

inline Proc::SettingsFilterCutController Cuts(std::vector<std::pair<int64, int64>> const& ranges) {
    Proc::SettingsFilterCutController settings;
    for (auto const& [start, end] : ranges) settings.AddInterval(start, end, NO_VALUE, false);
    return settings;
}

template <class E, class Call>
std::string MessageOf(Call&& call) {
    try {
        call();
    } catch (E const& failure) {
        auto const* const text = boost::get_error_info<TagDescription>(failure);
        return text ? *text : std::string(failure.what());
    }
    return "(nothing was thrown)";
}

using Test::LogLines;

}  // namespace Tarsel::CutTest
