#include "host/cut/Probe.h"

#include <nlohmann/json.hpp>

#include "contracts/Core/Exception.h"
#include "host/cut/CutSession.h"
#include "host/cut/HeaderReport.h"
#include "host/cut/LosslessCheck.h"
#include "host/cut/RangeText.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;

std::string TextOf(Core::Property const& property, std::string const& key) {
    return property.ChildExists(key) && property[key].HasScalar() ? property[key].GetString() : std::string();
}

/// A text out of the file as a part of one line: what would break the line or steer a terminal is written out.
std::string OneLine(std::string const& text) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto byte = static_cast<unsigned char>(text[i]);
        // The second block of control characters has two bytes in UTF-8.
        bool const second = byte == 0xC2 && i + 1 < text.size() && (text[i + 1] & 0xE0) == 0x80;
        if (second) byte = static_cast<unsigned char>(text[++i]);
        if (byte >= 0x20 && byte != 0x7F && !second)
            result += static_cast<char>(byte);
        else if (byte == '\n')
            result += "\\n";
        else
            result += std::string("\\x") + DIGITS[byte >> 4] + DIGITS[byte & 15];
    }
    return result;
}

ProbeReport::Stream Describe(MediaFile& file, StreamInfo const& info, CutSession& session) {
    ProbeReport::Stream stream;
    stream.index = info.index;
    stream.kind = KindName(info.kind);
    stream.codec = info.codec;
    stream.profile = info.profile;
    stream.framing = info.framing;
    if (!info.HasPackets()) {
        stream.cutMode = "whole";
        stream.cutReason = "has no place in time: goes along as it is";
        return stream;
    }
    StreamIndex const& index = file.GetIndex(info.index);
    stream.packets = static_cast<int64>(index.GetCount());
    if (HasValue(index.GetStartTime())) {
        stream.startUs = index.GetStartTime();
        stream.durationUs = SubTime(index.GetEndTime(), index.GetStartTime());
    }
    stream.keyframesUs = index.GetRandomAccessTimes();
    stream.meanGroupUs = index.GetMeanGroupLength();
    if (index.GetCount() == 0) {
        stream.cutMode = CutModeName(CutMode::Packet);
        stream.cutReason = "holds no packets";
        return stream;
    }
    CutTrack const& track = session.AddStream(info);
    stream.cutMode = CutModeName(track.mode);
    stream.cutReason = track.reason;
    return stream;
}

/// What needs packets to be read again. A damaged place that can't be read a second time is no reason to tell nothing.
void DescribePackets(MediaFile& file, StreamInfo const& info, bool headers, ProbeReport::Stream& stream,
                     std::vector<std::string>& warnings) {
    try {
        if (headers) stream.headers = ReadHeaders(file, info);
        if (stream.packets == 0) return;
        LosslessVerdict verdict = JudgeLossless(file, info);
        stream.losslessPossible = verdict.possible;
        stream.craPictures = verdict.craPictures;
        stream.losslessReasons = std::move(verdict.reasons);
    } catch (Core::IOException const& failure) {
        stream.losslessPossible = false;
        stream.losslessReasons.emplace_back(failure.what());
        warnings.emplace_back(failure.what());
    }
}

}  // namespace

ProbeReport Probe(std::string const& path, bool headers) {
    iptr<MediaFile> const file = MediaFile::Open(path);
    CutRequest request;
    request.input = path;
    CutSession session(request, file);
    ProbeReport report;
    report.input = path;
    report.container = file->GetContainer();
    report.durationUs = file->GetDuration();
    report.withHeaders = headers;
    report.warnings = file->GetWarnings();
    for (StreamInfo const& info : file->GetStreams()) {
        report.streams.push_back(Describe(*file, info, session));
        DescribePackets(*file, info, headers, report.streams.back(), report.warnings);
    }
    for (Host::Chapter const& chapter : file->GetChapters())
        report.chapters.push_back({chapter.begin, chapter.end, TextOf(chapter.metadata, "title")});
    for (Core::Property const& entry : file->GetMetadata().Children())
        report.metadata.emplace_back(entry.Name(), entry.HasScalar() ? entry.GetString() : std::string());
    return report;
}

std::string ProbeReport::ToJson() const {
    Json document;
    document["input"] = input;
    document["container"] = container;
    document["duration_us"] = durationUs;
    document["streams"] = Json::array();
    for (Stream const& stream : streams) {
        document["streams"].push_back(
            {{"index", stream.index},
             {"kind", stream.kind},
             {"codec", stream.codec},
             {"profile", stream.profile},
             {"framing", stream.framing},
             {"duration_us", stream.durationUs},
             {"start_us", stream.startUs},
             {"packets", stream.packets},
             {"keyframes_us", stream.keyframesUs},
             {"mean_group_us", HasValue(stream.meanGroupUs) ? Json(stream.meanGroupUs) : Json(nullptr)},
             {"cut_mode", stream.cutMode},
             {"cut_reason", stream.cutReason},
             {"lossless",
              {{"possible", stream.losslessPossible},
               {"cra_pictures", stream.craPictures},
               {"reasons", stream.losslessReasons}}}});
        if (withHeaders) document["streams"].back()["headers"] = Json::parse(HeadersToJson(stream.headers));
    }
    document["chapters"] = Json::array();
    for (Chapter const& chapter : chapters)
        document["chapters"].push_back(
            {{"begin_us", chapter.beginUs}, {"end_us", chapter.endUs}, {"title", chapter.title}});
    document["metadata"] = Json::object();
    for (auto const& [key, value] : metadata) document["metadata"][key] = value;
    document["warnings"] = warnings;
    return document.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string ProbeReport::ToText() const {
    std::string text = OneLine(input) + ": " + container + ", " + ShortTime(durationUs) + "\n";
    for (Stream const& stream : streams) {
        text += "#" + std::to_string(stream.index) + " " + stream.kind + " " + stream.codec;
        if (!stream.profile.empty()) text += " (" + stream.profile + ")";
        if (!stream.framing.empty()) text += ", " + stream.framing + " framing";
        if (stream.packets != 0)
            text += ": " + std::to_string(stream.packets) + " packets from " + ShortTime(stream.startUs) + " for " +
                    ShortTime(stream.durationUs);
        if (stream.kind == "video" && HasValue(stream.meanGroupUs))
            text += ", " + std::to_string(stream.keyframesUs.size()) + " key pictures, " +
                    ShortTime(stream.meanGroupUs) + " apart";
        text += "\n    cut: " + stream.cutMode + ", " + stream.cutReason + "\n";
        for (std::string const& reason : stream.losslessReasons) text += "    " + OneLine(reason) + "\n";
        text += HeadersToText(stream.headers, 4);
    }
    for (Chapter const& chapter : chapters)
        text += "chapter " + ShortTime(chapter.beginUs) + " - " + ShortTime(chapter.endUs) + " " +
                OneLine(chapter.title) + "\n";
    for (auto const& [key, value] : metadata) text += OneLine(key) + ": " + OneLine(value) + "\n";
    return text;
}

}  // namespace Tarsel::Host
