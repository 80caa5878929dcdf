#include "host/text/AssEngine.h"

#include <ass/ass.h>
#include <glog/logging.h>

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/text/AssLine.h"
#include "host/text/AssPicture.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

constexpr int64 MIN_TIME = std::numeric_limits<int64>::min();
constexpr int64 MAX_TIME = std::numeric_limits<int64>::max();
/// Warnings of one kind; what comes behind them is only counted.
constexpr unsigned MAX_MALFORMED_TOLD = 10;
constexpr std::size_t MAX_TOLD = 30;
/// How many times at which lines began are drawn, at most, to know where lines stand that are on screen together.
constexpr std::size_t MAX_REHEARSALS = 1000;
/// How much of a line a warning repeats.
constexpr std::size_t MAX_QUOTED = 120;

template <class Object>
Object Opened(Object object) {
    if (!object) TARSEL_THROW(FilterException, "The engine that draws text can't be opened");
    return object;
}

int64 MillisecondsOf(int64 time) {
    return time / 1000 - (time % 1000 < 0 ? 1 : 0);
}

/// Whether a line may look otherwise from one frame to the next.
bool Moves(AssLine const& line) {
    if (!line.effect.empty()) return true;
    for (char const* order : {"\\t", "\\move", "\\fad", "\\k", "\\K"})
        if (line.text.find(order) != std::string::npos) return true;
    return false;
}

bool SkipNumber(std::string_view& text) {
    auto const skip = [&](char const* letters) {
        text.remove_prefix(std::min(text.find_first_not_of(letters), text.size()));
    };
    skip(" ");
    std::size_t const before = text.size();
    skip("+-.0123456789");
    bool const isThere = text.size() < before;
    skip(" ");
    return isThere;
}

/// Whether a line begins with a place of its own, "{...\\pos(X,Y)...}": the library moves only the others apart.
bool IsPlaced(AssLine const& line) {
    std::string_view text = line.text;
    if (!text.starts_with('{') || text.find('}') == std::string_view::npos) return false;
    text = text.substr(0, text.find('}'));
    constexpr std::string_view ORDER = "\\pos(";
    std::size_t const order = text.find(ORDER);
    if (order == std::string_view::npos) return false;
    text.remove_prefix(order + ORDER.size());
    if (!SkipNumber(text) || !text.starts_with(',')) return false;
    text.remove_prefix(1);
    return SkipNumber(text) && text.starts_with(')');
}

bool IsDrawable(Conf::FrameInfo const& info) {
    return info.width > 0 && info.height > 0;
}

/// What the log can show of bytes that may be anything.
std::string QuotedLine(std::string const& line) {
    std::string text;
    for (char const letter : line.substr(0, MAX_QUOTED)) text += letter >= ' ' && letter <= '~' ? letter : '?';
    return "\"" + text + (line.size() > MAX_QUOTED ? "..." : "") + "\"";
}

}  // namespace

iptr<AssEngine> AssEngine::Create(std::string const& header, SettingsSubtitleDrawer const& settings,
                                  TextWarningListener warned) {
    return iptr<AssEngine>(new AssEngine(header, settings, std::move(warned)));
}

AssEngine::AssEngine(std::string const& header, SettingsSubtitleDrawer const& settings, TextWarningListener warned)
    : warned(std::move(warned)),
      listener([this](int loudness, std::string const& message) { Hear(loudness, message); }),
      library(Opened(OpenAssLibrary(listener))),
      fonts(settings.GetFontsDir()),
      script(*library, header, settings),
      renderer(Opened(OpenAssRenderer(*library))) {
    if (!settings.GetFontsDir().empty()) ass_set_fonts_dir(library.get(), settings.GetFontsDir().c_str());
    OpenAssFonts(*renderer, "sans-serif");
    if (!fonts.HasAny() && !script.HasFonts()) Tell("No font is installed: no text will be drawn. Install some fonts");
}

AssEngine::~AssEngine() = default;

