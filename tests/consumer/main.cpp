// Uses an installed Tarsel as any other program would, and exits 0 only when all of it works.

#include <unistd.h>

#include <algorithm>
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/DataPacketFF.h"
#include "contracts/Proc/FilterBitStream.h"
#include "contracts/Proc/GraphCRCData.h"
#include "contracts/Proc/HeaderDescription.h"
#include "contracts/Proc/ICRCStreamController.h"
#include "contracts/Proc/IFilterCutController.h"
#include "contracts/Proc/IPTSRestorer.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterBitStream.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"
#include "host/graph/FilterRegistry.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace {

// A failure that starts inside the library is caught here by its class, not only by its root.
bool CatchesByClass() {
    const Tarsel::Core::Property settings("settings");
    try {
        settings["missing"];
    } catch (const Tarsel::Core::CoreException& failure) {
        return std::string(failure.what()).find("missing") != std::string::npos;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "caught by its root only: %s\n", failure.what());
    }
    return false;
}

// A filter is found in the registry and made in the filters library; settings of a class that is not its own are
// refused there.
bool MakesFilters(Tarsel::Host::FilterRegistry const& registry) {
    using namespace Tarsel::Proc;
    auto const make = registry.Find(FilterSlots::CUT_CONTROLLER, ImplNames::DEFAULT);
    if (!make || !make(SettingsFilterCutController(), nullptr)) return false;
    try {
        make(SettingsStreamMetadataUpdater(), nullptr);
    } catch (FilterException const& refusal) {
        return std::string(refusal.what()) == "Wrong settings!";
    }
    return false;
}

// --- Bit streams -----------------------------------------------------------------------------------------------------

using namespace Tarsel;
using namespace Tarsel::Proc;
using Bytes = std::vector<u8>;

// An SPS of the Baseline profile, 16 x 16 pixels, and a PPS.
Bytes const SPS = {0x67, 66, 0, 10, 0xDA, 0x79};
Bytes const PPS = {0x68, 0xCE, 0x3C, 0x80};
Bytes const IDR_SLICE = {0x65, 0x88, 0x84, 0x21};
Bytes const P_SLICE = {0x41, 0x9A, 0x22};

Bytes AfterStartCodes(std::vector<Bytes> const& units) {
    Bytes result;
    for (Bytes const& unit : units) {
        result.insert(result.end(), {0, 0, 0, 1});
        result.insert(result.end(), unit.begin(), unit.end());
    }
    return result;
}

Bytes AfterLengths(std::vector<Bytes> const& units) {
    Bytes result;
    for (Bytes const& unit : units) {
        result.insert(result.end(), {0, 0, 0, static_cast<u8>(unit.size())});
        result.insert(result.end(), unit.begin(), unit.end());
    }
    return result;
}

Bytes AvcC() {
    Bytes result = {1, SPS[1], SPS[2], SPS[3], 0xFF, 0xE1, 0, static_cast<u8>(SPS.size())};
    result.insert(result.end(), SPS.begin(), SPS.end());
    result.insert(result.end(), {1, 0, static_cast<u8>(PPS.size())});
    result.insert(result.end(), PPS.begin(), PPS.end());
    return result;
}

iptr<IDataPacket> MakePacket(Bytes const& payload, bool key, int64 time, int64 decodingTime) {
    AVPacket* const packet = av_packet_alloc();
    if (!packet || av_new_packet(packet, static_cast<int>(payload.size())) < 0)
        throw std::runtime_error("no memory for a packet");
    std::copy(payload.begin(), payload.end(), packet->data);
    if (key) packet->flags |= AV_PKT_FLAG_KEY;
    return DataPacketFF::Create(packet, MEDIA_TYPE_VIDEO, time, decodingTime, 40000);
}

bool Holds(iptr<IBlob> const& blob, Bytes const& expected) {
    return blob && std::equal(blob->GetData(), blob->GetData() + blob->GetSize(), expected.begin(), expected.end());
}

// An H.264 stream of this program: two packets, 40 ms apart.
class Clip : public IStreamRaw, public RefCounted {
  public:
    Clip(Bytes const& header, std::vector<Bytes> const& payloads)
        : format(Conf::IFormatCodecVideo::Create()), payloads(payloads) {
        format->SetCodecID(Conf::IFormatCodecVideo::CODEC_ID_H264);
        format->SetExtradata(BlobFF::Create(header.data(), header.size()));
    }
    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return Core::Property("Clip"); }
    int64 GetDuration() const override { return GetTime(payloads.size()); }
    int64 GetPosition() override { return GetTime(next); }
    iptr<IDataPacket> Read() override {
        if (next == payloads.size()) return nullptr;
        auto packet = MakePacket(payloads[next], next == 0, GetTime(next), GetTime(next));
        ++next;
        return packet;
    }
    void RequestSeek(int64, iptr<IRefCountable>) override { next = 0; }
    void DoSeek() override {}
    bool FinishSeek() override { return true; }
    Core::Property GetStatistic() override { return Core::Property("Clip"); }
    void SetEndOfStream() override { next = payloads.size(); }
    bool IsEndOfStream() override { return next == payloads.size(); }
    void ReleaseInternalData() override {}
    void Accept(IStreamVisitor&) override {}
    MediaType GetMediaType() const override { return MEDIA_TYPE_VIDEO; }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return format; }

  private:
    static int64 GetTime(std::size_t number) { return static_cast<int64>(number) * 40000; }

    iptr<Conf::IFormatCodecVideo> format;
    std::vector<Bytes> payloads;
    std::size_t next = 0;
};

