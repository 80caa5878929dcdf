#pragma once

#include <string>

#include "host/cut/CutRequest.h"

namespace Tarsel::Host {

/// What a person asks of a change of container.
struct RemuxRequest {
    std::string input;
    std::string output;
    /// Read the result back before it is put in place.
    bool verify = false;
    /// Replace a file that stands at the output's place.
    bool force = false;
};

}  // namespace Tarsel::Host