void AssEngine::Tell(std::string const& warning) {
    if (told.size() < MAX_TOLD && told.insert(warning).second) Warn(warning);
}

void AssEngine::Warn(std::string const& warning) const {
    LOG(WARNING) << warning;
    if (warned) warned(warning);
}

void AssEngine::Hear(int loudness, std::string const& message) {
    // The library takes what comes nearest and says no more; where nothing does, it says that ahead.
    constexpr std::string_view CHOICE = "fontselect: (";
    constexpr std::string_view DEFAULT = "fontselect: Using default font family: (";
    if (message.starts_with(DEFAULT)) return HearOfFont(message.substr(DEFAULT.size()), true);
    if (message.starts_with(CHOICE)) return HearOfFont(message.substr(CHOICE.size()), false);
    // Follows where no font at all is there, which was told.
    if (message.find("glyph 0x0 ") != std::string::npos) return;
    if (loudness <= ASS_LOUDNESS_WARNING) Tell("Drawing text: " + message);
}

/// "FAMILY, weight, slant) -> path, index, name"
void AssEngine::HearOfFont(std::string const& choice, bool isDefault) {
    constexpr std::string_view TO_FILE = ") -> ";
    std::size_t const end = choice.find(TO_FILE);
    if (end == std::string::npos) return;
    std::string family = choice.substr(0, end);
    for (int i = 0; i < 2; ++i) family.erase(std::min(family.rfind(','), family.size()));
    if (!family.empty() && family.front() == '@') family.erase(0, 1);
    if (families.size() >= MAX_TOLD || !families.insert(family).second || fonts.Has(family)) return;
    // Which families the script itself brings isn't known here, but what it brings has no path.
    bool const hasPath = choice.compare(end + TO_FILE.size(), 1, "/") == 0;
    if (script.HasFonts() && !isDefault && !hasPath) return;
    Tell("Font \"" + family + "\" isn't installed, " + choice.substr(choice.rfind(", ") + 2) +
         " is drawn in its place");
}

void AssEngine::LeaveOut(std::string const& line, std::string const& reason) {
    if (malformed++ < MAX_MALFORMED_TOLD)
        Warn("Subtitle line is left out, " + reason + ": " + QuotedLine(line) +
             (malformed == MAX_MALFORMED_TOLD ? "; further ones are only counted" : ""));
}

void AssEngine::AddTextLine(std::string const& line) {
    AssLine event;
    std::string const reason = ParseAssLine(line, event);
    if (!reason.empty()) return LeaveOut(line, reason);
    if (!script.Add(event)) Tell("Subtitle style \"" + event.style + "\" isn't there, another one is taken");
    Enter({event.start, event.end, Moves(event), IsPlaced(event)});
}

void AssEngine::Enter(Span const& span) {
    isSorted = isSorted && (spans.empty() || spans.back().start <= span.start);
    spans.push_back(span);
    // The library has placed lines that should have been placed behind this one.
    if (HasValue(rehearsed) && span.start <= rehearsed) isOutOfOrder = true;
    if (!isSorted || isOutOfOrder || span.start < stage.until) stage.until = stage.from;
}

void AssEngine::ClearLines() {
    script.ClearEvents();
    spans.clear();
    isSorted = true;
    stage = {};
    rehearsed = NO_VALUE;
    isOutOfOrder = false;
}

void AssEngine::FitTo(Conf::FrameInfo const& info) {
    if (info == fitted) return;
    fitted = info;
    if (fitted.pixelAspectNum <= 0 || fitted.pixelAspectDen <= 0) fitted.pixelAspectNum = fitted.pixelAspectDen = 1;
    ass_set_frame_size(renderer.get(), info.width, info.height);
    ass_set_storage_size(renderer.get(), info.width, info.height);
    // Letters are drawn narrower on pixels that are shown wider.
    ass_set_pixel_aspect(renderer.get(), double(fitted.pixelAspectDen) / fitted.pixelAspectNum);
    script.FitTo(fitted);
    fitted = info;
    hasDrawn = false;
    drawn = {};
    stage.until = stage.from;
    rehearsed = NO_VALUE;
}

