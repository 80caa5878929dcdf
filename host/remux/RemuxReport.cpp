#include "host/remux/RemuxReport.h"

#include <nlohmann/json.hpp>

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;

}  // namespace

std::string RemuxReport::ToJson() const {
    Json document;
    document["input"] = input;
    document["output"] = output;
    document["container"] = container;
    document["streams"] = Json::array();
    for (Stream const& stream : streams)
        document["streams"].push_back({{"index", stream.index},
                                       {"kind", stream.kind},
                                       {"codec", stream.codec},
                                       {"packets", stream.packets},
                                       {"dropped", stream.dropped},
                                       {"framing_in", stream.framingIn},
                                       {"framing_out", stream.framingOut}});
    document["warnings"] = warnings;
    document["verified"] = verified ? Json(*verified) : Json(nullptr);
    document["wall_seconds"] = wallSeconds;
    // Names of files may be in any encoding; a broken sequence is replaced, never a reason to fail.
    return document.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string RemuxReport::ToText() const {
    std::string text = output + ": " + container + (verified.value_or(false) ? ", verified" : "") + "\n";
    for (Stream const& stream : streams) {
        text += "#" + std::to_string(stream.index) + " " + stream.kind + " " + stream.codec + ": " +
                std::to_string(stream.packets) + " packets";
        if (stream.framingIn != stream.framingOut) text += ", framing " + stream.framingIn + " to " + stream.framingOut;
        if (stream.dropped != 0) text += ", " + std::to_string(stream.dropped) + " left out";
        text += "\n";
    }
    return text;
}

}  // namespace Tarsel::Host
