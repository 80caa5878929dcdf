#pragma once

#include <vector>

#include "contracts/Core/IBlob.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::TestSupport {

/// A video packet with the payload; times in microseconds.
iptr<Proc::IDataPacket> MakePacket(std::vector<u8> const& payload, bool key, int64 time = 0, int64 decodingTime = 0,
                                   int64 duration = 40000);
/// A blob with a copy of the bytes.
iptr<IBlob> MakeBlob(std::vector<u8> const& bytes);

std::vector<u8> GetBytes(iptr<IBlob> const& blob);
std::vector<u8> GetBytes(iptr<Proc::IDataPacket> const& packet);

}  // namespace Tarsel::TestSupport
