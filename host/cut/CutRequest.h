#pragma once

#include <functional>
#include <string>
#include <vector>

#include "contracts/Core/Types.h"
#include "host/cut/RangeText.h"

namespace Tarsel::Host {

/// What a person asks of a cut.
struct CutRequest {
    /// Where the ends of a range go in a file whose pictures can only be cut at random access points.
    enum class Snap {
        Less,  // inward: nothing outside the ranges is lost
        More,  // outward: nothing inside the ranges is left
    };

    std::string input;
    std::string output;
    /// Whether `ranges` are the ones that stay, not the ones that go.
    bool keep = false;
    std::vector<TimeRange> ranges;
    Snap snap = Snap::Less;
    /// Decode and encode everything: exact to the picture and to the sample.
    bool reencode = false;
    /// Read the result back before it is put in place.
    bool verify = false;
    /// Replace a file that stands at the output's place.
    bool force = false;
};

/// How far long work has come, in microseconds of media: done, total.
using ProgressCallback = std::function<void(int64, int64)>;

}  // namespace Tarsel::Host
