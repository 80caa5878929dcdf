#include "host/graph/FormMaker.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "host/graph/GraphChecks.h"
#include "host/media/Containers.h"
#include "host/subtitles/SubtitleSource.h"

namespace Tarsel::Host {

namespace {

AVOutputFormat const* ContainerOf(ShortFormOptions const& options) {
    if (!options.container.empty()) return FindContainerNamed(options.container);
    return options.output.empty() ? nullptr : FindContainer(options.output);
}

}  // namespace

FormMaker::FormMaker(ShortFormOptions const& options) : options(options), container(ContainerOf(options)) {
    result.document.output.file = options.output;
    result.document.output.container = options.container;
}

iptr<MediaFile> FormMaker::Open(std::string const& path) {
    auto& file = files[path];
    if (!file) {
        file = MediaFile::Open(path);
        result.files.push_back(file);
    }
    return file;
}

iptr<MediaFile> FormMaker::OpenSubtitles(std::string const& path, std::string const& charset) {
    iptr<MediaFile> file = OpenSubtitleFile(path, charset);
    return file ? file : Open(path);
}

NodeId FormMaker::AddSource(std::string const& path, StreamSelector const& selector, bool packets) {
    auto& sources = result.document.sources;
    sources.push_back({nextId, path, selector, packets, "/sources/" + std::to_string(sources.size())});
    return nextId++;
}

NodeId FormMaker::AddSubtitleSource(std::string const& path, StreamSelector const& selector, std::string const& charset,
                                    int64 delay) {
    NodeId const id = AddSource(path, selector);
    GraphSource& source = result.document.sources.back();
    source.charset = charset;
    source.delay = delay;
    return id;
}

NodeId FormMaker::AddFilter(char const* classId, char const* implName, Core::Property settings,
                            std::vector<NodeId> inputs) {
    auto& filters = result.document.filters;
    filters.push_back({nextId, classId, implName, std::move(settings), std::move(inputs),
                       "/filters/" + std::to_string(filters.size())});
    return nextId++;
}

void FormMaker::AddOutput(GraphOutput::Stream stream) {
    result.document.output.streams.push_back(std::move(stream));
}

void FormMaker::AddSoundOutput(NodeId input) {
    GraphOutput::Stream stream;
    stream.input = input;
    stream.codec = options.audioCodec;
    stream.bitRate = options.audioBitRate;
    AddOutput(std::move(stream));
}

void FormMaker::Warn(std::string warning) {
    result.warnings.push_back(std::move(warning));
}

void FormMaker::WarnLeftOut(MediaFile const& file, StreamInfo const& info, std::string const& why) {
    Warn(file.GetPath() + ": " + StreamName(info) + " is left out" + (why.empty() ? "" : ": " + why));
}

ShortFormGraph FormMaker::Finish() {
    CheckGraph(result.document);
    return std::move(result);
}

SettingField const& FieldOf(char const* classId, char const* key) {
    auto const& fields = FindInCatalog(classId)->fields;
    return *std::find_if(fields.begin(), fields.end(), [&](SettingField const& field) { return field.key == key; });
}

std::string NumberText(double value) {
    std::array<char, 64> buffer{};
    return {buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr};
}

}  // namespace Tarsel::Host
