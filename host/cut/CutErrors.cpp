#include "host/cut/CutErrors.h"

namespace Tarsel::Host {

VerificationMismatch::~VerificationMismatch() noexcept = default;

}  // namespace Tarsel::Host
