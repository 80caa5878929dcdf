#include "contracts/Core/Time.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace Tarsel {

int64 AvRescale(int64 a, int64 b, int64 c) {
    if (!HasValue(a) || b < 0 || c <= 0) return NO_VALUE;
    return av_rescale(a, b, c);
}

}  // namespace Tarsel
