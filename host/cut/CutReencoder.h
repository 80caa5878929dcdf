#pragma once

#include <vector>

#include "contracts/Proc/SettingsFilterCutController.h"
#include "host/cut/CutReport.h"
#include "host/cut/CutRequest.h"
#include "host/media/MediaFile.h"
#include "host/media/MediaWriter.h"

namespace Tarsel::Host {

/// The cut of decoded streams: exact to the picture and to the sample, everything encoded anew with what the target's container is
/// usually filled with. Subtitles stay packets. With a null writer everything is decoded and counted, and nothing encoded.
/// The writer, if any, is left closed and not committed.
CutReport ReencodeStreams(CutRequest const& request, MediaFile& file, MediaWriter* writer, std::vector<StreamInfo const*> const& streams,
                          ProgressCallback const& progress);

/// Chapters in the time of the result; those that are wholly removed are left out.
std::vector<Chapter> MapChapters(std::vector<Chapter> const& chapters, Proc::SettingsFilterCutController const& cuts);

}  // namespace Tarsel::Host
