#include "host/media/DecoderErrors.h"

#include <algorithm>

namespace Tarsel::Host {

namespace {

int64 CountDecoderErrors(Core::Property const& statistics) {
    auto const count = [&](char const* name) {
        return statistics.ChildExists(name) ? statistics[name].GetInt64() : int64{0};
    };
    // Some decoders refuse a packet without a word, others take it with several.
    int64 errors = std::max(count("Decoder errors"), count("Damaged packets"));
    for (Core::Property const& child : statistics.Children()) errors += CountDecoderErrors(child);
    return errors;
}

}  // namespace

std::string DescribeDecoderErrors(Core::Property const& statistics) {
    int64 const errors = CountDecoderErrors(statistics);
    if (errors == 0) return {};
    return "decoders told of " + std::to_string(errors) + (errors == 1 ? " error" : " errors");
}

}  // namespace Tarsel::Host
