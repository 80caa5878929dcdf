#include "host/graph/ShortForms.h"

#include <stdexcept>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

ShortFormGraph MakeTrimGraph(std::string const&, int64, ShortFormOptions const&) {
    TARSEL_THROW(std::logic_error, "not built yet");
}

ShortFormGraph MakeJoinGraph(std::vector<std::string> const&, ShortFormOptions const&) {
    TARSEL_THROW(std::logic_error, "not built yet");
}

ShortFormGraph MakeReverseGraph(std::string const&, ShortFormOptions const&) {
    TARSEL_THROW(std::logic_error, "not built yet");
}

ShortFormGraph MakeSpeedGraph(std::string const&, double, ShortFormOptions const&) {
    TARSEL_THROW(std::logic_error, "not built yet");
}

ShortFormGraph MakeLoopGraph(std::string const&, int64, ShortFormOptions const&) {
    TARSEL_THROW(std::logic_error, "not built yet");
}

ShortFormGraph MakeFrameRateGraph(std::string const&, Ratio const&, bool, ShortFormOptions const&) {
    TARSEL_THROW(std::logic_error, "not built yet");
}

}  // namespace Tarsel::Host
