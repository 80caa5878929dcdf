#include "host/titles/SubtitleForm.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterSubtitleDrawer.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/ChangedFile.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphSources.h"
#include "host/media/NativeParameters.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

bool AreOneFile(std::string const& first, std::string const& second) {
    std::error_code failure;
    return first == second || std::filesystem::equivalent(first, second, failure);
}

[[noreturn]] void FailWithoutStream(MediaFile const& file, StreamSelector const& selector) {
    std::string list;
    for (StreamInfo const& info : file.GetStreams())
        if (!info.derived) list += (list.empty() ? "" : ", ") + StreamName(info);
    FailAtPlace("", file.GetPath() + ": there is no " + WantedStream(selector) + " in it, only " +
                        (list.empty() ? "nothing that is known" : list));
}

/// Puts the drawer over the pictures of a file.
class DrawerMaker {
  public:
    DrawerMaker(std::string const& input, SubtitleFormRequest const& request)
        : request(request),
          isOwn(request.file.empty() || AreOneFile(input, request.file)),
          path(isOwn ? input : request.file),
          selector{StreamKind::Subtitle, request.stream.value_or(0)} {}

    /// The stream of the pictures' own file that is drawn, if it is one of them.
    std::optional<int> FindOwn(MediaFile const& input) const {
        if (!isOwn) return {};
        StreamInfo const* const info = SelectStream(input, selector);
        if (!info) FailWithoutStream(input, selector);
        return info->index;
    }

    NodeId Put(FormMaker& maker, StreamInfo const& info, NodeId source) const {
        iptr<MediaFile> const file = maker.OpenSubtitles(path, request.charset);
        if (!SelectStream(*file, selector)) FailWithoutStream(*file, selector);
        if (info.native && IsRotated(*info.native))
            maker.Warn(StreamName(info) + ": its file asks players to turn the picture: what is drawn turns with it");
        NodeId const titles = maker.AddSubtitleSource(path, selector, request.charset, request.delay);
        return maker.AddFilter(IFilterSubtitleDrawer::CLASS_ID, ImplNames::TARSEL, Settings2Property(request.settings),
                               {source, titles});
    }

  private:
    SubtitleFormRequest const& request;
    bool const isOwn;
    std::string const path;
    StreamSelector const selector;
};

}  // namespace

ShortFormGraph MakeSubtitleGraph(std::string const& input, SubtitleFormRequest const& request,
                                 ShortFormOptions const& options) {
    if (request.delay < -MAX_DURATION || request.delay > MAX_DURATION)
        FailAtPlace("", "the delay must be from " + std::to_string(-MAX_DURATION) + " to " +
                            std::to_string(MAX_DURATION) + " microseconds, not " + std::to_string(request.delay));
    std::string const& fonts = request.settings.GetFontsDir();
    std::error_code ignored;
    if (!fonts.empty() && !std::filesystem::is_directory(fonts, ignored))
        FailAtPlace("", fonts + ": there is no such folder of fonts");
    DrawerMaker const drawer(input, request);
    StreamChanges changes;
    changes.replaced = [&](MediaFile const& file) { return drawer.FindOwn(file); };
    changes.video = [&](FormMaker& maker, StreamInfo const& info, NodeId source) {
        return drawer.Put(maker, info, source);
    };
    return MakeChangedGraph(input, changes, options);
}

}  // namespace Tarsel::Host
