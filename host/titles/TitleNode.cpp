#include "host/titles/TitleNode.h"

#include <string_view>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterSubtitleDrawer.h"
#include "host/media/NativeParameters.h"
#include "host/media/PacketScan.h"
#include "host/titles/RetimedTitles.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

constexpr char COUNT[] = "Count";
constexpr char SUBTITLES[] = "Subtitles";
constexpr std::string_view PROVIDER = "Tarsel::Proc::TitleProvider";

constexpr std::string_view ALPHA = "Alpha";

std::string SizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

/// The keys of settings that only letters have and that aren't left as they are, with commas.
std::string ListLooks(GraphFilter const& filter) {
    Core::Property const told = Settings2Property(Property2SettingsSubtitleDrawer(filter.settings));
    Core::Property const plain = Settings2Property(SettingsSubtitleDrawer());
    std::string list;
    for (Core::Property const& child : told.Children())
        if (child.Name() != ALPHA && child != plain[child.Name()]) list += (list.empty() ? "" : ", ") + child.Name();
    return list;
}

int64 CountIn(Core::Property const& node) {
    return node.ChildExists(COUNT) ? node[COUNT].GetInt64() : 0;
}

}  // namespace

iptr<IStreamVideo> MakeTitleDrawer(GraphFilter const& filter, IFilterFactory const& factory,
                                   iptr<IStreamVideo> const& pictures, iptr<IStreamSubtitle> const& titles,
                                   iptr<IOverlayFactory const> const& overlays) {
    iptr<IFilterSubtitleDrawer> const drawer =
        factory.CreateSubtitleDrawer<IFilterSubtitleDrawer>(pictures, overlays, filter.implName);
    auto* const settings = dynamic_cast<IStreamVideoEx*>(drawer.get());
    auto* const combiner = dynamic_cast<IStreamCombiner<IStreamSubtitle>*>(drawer.get());
    if (!settings || !combiner) TARSEL_THROW(FilterException, filter.classId + " takes no subtitles");
    settings->Initialize(IFilterSubtitleDrawer::MakeSettings(Property2SettingsSubtitleDrawer(filter.settings)));
    combiner->CombineStream(RetimedTitles::Create(titles));
    return drawer;
}

std::vector<std::string> FindTitleDoubts(GraphFilter const& filter, IStreamVideo const& pictures,
                                         IStreamSubtitle const& titles) {
    auto const kind = titles.GetFormatCodec();
    auto const frames = pictures.GetFormatCodec();
    iptr<NativeParameters const> const native(
        dynamic_cast<NativeParameters const*>(kind ? kind->GetNativeParameters().get() : nullptr));
    if (!native || !frames || !IsPicturedSubtitle(native->parameters->codec_id)) return {};
    std::vector<std::string> doubts;
    AVCodecParameters const& stage = *native->parameters;
    Conf::FrameInfo const& info = frames->GetFrameInfo();
    if (stage.width > 0 && stage.height > 0 && (stage.width != info.width || stage.height != info.height))
        doubts.push_back("the bitmaps of the subtitles are made for pictures of " +
                         SizeText(stage.width, stage.height) + " and are drawn in their places and sizes on those of " +
                         SizeText(info.width, info.height) + ": what lies outside isn't seen");
    if (std::string const looks = ListLooks(filter); !looks.empty())
        doubts.push_back("the subtitles are bitmaps, to which these settings mean nothing: " + looks);
    return doubts;
}

TitleCounts CountTitles(Core::Property const& statistics) {
    TitleCounts counts;
    for (Core::Property const& child : statistics.Children()) {
        if (child.Name() == SUBTITLES) counts.subtitlesRead += CountIn(child);
        if (std::string_view(child.Name()).starts_with(PROVIDER)) counts.imagesMade += CountIn(child);
    }
    return counts;
}

}  // namespace Tarsel::Host
