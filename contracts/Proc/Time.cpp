#include "contracts/Proc/Time.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <limits>

namespace Tarsel::Proc {

std::string T2S(int64 time) {
    if (!HasValue(time)) return "N/A";
    int64 const size = time < 0 ? -time : time;
    int64 const seconds = size / SECOND;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%s%" PRId64 ":%02" PRId64 ":%02" PRId64 ".%06" PRId64, time < 0 ? "-" : "",
                  seconds / 3600, seconds / 60 % 60, seconds % 60, size % SECOND);
    return text.data();
}

int64 Duration2SampleCount(int64 duration, int sampleRate) {
    int64 const count = AvRescale(duration, sampleRate, SECOND);
    return HasValue(count) ? count : 0;
}

int64 SampleCount2Duration(int64 count, int sampleRate) {
    return AvRescale(count, SECOND, sampleRate);
}

void AudioTime::Reset(int64 time) {
    base = time;
    samples = 0;
}

void AudioTime::AddSamples(int sampleRate, uint64 count) {
    if (sampleRate != rate) {
        base = GetTime();
        samples = 0;
        rate = sampleRate;
    }
    constexpr auto LIMIT = static_cast<uint64>(std::numeric_limits<int64>::max());
    samples = AddTime(samples, static_cast<int64>(count < LIMIT ? count : LIMIT));
}

int64 AudioTime::GetTime() const {
    if (samples == 0) return base;
    return AddTime(base, SampleCount2Duration(samples, rate));
}

}  // namespace Tarsel::Proc
