// Compare figures within one run only: what is set side by side is measured in turns, and the best of the rounds
// counts.
//
//   tarsel-bench-timeline [--json]         cost per item, joins of many clips, memory per filter
//   tarsel-bench-timeline fps FROM TO N    converts N tiny pictures and nothing else
//   tarsel-bench-timeline reverse FILE     decodes a file's video backwards and drops it

#include <malloc.h>

#include <algorithm>
#include <boost/exception/diagnostic_information.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/bitstream/BenchReport.h"
#include "benchmarks/timeline/BenchSource.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterFrameRate.h"
#include "contracts/Proc/IFilterSeekController.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterDurationTrimmer.h"
#include "contracts/Proc/SettingsFilterFrameRate.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "contracts/Proc/SettingsFilterSpeedUp.h"
#include "contracts/Proc/TIFilterJoin.h"
#include "contracts/Proc/TIFilterRepeat.h"
#include "host/graph/Factories.h"
#include "host/media/MediaFile.h"
#include "host/media/VideoDecoder.h"

namespace {

using namespace Tarsel;
using namespace Tarsel::Bench;
using namespace Tarsel::Proc;
using Rate = Tarsel::Ratio;
using Rows = std::vector<Row>;
using MakeStream = std::function<iptr<IStream>()>;

constexpr int ROUNDS = 7;
constexpr int64 ITEMS = 100000;
constexpr int64 DURATION = ITEMS * 10000;

iptr<Host::FilterFactory const> const& Factory() {
    static auto const factory = Host::MakeFilterFactory();
    return factory;
}

double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void SeekTo(IStream& stream, int64 position) {
    stream.RequestSeek(position, nullptr);
    stream.DoSeek();
    stream.FinishSeek();
}

/// Nanoseconds per item of reading a new stream to its end, to the limit, or for two seconds; seek included.
double TimeItems(MakeStream const& make) {
    auto const stream = make();
    double const start = Now();
    SeekTo(*stream, 0);
    int64 items = 0;
    while (items < ITEMS && stream->Read())
        if (++items % 256 == 0 && Now() - start > 2) break;
    return (Now() - start) * 1e9 / static_cast<double>(std::max<int64>(1, items));
}

/// "not registered" in place of a figure while a filter is missing.
bool IsThere(std::string const& name, std::function<void()> const& make) {
    try {
        make();
        return true;
    } catch (FilterException const& failure) {
        if (std::string(failure.what()).find("There is no any implementation for") != 0) throw;
        std::printf("%-44s not registered\n", name.c_str());
        return false;
    }
}

template <class S>
iptr<IStreamVideoEx> Video(iptr<IStreamVideo> const& source, S const& settings,
                           std::string const& implName = ImplNames::TARSEL) {
    return Factory()->CreateVideo(S::CLASS_ID, implName, source, settings);
}
template <class S>
iptr<IStreamAudioEx> Audio(iptr<IStreamAudio> const& source, S const& settings) {
    return Factory()->CreateAudio(S::CLASS_ID, ImplNames::TARSEL, source, settings);
}

VideoSource Pictures(int64 count = ITEMS) {
    return MakePictures(count, Rate(100, 1));
}

iptr<TIFilterJoin<IStreamVideo>> JoinPictures(int clips, int64 each) {
    auto join = Factory()->Dedicated(FilterSlots::JOIN_VIDEO, ImplNames::TARSEL)();
    for (int i = 0; i < clips; ++i) join->AddStream(Pictures(each), nullptr);
    return join;
}
iptr<TIFilterJoin<IStreamAudio>> JoinBlocks(int clips, int64 each) {
    auto join = Factory()->Dedicated(FilterSlots::JOIN_AUDIO, ImplNames::TARSEL)();
    for (int i = 0; i < clips; ++i) join->AddStream(MakeBlocks(each), nullptr);
    return join;
}

struct Named {
    std::string name;
    bool video;
    MakeStream make;
};

std::vector<Named> Filters() {
    auto const repeat = [](auto filter) {
        filter->SetRepeatCount(ITEMS);
        return filter;
    };
    SettingsFilterFrameRate const rate(Rate(100, 1));
    return {
        {"trimmer, video", true, [] { return Video(Pictures(), SettingsFilterDurationTrimmer(DURATION)); }},
        {"trimmer, audio", false, [] { return Audio(MakeBlocks(ITEMS), SettingsFilterDurationTrimmer(DURATION)); }},
        {"join of 10, video", true, [] { return JoinPictures(10, ITEMS / 10); }},
        {"join of 10, audio", false, [] { return JoinBlocks(10, ITEMS / 10); }},
        {"loop of 10, video", true, [] { return Video(Pictures(ITEMS / 10), SettingsFilterLoop(DURATION)); }},
        {"loop of 10, audio", false, [] { return Audio(MakeBlocks(ITEMS / 10), SettingsFilterLoop(DURATION)); }},
        {"repeat, video", true,
         [=] { return repeat(Factory()->Dedicated(FilterSlots::REPEAT_VIDEO, ImplNames::TARSEL)(Pictures())); }},
        {"speed 1.5, video", true, [] { return Video(Pictures(), SettingsFilterSpeedUp(1.5)); }},
        {"speed 1.5, audio, with the tempo effect", false,
         [] { return Audio(MakeBlocks(ITEMS), SettingsFilterSpeedUp(1.5)); }},
        {"frame rate 100 to 100", true, [=] { return Video(Pictures(), rate, SettingsFilterFrameRate::IMPL_DEFAULT); }},
        {"frame rate 30 to 25", true,
         [] {
             return Video(MakePictures(ITEMS, Rate(30, 1)), SettingsFilterFrameRate(Rate(25, 1)),
                          SettingsFilterFrameRate::IMPL_DEFAULT);
         }},
        {"frame rate 25 to 60", true,
         [] {
             return Video(MakePictures(ITEMS, Rate(25, 1)), SettingsFilterFrameRate(Rate(60, 1)),
                          SettingsFilterFrameRate::IMPL_DEFAULT);
         }},
        {"frame rate, adjusting", true, [=] { return Video(Pictures(), rate, SettingsFilterFrameRate::IMPL_ADJUST); }},
        {"reverse, video", true, [] { return Video(Pictures(), SettingsFilterReverse(true)); }},
        {"reverse, audio", false, [] { return Audio(MakeBlocks(ITEMS), SettingsFilterReverse(true)); }},
        {"reverse switched off, video", true, [] { return Video(Pictures(), SettingsFilterReverse(false)); }},
    };
}

void MeasureItems(Rows& rows) {
    std::map<bool, MakeStream> const bare{{true, [] { return Pictures(); }}, {false, [] { return MakeBlocks(ITEMS); }}};
    std::map<bool, double> first;
    for (Named const& filter : Filters()) {
        if (!IsThere(filter.name, [&] { filter.make(); })) continue;
        double best = 1e18;
        double source = 1e18;
        double const start = Now();
        for (int round = 0; round < ROUNDS && (round == 0 || Now() - start < 4); ++round) {
            best = std::min(best, TimeItems(filter.make));
            source = std::min(source, TimeItems(bare.at(filter.video)));
        }
        std::fprintf(stderr, "%s\n", filter.name.c_str());
        if (first.emplace(filter.video, source).second)
            rows.push_back({filter.video ? "bare read, video" : "bare read, audio", source, "ns", {}});
        rows.push_back({filter.name, best, "ns", {{"bare read", best / source, 0}}});
    }
}

void MeasureJoins(Rows& rows) {
    if (!IsThere("join of many clips", [] { JoinPictures(1, 1); })) return;
    double smallItem = 0;
    double smallSeek = 0;
    for (int const clips : {10, 100, 1000, 10000}) {
        constexpr int64 EACH = 10;
        auto const join = JoinPictures(clips, EACH);
        std::mt19937 random(1);
        double item = 1e18;
        double seek = 1e18;
        for (int round = 0; round < ROUNDS; ++round) {
            int64 items = 0;
            double start = Now();
            while (items < ITEMS) {
                SeekTo(*join, 0);
                while (join->Read()) ++items;
            }
            item = std::min(item, (Now() - start) * 1e9 / static_cast<double>(items));
            constexpr int SEEKS = 20000;
            start = Now();
            for (int i = 0; i < SEEKS; ++i) {
                SeekTo(*join, static_cast<int64>(random() % static_cast<unsigned>(clips * EACH)) * 10000);
                join->Read();
            }
            seek = std::min(seek, (Now() - start) * 1e9 / SEEKS);
        }
        if (clips == 10) {
            smallItem = item;
            smallSeek = seek;
        }
        std::string const name = "join of " + std::to_string(clips) + " clips of 10 items";
        rows.push_back({name + ", item", item, "ns", {{"10 clips", item / smallItem, 0}}});
        rows.push_back({name + ", seek and read", seek, "ns", {{"10 clips", seek / smallSeek, 0}}});
    }
}

/// Bytes that the allocator has handed out.
double AllocatedBytes() {
    auto const info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

void MeasureMemory(Rows& rows) {
    constexpr int CHAINS = 10000;
    auto const video = Pictures();
    auto const audio = MakeBlocks(ITEMS);
    std::vector<std::pair<std::string, MakeStream>> const chains{
        {"trimmer, video", [&] { return Video(video, SettingsFilterDurationTrimmer(SECOND)); }},
        {"loop, video", [&] { return Video(video, SettingsFilterLoop(SECOND)); }},
        {"speed, video", [&] { return Video(video, SettingsFilterSpeedUp(1.5)); }},
        {"frame rate, video",
         [&] { return Video(video, SettingsFilterFrameRate(Rate(25, 1)), SettingsFilterFrameRate::IMPL_DEFAULT); }},
        {"reverse, video", [&] { return Video(video, SettingsFilterReverse(true)); }},
        {"reverse, audio", [&] { return Audio(audio, SettingsFilterReverse(true)); }},
        {"chain of trimmer, speed, frame rate and loop",
         [&] {
             return Video(Video(Video(Video(video, SettingsFilterDurationTrimmer(SECOND)), SettingsFilterSpeedUp(1.5)),
                                SettingsFilterFrameRate(Rate(25, 1)), SettingsFilterFrameRate::IMPL_DEFAULT),
                          SettingsFilterLoop(SECOND));
         }},
    };
    for (auto const& [name, make] : chains) {
        if (!IsThere(name, [&make = make] { make(); })) continue;
        std::vector<iptr<IStream>> open;
        open.reserve(CHAINS);
        double const before = AllocatedBytes();
        for (int i = 0; i < CHAINS; ++i) open.push_back(make());
        rows.push_back({"memory: " + name, (AllocatedBytes() - before) / CHAINS, "bytes", {}});
    }
}

int ConvertRate(int64 from, int64 to, int64 count) {
    auto const filter = Video(MakePictures(count, Rate(from, 1)), SettingsFilterFrameRate(Rate(to, 1)),
                              SettingsFilterFrameRate::IMPL_DEFAULT);
    SeekTo(*filter, 0);
    int64 items = 0;
    double const start = Now();
    while (filter->Read()) ++items;
    std::printf("%lld pictures, %.3f us per picture of the source\n", static_cast<long long>(items),
                (Now() - start) * 1e6 / static_cast<double>(count));
    return 0;
}

int Reverse(std::string const& path) {
    auto const file = Host::MediaFile::Open(path);
    Host::DecoderOptions options;
    options.threading = Host::DecoderOptions::Threading::Frames;
    auto const decoder = Host::VideoDecoder::Create(file->OpenStream(0), "", options);
    auto const filter = Video(decoder, SettingsFilterReverse(true));
    SeekTo(*filter, 0);
    int64 items = 0;
    while (filter->Read()) ++items;
    std::printf("%lld pictures\n", static_cast<long long>(items));
    return 0;
}

}  // namespace

int main(int count, char** arguments) try {
    std::string const mode = count > 1 ? arguments[1] : "";
    if (mode == "fps" && count == 5)
        return ConvertRate(std::atoll(arguments[2]), std::atoll(arguments[3]), std::atoll(arguments[4]));
    if (mode == "reverse" && count == 3) return Reverse(arguments[2]);
    if (!mode.empty() && mode != "--json") {
        std::fputs("usage: tarsel-bench-timeline [--json] | fps FROM TO COUNT | reverse FILE\n", stderr);
        return 2;
    }
    Rows rows;
    MeasureItems(rows);
    MeasureJoins(rows);
    MeasureMemory(rows);
    mode == "--json" ? PrintJson(rows) : PrintTable(rows);
    return 0;
} catch (std::exception const& failure) {
    std::fprintf(stderr, "%s\n", boost::diagnostic_information(failure).c_str());
    return 1;
}