AssEngine::Stage AssEngine::StageAt(int64 now) {
    if (!isSorted)
        std::stable_sort(spans.begin(), spans.end(), [](Span const& a, Span const& b) { return a.start < b.start; });
    isSorted = true;
    Stage result{.from = MIN_TIME,
                 .until = MAX_TIME,
                 .isEmpty = true,
                 .moves = false,
                 .groupStart = MIN_TIME,
                 .groupBegin = 0,
                 .groupEnd = 0};
    int64 end = MIN_TIME;
    std::size_t i = 0;
    for (; i < spans.size() && spans[i].start <= now; ++i) {
        Span const& span = spans[i];
        if (span.start >= end) {
            result.groupStart = span.start;
            result.groupBegin = i;
        }
        end = std::max(end, span.end);
        bool const isSeen = span.end > now;
        result.from = std::max(result.from, isSeen ? span.start : span.end);
        if (!isSeen) continue;
        result.until = std::min(result.until, span.end);
        result.isEmpty = false;
        result.moves = result.moves || span.moves;
    }
    result.groupEnd = i;
    if (i < spans.size()) result.until = std::min(result.until, spans[i].start);
    return result;
}

/// The library keeps lines where they stand while others come and go, so that it must see them come in their order.
bool AssEngine::Rehearse(Stage const& at, int64 now) {
    bool const isAlone = at.groupEnd - at.groupBegin < 2;
    if (!isAlone && isOutOfOrder) {
        // Each forgets where lines stand.
        ass_set_font_scale(renderer.get(), 2);
        ass_set_font_scale(renderer.get(), 1);
        rehearsed = NO_VALUE;
        isOutOfOrder = false;
    }
    std::vector<int64> starts;
    bool const goesOn = HasValue(rehearsed) && rehearsed <= now;
    for (std::size_t i = at.groupEnd; !isAlone && i-- > at.groupBegin && starts.size() < MAX_REHEARSALS;) {
        int64 const start = spans[i].start;
        if (goesOn && start <= rehearsed) break;
        if (spans[i].isPlaced) continue;
        if (start < now && (starts.empty() || starts.back() != start)) starts.push_back(start);
    }
    for (auto start = starts.rbegin(); start != starts.rend(); ++start)
        ass_render_frame(renderer.get(), &script.GetTrack(), *start, nullptr);
    renderings += static_cast<unsigned>(starts.size());
    rehearsed = now;
    return !starts.empty();
}

void AssEngine::Render(Stage const& at, int64 now) {
    bool const isRehearsed = Rehearse(at, now);
    int change = 0;
    ASS_Image const* const images = ass_render_frame(renderer.get(), &script.GetTrack(), now, &change);
    ++renderings;
    if (hasDrawn && !isRehearsed && change == 0) return;
    drawn.picture = JoinAssImages(images, drawn.crop);
    hasDrawn = true;
}

iptr<IDataVideo> AssEngine::RenderImage(int64 time, Conf::FrameInfo const& info, CropInfo& crop) {
    if (!HasValue(time) || !IsDrawable(info) || spans.empty()) return nullptr;
    FitTo(info);
    int64 const now = MillisecondsOf(time);
    bool const stands = now >= stage.from && now < stage.until;
    if (!stands) stage = StageAt(now);
    if (stage.isEmpty) return nullptr;
    if (!stands || stage.moves) Render(stage, now);
    crop = drawn.crop;
    return drawn.picture;
}

Core::Property AssEngine::GetStatistic() {
    Core::Property node = Core::MakeStatistics("Tarsel::Host::AssEngine::GetStatistic", 0, renderings);
    node.SetChild("Lines", static_cast<int64>(spans.size())).SetChild("Malformed", static_cast<int64>(malformed));
    return node;
}

}  // namespace Tarsel::Host
