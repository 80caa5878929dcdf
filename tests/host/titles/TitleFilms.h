// A film, titles of each kind that lie on it, and graphs that draw them.
#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "contracts/Core/Time.h"
#include "host/graph/GraphBuilder.h"
#include "host/media/SeekTogether.h"
#include "tests/host/subtitles/PictureMedia.h"
#include "tests/support/GraphClips.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {

inline constexpr char DRAWER[] = "FilterSubtitleDrawer";
inline constexpr char TRIMMER[] = "SettingsFilterDurationTrimmer";
inline constexpr int64 PICTURE = 40000;

/// Ten seconds of moving pictures, 25 a second, without loss.
inline std::string Film() {
    return MakeClip("titles-film.mkv",
                    {"-f", "lavfi", "-i", "testsrc2=s=320x180:r=25:d=10,format=yuv420p", "-c:v", "ffv1"});
}

/// When the titles below are seen, in milliseconds; the first two overlap.
inline std::vector<std::pair<int64, int64>> const& TitleTimes() {
    static std::vector<std::pair<int64, int64>> const times{
        {500, 2000}, {1600, 3800}, {5000, 6200}, {7000, 7400}, {8000, 9900}};
    return times;
}

inline bool IsTitleTime(int64 time) {
    for (auto const& [begin, end] : TitleTimes())
        if (time >= begin * 1000 && time < end * 1000) return true;
    return false;
}

inline std::string SrtTime(int64 milliseconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d,%03d", int(milliseconds / 3600000), int(milliseconds / 60000 % 60),
                  int(milliseconds / 1000 % 60), int(milliseconds % 1000));
    return text;
}

inline std::string SrtOf(std::vector<std::pair<int64, int64>> const& times, std::string const& text) {
    std::string srt;
    for (std::size_t i = 0; i < times.size(); ++i)
        srt += std::to_string(i + 1) + "\n" + SrtTime(times[i].first) + " --> " + SrtTime(times[i].second) + "\n" +
               text + " " + std::to_string(i + 1) + "\n\n";
    return srt;
}

inline std::string TextTitles() {
    return MakeTextFile("titles-texts.srt", SrtOf(TitleTimes(), "Title number"));
}

/// White squares, of which only one is seen at a time: a display set replaces the one before.
inline std::string BitmapTitles() {
    static ScratchFolder const folder;
    static std::string const path = [] {
        constexpr int64 TICKS = 90;
        PgsBuilder pgs(320, 180);
        std::vector<PgsColor> const colors{{1, 235, 128, 128, 255}, {2, 81, 240, 90, 255}};
        u16 id = 0;
        for (auto const& [begin, end] : TitleTimes()) {
            u8 const color = id % 2 == 0 ? 1 : 2;
            pgs.Show(begin * TICKS, {{id, 100 + 10 * id, 120, 80, 30, std::vector<u8>(80 * 30, color)}}, colors);
            if (id != 0) pgs.Clear(end * TICKS);
            ++id;
        }
        WriteBytes(folder / "titles.sup", pgs.GetFile());
        return folder / "titles.sup";
    }();
    return path;
}

struct Shown {
    int64 time = NO_VALUE;
    std::string pixels;

    bool operator==(Shown const&) const = default;
};

inline std::string PixelsOf(Proc::IDataVideo const& picture) {
    std::string pixels;
    for (int i = 0; i < Proc::GetPlanesCount(picture); ++i) {
        auto const plane = picture.GetPlaneConst(static_cast<unsigned>(i));
        for (int row = 0; row < plane.GetRows(); ++row)
            pixels.append(reinterpret_cast<char const*>(plane.GetData() + row * plane.GetStride()),
                          static_cast<std::size_t>(plane.GetRowBytes()));
    }
    return pixels;
}

/// Short, where whole pictures would be printed.
inline void PrintTo(Shown const& shown, std::ostream* out) {
    *out << "a picture at " << shown.time << ", checksum " << std::hash<std::string>()(shown.pixels);
}

/// How two pictures differ, for messages.
inline std::string Difference(Shown const& one, Shown const& other) {
    if (one.pixels.size() != other.pixels.size()) return "other sizes";
    std::size_t count = 0, first = 0, last = 0;
    for (std::size_t i = 0; i < one.pixels.size(); ++i) {
        if (one.pixels[i] == other.pixels[i]) continue;
        if (count++ == 0) first = i;
        last = i;
    }
    return std::to_string(count) + " bytes differ, from " + std::to_string(first) + " to " + std::to_string(last);
}

/// Plays the last filter of a graph.
class Player {
  public:
    explicit Player(GraphMaker const& maker)
        : graph(Host::BuildGraph(maker.document)),
          stream(std::get<iptr<Proc::IStreamVideo>>(graph->GetNode(maker.document.filters.back().id).stream)) {}

    void Seek(int64 time) { Host::SeekTogether({{stream.get(), time}}, graph->GetCacheControllers(), time); }
    iptr<Proc::IDataVideo> ReadPicture() { return stream->Read(); }
    /// Without a time at the end.
    Shown Read() {
        iptr<Proc::IDataVideo> const picture = ReadPicture();
        return picture ? Shown{picture->GetTime(), PixelsOf(*picture)} : Shown{};
    }
    /// From the start to the end.
    std::vector<Shown> ReadAll() {
        std::vector<Shown> all;
        Seek(0);
        for (Shown next = Read(); HasValue(next.time); next = Read()) all.push_back(std::move(next));
        return all;
    }
    std::vector<std::string> GetWarnings() const { return graph->GetWarnings(); }

  private:
    std::unique_ptr<Host::BuiltGraph> const graph;
    iptr<Proc::IStreamVideo> const stream;
};

/// The film as node 1, the titles as node 2, both drawn as node 9.
inline GraphMaker Titled(std::string const& titles, std::vector<std::pair<std::string, std::string>> const& look = {},
                         std::string const& film = Film()) {
    GraphMaker graph;
    graph.Source(1, film, Host::StreamKind::Video).Source(2, titles, Host::StreamKind::Subtitle);
    graph.Filter(9, DRAWER, {1, 2}, look);
    return graph;
}

}  // namespace Tarsel::Test