// Whether the stream comes out of the filter with this header and these payloads; an empty one is a dropped packet.
bool Becomes(iptr<IStreamRaw> const& clip, SettingsFilterBitStream::StreamFormat wanted, Bytes const& header,
             std::vector<Bytes> const& payloads) {
    iptr<IStreamRawEx> const filter = FilterBitStream::Create(clip, SettingsFilterBitStream(wanted));
    if (!Holds(filter->GetFormatCodec()->GetExtradata(), header)) return false;
    filter->RequestSeek(0, nullptr);
    filter->DoSeek();
    int64 time = 0;
    for (Bytes const& payload : payloads) {
        iptr<IDataPacket> const packet = filter->Read();
        if (payload.empty() != !packet) return false;
        if (packet &&
            (!Holds(packet->GetBlob(), payload) || packet->GetTime() != time || packet->IsKeyFrame() != (time == 0)))
            return false;
        time += 40000;
    }
    return !filter->Read();
}

// Packets of a stream of this program come into another framing, past a broken one.
bool ConvertsPackets() {
    Bytes const annexB = AfterStartCodes({SPS, PPS});
    auto const startCodes =
        MakeShared<Clip>(annexB, std::vector{AfterStartCodes({IDR_SLICE}), AfterStartCodes({P_SLICE})});
    auto const lengths = MakeShared<Clip>(AvcC(), std::vector{AfterLengths({IDR_SLICE}), AfterLengths({P_SLICE})});
    auto const broken = MakeShared<Clip>(AvcC(), std::vector{Bytes{0, 0, 0, 9, 0x65}, AfterLengths({P_SLICE})});
    return Becomes(startCodes, SettingsFilterBitStream::MP4, AvcC(),
                   {AfterLengths({IDR_SLICE}), AfterLengths({P_SLICE})}) &&
           Becomes(lengths, SettingsFilterBitStream::ANNEX_B, annexB,
                   {AfterStartCodes({SPS, PPS, IDR_SLICE}), AfterStartCodes({P_SLICE})}) &&
           Becomes(broken, SettingsFilterBitStream::ANNEX_B, annexB, {{}, AfterStartCodes({P_SLICE})});
}

// What the door to the bit stream filter refuses comes over by its class.
bool RefusesByClass() {
    SettingsFilterBitStream const wanted(SettingsFilterBitStream::MP4);
    try {
        FilterBitStream::Create(nullptr, wanted);
        return false;
    } catch (std::invalid_argument const& refusal) {
        if (std::string(refusal.what()) != "parentStream is NULL.") return false;
    }
    auto const withoutSets = MakeShared<Clip>(AfterStartCodes({IDR_SLICE}), std::vector<Bytes>());
    try {
        FilterBitStream::Create(withoutSets, wanted);
        return false;
    } catch (Exception const& refusal) {
        if (std::string(refusal.what()) != "No sps or pps found!") return false;
    }
    try {
        FilterBitStream::Create(withoutSets, SettingsStreamMetadataUpdater());
    } catch (std::bad_cast const&) {
        return true;
    }
    return false;
}

// A global header is told field by field, a broken one too.
bool TellsHeaders() {
    Bytes const header = AvcC();
    auto const tell = [&](std::size_t size) {
        return CodecParsers::DescribeHeaders(Conf::IFormatCodecVideo::CODEC_ID_H264, header.data(), size);
    };
    auto const structures = tell(header.size()).Children();
    if (structures.size() != 3 || structures[0].Name() != "avcC" || structures[2].Name() != "PPS") return false;
    if (structures[1].Name() != "SPS" || structures[1]["level_idc"].GetInt64() != 10) return false;
    // A header that ends too early is told with what is wrong, wherever that is.
    for (std::size_t size = 1; size < header.size(); ++size) {
        auto const cut = tell(size).Children();
        if (cut.empty() || !cut.front().ChildExists("error")) return false;
    }
    return tell(0).Children().empty();
}

