#include "host/cut/HeaderReport.h"

#include <charconv>
#include <nlohmann/json.hpp>

#include "contracts/Proc/HeaderDescription.h"

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;

/// Packets in which the first key is looked for.
constexpr int MAX_SEARCHED = 300;

iptr<Proc::IDataPacket> FindFirstKey(MediaFile& file, StreamInfo const& info) {
    iptr<Proc::IStreamRaw> const stream = file.OpenStream(info.index);
    stream->RequestSeek(0, nullptr);
    stream->DoSeek();
    for (int i = 0; i < MAX_SEARCHED; ++i) {
        iptr<Proc::IDataPacket> packet = stream->Read();
        if (!packet || packet->IsKeyFrame() || info.kind != StreamKind::Video) return packet;
    }
    return nullptr;
}

Json ScalarToJson(std::string const& text) {
    char const* const end = text.data() + text.size();
    int64 number = 0;
    if (auto const result = std::from_chars(text.data(), end, number); result.ec == std::errc() && result.ptr == end)
        return number;
    u64 large = 0;
    if (auto const result = std::from_chars(text.data(), end, large); result.ec == std::errc() && result.ptr == end)
        return large;
    return text;
}

bool IsList(Core::Property const& node) {
    return !node.Children().empty() && !node.Children().front().IsKeyed();
}

Json ToJson(Core::Property const& node) {
    if (node.Children().empty()) return node.HasScalar() ? ScalarToJson(node.GetString()) : Json::array();
    Json json = IsList(node) ? Json::array() : Json::object();
    for (Core::Property const& child : node.Children()) {
        if (json.is_array())
            json.push_back(ToJson(child));
        else
            json[child.Name()] = ToJson(child);
    }
    return json;
}

/// Whether a list fits on one line: scalars alone.
bool IsPlainList(Core::Property const& node) {
    if (!IsList(node)) return false;
    for (Core::Property const& child : node.Children())
        if (!child.HasScalar() || !child.Children().empty()) return false;
    return true;
}

void AppendText(std::string& text, Core::Property const& node, std::size_t indent) {
    text.append(indent, ' ');
    text += node.Name();
    if (node.HasScalar()) text += (node.Name().empty() ? "" : ": ") + node.GetString();
    if (IsPlainList(node)) {
        text += ":";
        for (Core::Property const& child : node.Children()) text += " " + child.GetString();
        text += "\n";
        return;
    }
    text += "\n";
    for (Core::Property const& child : node.Children()) AppendText(text, child, indent + 2);
}

}  // namespace

Core::Property ReadHeaders(MediaFile& file, StreamInfo const& info) {
    using Proc::CodecParsers::DescribeHeaders;
    iptr<IBlob> header = info.format->GetExtradata();
    if (!header || header->GetSize() == 0) {
        iptr<Proc::IDataPacket> const packet = info.HasPackets() ? FindFirstKey(file, info) : nullptr;
        header = packet ? packet->GetBlob() : nullptr;
    }
    if (!header) return Core::Property("headers");
    return DescribeHeaders(info.codec, header->GetData(), header->GetSize());
}

std::string HeadersToJson(Core::Property const& headers) {
    Json list = Json::array();
    for (Core::Property const& structure : headers.Children()) {
        Json fields = structure.Children().empty() ? Json::object() : ToJson(structure);
        list.push_back({{"structure", structure.Name()}, {"fields", std::move(fields)}});
    }
    return list.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string HeadersToText(Core::Property const& headers, std::size_t indent) {
    std::string text;
    for (Core::Property const& structure : headers.Children()) AppendText(text, structure, indent);
    return text;
}

}  // namespace Tarsel::Host
