// Lines of subtitles, pieces that a byte 1 parts: a header, then lines. All are read; short inputs are drawn as well,
// on a small frame at the starts and ends of the lines. Every line must be taken, repeated or malformed, what was read
// must be in order, and what is drawn must lie inside of the frame.

#include <glog/logging.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ITextEngine.h"
#include "fuzz/FuzzInput.h"
#include "host/text/AssLine.h"
#include "host/text/OverlayFactory.h"

using namespace Tarsel;

namespace {

constexpr char SEPARATOR = 1;
/// The library that draws may take seconds for a page of large blurred letters.
constexpr std::size_t DRAWN_LIMIT = 512;
constexpr std::size_t MOST_DRAWN = 4;
constexpr Conf::FrameInfo FRAME{48, 32, 16, 15};

std::vector<std::string> Pieces(std::string const& text) {
    std::vector<std::string> pieces(1);
    for (char const letter : text) {
        if (letter == SEPARATOR)
            pieces.emplace_back();
        else
            pieces.back() += letter;
    }
    return pieces;
}

void Require(bool holds) {
    if (!holds) std::abort();
}

std::vector<int64> ReadAll(std::vector<std::string> const& lines) {
    std::vector<int64> times;
    for (std::string const& line : lines) {
        Host::AssLine event;
        std::string const reason = Host::ParseAssLine(line, event);
        Require(reason.size() < 100);
        if (!reason.empty()) continue;
        Require(event.start >= 0 && event.end > event.start && event.text.size() <= line.size() * 2);
        Require(event.text.find_first_of("\r\n\v\f") == std::string::npos);
        times.insert(times.end(), {event.start, event.end - 1});
    }
    return times;
}

void DrawAll(std::string const& header, std::vector<std::string> const& lines, std::vector<int64> const& times) {
    auto const engine = Host::MakeOverlayFactory()->CreateTextEngine(header, {});
    for (std::string const& line : lines) engine->AddTextLine(line);
    Core::Property counts = engine->GetStatistic();
    int64 sum = 0;
    for (char const* name : {"Lines", "Malformed"}) sum += counts[name].GetInt64();
    Require(sum == static_cast<int64>(lines.size()));
    for (std::size_t i = 0; i < std::min(times.size(), MOST_DRAWN); ++i) {
        Proc::CropInfo crop;
        auto const picture = engine->RenderImage(times[i] * 1000, FRAME, crop);
        if (!picture) continue;
        Require(!crop.IsEmpty() && crop.right <= static_cast<u32>(FRAME.width) &&
                crop.bottom <= static_cast<u32>(FRAME.height));
        Require(picture->GetWidth() == static_cast<int>(crop.GetWidth()) &&
                picture->GetHeight() == static_cast<int>(crop.GetHeight()));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    FLAGS_minloglevel = google::GLOG_FATAL;
    std::string const text(reinterpret_cast<char const*>(input), std::min(inputSize, Fuzz::INPUT_LIMIT));
    auto lines = Pieces(text);
    std::string const header = lines.front();
    lines.erase(lines.begin());
    auto const times = ReadAll(lines);
    if (text.size() <= DRAWN_LIMIT && !times.empty()) DrawAll(header, lines, times);
    return 0;
}
