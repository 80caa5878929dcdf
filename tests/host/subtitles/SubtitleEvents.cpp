#include "tests/host/subtitles/SubtitleEvents.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <random>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace Tarsel::Test {

namespace {

std::string Seconds(int64 time) {
    std::string text = std::to_string(time / SECOND);
    if (time < 0 && time > -SECOND) text = "-" + text;
    int64 const rest = std::abs(time % SECOND);
    if (rest == 0) return text + "s";
    std::array<char, 16> digits{};
    std::snprintf(digits.data(), digits.size(), ".%06d", static_cast<int>(rest));
    text += digits.data();
    while (text.back() == '0') text.pop_back();
    return text + "s";
}

std::string PixelOf(AVSubtitleRect const& rectangle, int x, int y) {
    u8 const* const color = rectangle.data[1] + 4 * rectangle.data[0][y * rectangle.linesize[0] + x];
    if (color[3] == 0) return "-";
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%02X%02X%02X%02X", color[0], color[1], color[2], color[3]);
    return text.data();
}

std::string PictureOf(AVSubtitleRect const& rectangle) {
    std::string result = std::to_string(rectangle.x) + "," + std::to_string(rectangle.y) + " " +
                         std::to_string(rectangle.w) + "x" + std::to_string(rectangle.h);
    std::string last;
    int count = 0;
    auto const flush = [&] {
        if (count > 0) result += " " + last + (count > 1 ? "*" + std::to_string(count) : "");
        count = 0;
    };
    for (int y = 0; y < rectangle.h; ++y) {
        for (int x = 0; x < rectangle.w; ++x) {
            std::string const pixel = PixelOf(rectangle, x, y);
            if (pixel != last) flush();
            last = pixel;
            ++count;
        }
    }
    flush();
    return result;
}

}  // namespace

std::string TimesOf(Proc::IDataSubtitle& event) {
    AVSubtitle const& subtitle = *event.GetAVSubtitle();
    std::string text = Seconds(event.GetTime()) + "+" + Seconds(event.GetDuration());
    int64 const begin = subtitle.pts + int64{subtitle.start_display_time} * 1000;
    int64 const length = int64{subtitle.end_display_time} - subtitle.start_display_time;
    if (begin != event.GetTime()) text += " (begins at " + Seconds(begin) + ")";
    if (length != (event.GetDuration() + 500) / 1000) text += " (lasts " + std::to_string(length) + " ms)";
    return text;
}

std::string ContentsOf(Proc::IDataSubtitle& event) {
    AVSubtitle const& subtitle = *event.GetAVSubtitle();
    std::string text;
    for (unsigned i = 0; i < subtitle.num_rects; ++i) {
        AVSubtitleRect const& rectangle = *subtitle.rects[i];
        if (i != 0) text += " | ";
        if (rectangle.type == SUBTITLE_BITMAP) text += PictureOf(rectangle);
        if (rectangle.type == SUBTITLE_ASS) text += rectangle.ass ? rectangle.ass : "(null)";
        if (rectangle.text) text += std::string(" text: ") + rectangle.text;
    }
    return text;
}

Lines ReadEvents(iptr<Proc::IStreamSubtitle> const& stream) {
    Lines result;
    while (iptr<Proc::IDataSubtitle> const event = stream->Read())
        result.push_back(TimesOf(*event) + " " + ContentsOf(*event));
    return result;
}

Lines ReadEvents(Host::SubtitleRequest const& request) {
    return ReadEvents(Host::OpenSubtitles(request));
}

Lines ReadEventsAt(iptr<Proc::IStreamSubtitle> const& stream, int64 position) {
    stream->RequestSeek(position, nullptr);
    stream->DoSeek();
    EXPECT_TRUE(stream->FinishSeek());
    return ReadEvents(stream);
}

void ExpectSeeksLikeStraightReading(Host::SubtitleRequest const& request, int64 length, unsigned seed) {
    struct Event {
        int64 end;
        std::string text;
    };
    std::vector<Event> events;
    iptr<Proc::IStreamSubtitle> const straight = Host::OpenSubtitles(request);
    while (iptr<Proc::IDataSubtitle> const event = straight->Read())
        events.push_back({event->GetTime() + event->GetDuration(), TimesOf(*event) + " " + ContentsOf(*event)});
    ASSERT_FALSE(events.empty());
    iptr<Proc::IStreamSubtitle> const stream = Host::OpenSubtitles(request);
    std::mt19937_64 random(seed);
    for (int i = 0; i < 40; ++i) {
        int64 const position = static_cast<int64>(random() % static_cast<uint64>(length));
        Lines expected;
        for (Event const& event : events)
            if (event.end > position) expected.push_back(event.text);
        ASSERT_EQ(ReadEventsAt(stream, position), expected) << "seed " << seed << ", at " << position;
    }
}

}  // namespace Tarsel::Test
