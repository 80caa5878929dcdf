#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/graph/SettingsCatalog.h"
#include "host/graph/ShortForms.h"

struct AVOutputFormat;

namespace Tarsel::Host {

/// Puts the graph behind a short command together, from its sources up. Ids are given in the order of the calls.
class FormMaker {
  public:
    /// Throws what choosing a container throws. The options outlive the maker.
    explicit FormMaker(ShortFormOptions const& options);

    /// libavformat's writer of the target; null when nothing is written.
    AVOutputFormat const* GetContainer() const { return container; }
    /// A file that is named twice is opened once. Throws as `MediaFile::Open` does.
    iptr<MediaFile> Open(std::string const& path);
    /// The same for the sake of its subtitles, as graphs do for a source of that charset.
    iptr<MediaFile> OpenSubtitles(std::string const& path, std::string const& charset);
    NodeId AddSource(std::string const& path, StreamSelector const& selector, bool packets = false);
    /// A source of decoded subtitles.
    NodeId AddSubtitleSource(std::string const& path, StreamSelector const& selector, std::string const& charset,
                             int64 delay);
    NodeId AddFilter(char const* classId, char const* implName, Core::Property settings, std::vector<NodeId> inputs);
    void AddOutput(GraphOutput::Stream stream);
    /// Adds an output of sound, encoded as the options say.
    void AddSoundOutput(NodeId input);
    void Warn(std::string warning);
    /// Without a reason where `why` is empty.
    void WarnLeftOut(MediaFile const& file, StreamInfo const& info, std::string const& why);
    /// Checks the graph and hands it over; nothing can be added any more. Throws `GraphException`.
    ShortFormGraph Finish();

  private:
    ShortFormOptions const& options;
    AVOutputFormat const* const container;
    std::map<std::string, iptr<MediaFile>> files;
    ShortFormGraph result;
    NodeId nextId = 1;
};

/// A field of a class's settings: the short forms share its bounds with graph files. Both must be there.
SettingField const& FieldOf(char const* classId, char const* key);
/// The shortest text of a number.
std::string NumberText(double value);

}  // namespace Tarsel::Host
