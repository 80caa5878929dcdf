// The lossless detection over a whole stream.

#include "Proc/Filters/Filters/FilterLosslessDetect.h"
#include "fuzz/PacketScript.h"

using namespace Tarsel;
using namespace Tarsel::Proc;

static bool const silent = Fuzz::SilenceLog();

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t size) {
    Fuzz::InputReader in(input, size);
    Fuzz::PacketScript const script = Fuzz::ReadScript(in, true);
    auto const source = script.MakeSource();
    auto const filter = FilterLosslessDetect::Create(source, SettingsLosslessDetect(u32(script.needed)));
    bool possible = true;
    bool cra = false;
    for (auto const& step : script.packets) {
        auto const packet = filter->Read();
        Fuzz::Require(packet && packet.get() == source->delivered.back());
        Fuzz::Require(packet->GetSize() == step.item->GetSize() && packet->GetTime() == step.item->GetTime());
        // What was found stays found.
        Fuzz::Require(possible || !filter->IsLosslessPossible());
        Fuzz::Require(!cra || filter->HasCraPackets());
        possible = filter->IsLosslessPossible();
        cra = filter->HasCraPackets();
    }
    Fuzz::Require(filter->Read() == nullptr);
    Fuzz::Require(!cra || script.codecId == "hevc");
    std::size_t const expected = filter->GetFindings().size();
    Fuzz::Require(expected <= 4 && (expected != 0) == (!possible || cra));
    return 0;
}
