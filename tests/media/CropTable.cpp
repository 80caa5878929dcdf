// Runs the crop detector and ffmpeg's cropdetect over the corpus and prints what they find as tables in Markdown, and
// how many clips the detector finds with other options. With a file it also puts them there, between the lines
// "<!-- tables -->" and "<!-- end of tables -->". Names of clips behind the file limit the run to those.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "host/crop/CropJob.h"
#include "host/graph/Factories.h"
#include "host/media/ForwardingStream.h"
#include "host/media/MediaFile.h"
#include "host/media/VideoDecoder.h"
#include "tests/support/CropCorpus.h"
#include "tests/support/RunProgram.h"

namespace Tarsel::Test {
namespace {

using Proc::CropInfo;
using Proc::ICropDetector;
using Aim = CropClip::Aim;

struct Options {
    u32 count = ICropDetector::DEFAULT_SUCCESS_FRAME_COUNT;
    u32 limit = ICropDetector::DEFAULT_CALC_LIMIT;
    u32 precision = ICropDetector::DEFAULT_CROP_PRECISION;
};

/// The pictures of a clip that are looked at, kept so that many options can be tried.
class KeptPictures final : public Host::ForwardingStream<Proc::IStreamVideo> {
  public:
    explicit KeptPictures(iptr<Proc::IStreamVideo> const& source) : ForwardingStream(source) {
        int64 next = 0;
        while (iptr<Proc::IDataVideo> picture = source->Read()) {
            if (picture->GetTime() < next) continue;
            next += ICropDetector::DEFAULT_SKIP_INTERVAL;
            pictures.push_back(std::move(picture));
        }
    }

    void RequestSeek(int64, iptr<IRefCountable>) override {}
    void DoSeek() override { place = 0; }
    bool FinishSeek() override { return true; }
    iptr<Proc::IDataVideo> Read() override { return place < pictures.size() ? pictures[place++] : nullptr; }

