#pragma once

#include <gmock/gmock.h>

#include <exception>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Test {

namespace Details {

/// A time for a failure's text.
inline std::string Text(int64 time) {
    return HasValue(time) ? std::to_string(time) : std::string("no value");
}

/// Says which field differs and how.
template <class Listener, class A, class B>
bool Same(Listener* listener, char const* field, A const& actual, B const& expected) {
    if (actual == expected) return true;
    if constexpr (std::is_same_v<A, int64>)
        *listener << "its " << field << " is " << Text(actual) << ", not " << Text(expected) << "; ";
    else
        *listener << "its " << field << " is " << actual << ", not " << expected << "; ";
    return false;
}

}  // namespace Details

MATCHER_P2(IsVideo, time, duration, "is a picture at " + Details::Text(time) + " for " + Details::Text(duration)) {
    if (!arg) {
        *result_listener << "it is null";
        return false;
    }
    bool const sameTime = Details::Same(result_listener, "time", arg->GetTime(), int64(time));
    return Details::Same(result_listener, "duration", arg->GetDuration(), int64(duration)) && sameTime;
}

MATCHER_P2(IsAudio, time, samples, "is a block at " + Details::Text(time) + " of " + std::to_string(samples)) {
    if (!arg) {
        *result_listener << "it is null";
        return false;
    }
    bool const sameTime = Details::Same(result_listener, "time", arg->GetTime(), int64(time));
    return Details::Same(result_listener, "sample count", arg->GetSampleCount(), int(samples)) && sameTime;
}

MATCHER_P4(IsPacket, time, decodingTime, duration, key,
           "is a packet at " + Details::Text(time) + ", decoded at " + Details::Text(decodingTime) + ", for " +
               Details::Text(duration) + (key ? ", key" : ", no key")) {
    if (!arg) {
        *result_listener << "it is null";
        return false;
    }
    bool const sameTime = Details::Same(result_listener, "time", arg->GetTime(), int64(time));
    bool const sameDts = Details::Same(result_listener, "decoding time", arg->GetDecodingTime(), int64(decodingTime));
    bool const sameDuration = Details::Same(result_listener, "duration", arg->GetDuration(), int64(duration));
    return Details::Same(result_listener, "key flag", arg->IsKeyFrame(), bool(key)) && sameTime && sameDts &&
           sameDuration;
}

MATCHER_P2(IsSubtitle, time, duration, "is an event at " + Details::Text(time) + " for " + Details::Text(duration)) {
    if (!arg) {
        *result_listener << "it is null";
        return false;
    }
    bool const sameTime = Details::Same(result_listener, "time", arg->GetTime(), int64(time));
    return Details::Same(result_listener, "duration", arg->GetDuration(), int64(duration)) && sameTime;
}

/// Runs `call` and gives the failure of class `E` that it raises, or reports what came instead. The text is the
/// description where there is one, else `what()`.
template <class E, class Call>
std::string MessageOf(Call&& call) {
    try {
        call();
    } catch (E const& failure) {
        std::string const* const text = boost::get_error_info<TagDescription>(failure);
        return text ? *text : std::string(failure.what());
    } catch (std::exception const& other) {
        return std::string("[another class: ") + typeid(other).name() + "] " + other.what();
    }
    return "[nothing was thrown]";
}

}  // namespace Tarsel::Test