// Packets without presentation times get theirs.
bool RestoresTimes() {
    auto const restorer = CodecParsers::CreateH264PTSRestorer(false, 0);
    restorer->AddPacket(MakePacket(AfterStartCodes({IDR_SLICE}), true, NO_VALUE, 0));
    if (restorer->GetPacket().packet) return false;
    restorer->AddPacket(MakePacket(AfterStartCodes({P_SLICE}), false, NO_VALUE, 40000));
    restorer->AddPacket(nullptr);
    for (int64 const time : {0, 40000}) {
        CodecParsers::RestoredPacket const restored = restorer->GetPacket();
        if (!restored.packet || restored.dts != time || restored.pts != time - 40000) return false;
    }
    return !restorer->GetPacket().packet;
}

// --- Records ---------------------------------------------------------------------------------------------------------

// The class of what a record's file is refused with.
std::string RefusalOf(std::string const& file, std::string const& text) {
    std::ofstream(file) << text;
    GraphCRCData data;
    try {
        data.LoadFromFile(ioPath(file));
    } catch (boost::property_tree::json_parser_error const&) {
        return "form";
    } catch (boost::property_tree::ptree_bad_path const&) {
        return "path";
    } catch (boost::property_tree::ptree_bad_data const&) {
        return "data";
    }
    return "nothing";
}

// Packets of a stream of this program are recorded, and the record goes to a file and comes back.
bool KeepsRecords(Tarsel::Host::FilterRegistry const& registry, std::string const& file) {
    auto const make = registry.Find(FilterSlots::CRC_STREAM_CONTROLLER, ImplNames::DEFAULT);
    if (!make) return false;
    iptr<ICRCStreamController> const controller = make();
    iptr<IStreamRaw> const clip = MakeShared<Clip>(Bytes(), std::vector{Bytes{'a', 'b', 'c'}, Bytes{'a'}});
    iptr<IStreamRaw> const filter = controller->AddStream(clip);
    filter->Initialize(Core::Property(ICRCStreamController::SOURCE_NODE_ID).SetValue(7));
    while (filter->Read()) {
    }
    GraphCRCData made;
    made.AddPacketCRCInfo(7, 0, "900150983cd24fb0d6963f7d28e17f72");
    made.AddPacketCRCInfo(7, 40000, "0cc175b9c0f1b6a831c399e269772661");
    if (controller->GetGraphCRCData() != made) return false;
    FilterCRCInfo node(7);
    node.AddPacketCRCInfo(0, "900150983cd24fb0d6963f7d28e17f72");
    if (node.GetPacketCRCInfoList()[0] != PacketCRCInfo(0, 0, "900150983cd24fb0d6963f7d28e17f72")) return false;

    made.SetSourceMediaFileName(ioPath("K\xC3\xA4se.mkv"));
    made.SaveToFile(ioPath(file));
    GraphCRCData loaded;
    loaded.LoadFromFile(ioPath(file));
    if (loaded != made) return false;
    loaded.Clear();
    return loaded == GraphCRCData() && RefusalOf(file, "{") == "form" && RefusalOf(file, "{}") == "path" &&
           RefusalOf(file, R"({"GraphCRCInfo": {"PacketCount": "x"}})") == "data";
}

bool KeepsRecords(Tarsel::Host::FilterRegistry const& registry) {
    auto const file = std::filesystem::temp_directory_path() / ("tarsel-consumer-" + std::to_string(getpid()));
    bool const kept = KeepsRecords(registry, file.string());
    std::filesystem::remove(file);
    return kept;
}

}  // namespace

int main() {
    Tarsel::Core::Property settings("settings");
    settings.SetChild("width", 320);
    if (settings["width"].GetInt64() != 320) {
        std::fprintf(stderr, "a property does not give back what was set\n");
        return 1;
    }
    if (!CatchesByClass()) {
        std::fprintf(stderr, "a failure of the library cannot be caught by its class\n");
        return 1;
    }
    auto const registry = Tarsel::Host::MakeFilterRegistry();
    if (!MakesFilters(*registry)) {
        std::fprintf(stderr, "a filter cannot be made through the registry\n");
        return 1;
    }
    if (!ConvertsPackets() || !RefusesByClass()) {
        std::fprintf(stderr,
                     "the bit stream filter does not convert what it is given, or does not refuse what is no use\n");
        return 1;
    }
    if (!TellsHeaders()) {
        std::fprintf(stderr, "a header is not told field by field\n");
        return 1;
    }
    if (!RestoresTimes()) {
        std::fprintf(stderr, "times are not restored\n");
        return 1;
    }
    if (!KeepsRecords(*registry)) {
        std::fprintf(stderr, "a record of a run is not made, not kept, or its broken file not refused by its class\n");
        return 1;
    }
    std::printf("consumer: works, %zu filters are registered\n", registry->GetRows().size());
    return 0;
}