  private:
    std::vector<iptr<Proc::IDataVideo>> pictures;
    std::size_t place = 0;
};

iptr<Proc::IStreamVideo> Keep(std::string const& path) {
    auto const file = Host::MediaFile::Open(path);
    for (Host::StreamInfo const& info : file->GetStreams())
        if (info.kind == Host::StreamKind::Video)
            return MakeShared<KeptPictures>(Host::VideoDecoder::Create(file->OpenStream(info.index), "", {}));
    throw std::runtime_error(path + ": there is no video in it");
}

CropInfo Detect(iptr<Proc::IStreamVideo> stream, Options const& options) {
    static auto const factory = Host::MakeFilterFactory();
    auto const detector = factory->CreateCropDetector(Proc::ImplNames::DEFAULT);
    detector->Initialize(Core::Property(ICropDetector::CLASS_ID)
                             .SetChild(ICropDetector::SUCCESS_FRAME_COUNT, int64{options.count})
                             .SetChild(ICropDetector::CALC_LIMIT, int64{options.limit})
                             .SetChild(ICropDetector::CROP_PRECISION, int64{options.precision}));
    return detector->Detect(stream);
}

/// The region that ffmpeg's filter tells last, with its own options but for a rounding that is ours. All 0: none.
CropInfo DetectByPeer(std::string const& path) {
    auto const result = RunProgram(
        {"ffmpeg", "-hide_banner", "-nostats", "-i", path, "-an", "-vf", "cropdetect=round=2", "-f", "null", "-"});
    std::size_t const place = result.errors.rfind("crop=");
    int width = 0, height = 0, x = 0, y = 0;
    if (place == std::string::npos ||
        std::sscanf(result.errors.c_str() + place, "crop=%d:%d:%d:%d", &width, &height, &x, &y) != 4 || width <= 0 ||
        height <= 0)
        return {};
    auto const edge = [](int value) { return static_cast<u32>(value); };
    return {edge(x), edge(x + width), edge(y), edge(y + height)};
}

bool IsRight(CropClip const& clip, CropInfo const& found) {
    return clip.aim == Aim::NotKnown ? found == CropInfo() : clip.IsNear(found);
}

std::string Text(CropInfo const& region) {
    if (region == CropInfo()) return "not known";
    std::ostringstream text;
    text << region.left << " " << region.right << " " << region.top << " " << region.bottom;
    return text.str();
}

struct Row {
    CropClip const* clip = nullptr;
    CropInfo ours;
    CropInfo peers;
    iptr<Proc::IStreamVideo> pictures;
};

std::vector<Row> RunAll(std::vector<std::string> const& names) {
    std::vector<Row> rows;
    for (CropClip const& clip : CropCorpus()) {
        if (!names.empty() && std::find(names.begin(), names.end(), clip.name) == names.end()) continue;
        std::string const path = clip.Make();
        Row row;
        row.clip = &clip;
        Host::CropRequest request;
        request.input = path;
        row.ours = Host::DetectCrop(request, nullptr).region;
        row.peers = DetectByPeer(path);
        row.pictures = Keep(path);
        // What is kept must stand for the file, or the grid would be of something else. A whole frame is told of odd
        // sizes as the file has it.
        if (Detect(row.pictures, {}).Diff(row.ours) > 1)
            throw std::runtime_error(path + ": the grid sees other pictures");
        std::fprintf(stderr, "%s: %s\n", clip.name.c_str(), Text(row.ours).c_str());
        rows.push_back(std::move(row));
    }
    return rows;
}

/// Who answers where we hold back is right when the answer is.
bool IsPeerRight(CropClip const& clip, CropInfo const& found) {
    return clip.IsNear(found) || IsRight(clip, found);
}

std::string Marked(CropInfo const& found, bool isRight) {
    return Text(found) + (isRight ? "" : " **x**");
}

std::string TableOf(std::vector<Row> const& rows) {
    std::ostringstream text;
    text << "| clip | frame | true region | found | `cropdetect` |\n|---|---|---|---|---|\n";
    int ours = 0, peers = 0, oursCut = 0, peersCut = 0;
    for (Row const& row : rows) {
        CropClip const& clip = *row.clip;
        text << "| " << clip.name << ": " << clip.content << (clip.aim == Aim::Beyond ? " (*)" : "") << " | "
             << clip.width << "x" << clip.height << " | " << Text(clip.picture) << " | "
             << Marked(row.ours, IsRight(clip, row.ours)) << " | " << Marked(row.peers, IsPeerRight(clip, row.peers))
             << " |\n";
        ours += IsRight(clip, row.ours) ? 1 : 0;
        oursCut += clip.CutsOff(row.ours) ? 1 : 0;
        peersCut += clip.CutsOff(row.peers) ? 1 : 0;
        peers += IsPeerRight(clip, row.peers) ? 1 : 0;
    }
    text << "| right, of " << rows.size() << " | | | " << ours << " | " << peers << " |\n";
    text << "| a part of the picture cut off | | | " << oursCut << " | " << peersCut << " |\n";
    return text.str();
}

/// How many clips come out right with other options, and behind the slash of how many others a part of the picture
/// would be cut off.
std::string CellOf(std::vector<Row> const& rows, Options const& options) {
    int right = 0, cutting = 0;
    for (Row const& row : rows) {
        CropInfo const found = Detect(row.pictures, options);
        right += IsRight(*row.clip, found) ? 1 : 0;
        cutting += row.clip->CutsOff(found) ? 1 : 0;
    }
    return std::to_string(right) + " / " + std::to_string(cutting);
}

std::string GridOf(std::vector<Row> const& rows) {
    std::ostringstream text;
    text << "| limit | precision 2 | 4 | 8 | 16 | 32 |\n|---|---|---|---|---|---|\n";
    for (u32 const limit : {1, 2, 3, 4, 5, 6, 8, 12}) {
        text << "| " << limit;
        for (u32 const precision : {2, 4, 8, 16, 32}) {
            Options options;
            options.limit = limit;
            options.precision = precision;
            text << " | " << CellOf(rows, options);
        }
        text << " |\n";
    }
    text << "\n| limit | count 3 | 5 | 8 | 10 | 12 | 15 |\n|---|---|---|---|---|---|---|\n";
    for (u32 const limit : {2, 3, 4, 5}) {
        text << "| " << limit;
        for (u32 const count : {3, 5, 8, 10, 12, 15}) {
            Options options;
            options.limit = limit;
            options.count = count;
            text << " | " << CellOf(rows, options);
        }
        text << " |\n";
    }
    return text.str();
}

void PutInto(std::string const& path, std::string const& tables) {
    std::ifstream file(path);
    std::stringstream whole;
    whole << file.rdbuf();
    std::string text = whole.str();
    std::string const begin = "<!-- tables -->\n", end = "<!-- end of tables -->\n";
    std::size_t const from = text.find(begin), to = text.find(end);
    if (!file || from == std::string::npos || to == std::string::npos || to < from)
        throw std::runtime_error(path + " has no place for the tables");
    text.replace(from + begin.size(), to - from - begin.size(), "\n" + tables + "\n");
    std::ofstream out(path);
    if (!(out << text).flush()) throw std::runtime_error(path + " can't be written");
}

int Main(std::vector<std::string> const& arguments) {
    std::vector<std::string> names;
    if (arguments.size() > 1) names.assign(arguments.begin() + 1, arguments.end());
    auto const rows = RunAll(names);
    std::string const tables = TableOf(rows) + "\n" + GridOf(rows);
    std::fputs(tables.c_str(), stdout);
    if (!arguments.empty() && arguments[0] != "-") PutInto(arguments[0], tables);
    return 0;
}

}  // namespace
}  // namespace Tarsel::Test

int main(int count, char** arguments) {
    try {
        return Tarsel::Test::Main({arguments + 1, arguments + count});
    } catch (std::exception const& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
