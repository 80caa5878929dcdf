// A script of calls to the restorer of H.264 times. The first byte chooses the framing; then each byte is a call, and
// the bytes behind it are what it needs.

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <vector>

#include "Proc/CodecParsers/H264PTSRestorer.h"
#include "contracts/Core/Time.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/H264Builder.h"
#include "tests/support/Packets.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

namespace {

class Script {
  public:
    Script(u8 const* data, std::size_t size) : data(data), size(size) {}
    bool IsAtEnd() const { return size == 0; }
    u8 Next() {
        if (size == 0) return 0;
        --size;
        return *data++;
    }
    std::vector<u8> NextBytes() {
        std::size_t const count = std::min<std::size_t>(Next(), size);
        std::vector<u8> bytes(data, data + count);
        data += count;
        size -= count;
        return bytes;
    }
    int64 NextTime() {
        u8 const kind = Next();
        switch (kind % 8) {
            case 0:
                return NO_VALUE;
            case 1:
                return NO_VALUE + 1;
            case 2:
                return std::numeric_limits<int64>::max();
            case 3:
                return -40000 * int64(kind);
            default:
                return 40000 * int64(kind);
        }
    }

  private:
    u8 const* data;
    std::size_t size;
};

iptr<Proc::IDataPacket> NextPacket(Script& script, u8 call, int lengthSize) {
    std::vector<u8> payload;
    if (call % 4 == 3) {
        payload = script.NextBytes();
    } else {
        auto const slice = TestSupport::BuildSlice(1, call % 4);
        payload = lengthSize != 0 ? TestSupport::JoinMP4({slice}, lengthSize) : TestSupport::JoinAnnexB({slice});
    }
    int64 const dts = script.NextTime();
    int64 const duration = script.NextTime();
    return TestSupport::MakePacket(payload, false, 0, dts, duration);
}

// Takes one packet; false when none is ready.
bool Take(IPTSRestorer& restorer) {
    RestoredPacket const entry = restorer.GetPacket();
    if (entry.packet && entry.pts != SubTime(entry.dts, entry.packet->GetDuration())) std::abort();
    return entry.packet != nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    Script script(input, std::min(inputSize, Fuzz::INPUT_LIMIT));
    int const lengthSize = script.Next() % 5;
    auto const restorer = CreateH264PTSRestorer(lengthSize != 0, static_cast<u32>(lengthSize));
    std::size_t held = 0;
    while (!script.IsAtEnd()) {
        u8 const call = script.Next();
        if (call < 0xC0) {
            auto const packet = NextPacket(script, call, lengthSize);
            Fuzz::AllowFailures([&] {
                restorer->AddPacket(packet);
                ++held;
            });
        } else if (call < 0xF0) {
            if (Take(*restorer)) --held;
        } else if (call < 0xF8) {
            restorer->AddPacket(nullptr);
        } else {
            restorer->Clear();
            held = 0;
        }
    }
    // A failed call has changed nothing, so each packet that was taken comes out.
    restorer->AddPacket(nullptr);
    while (Take(*restorer)) --held;
    if (held != 0) std::abort();
    return 0;
}
