// The text of a scrub script. What is read must come back from its own writing as the same script; everything else must
// be refused with a message of bounded length.

#include "host/scrub/ScrubScript.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "contracts/Core/Exception.h"
#include "fuzz/FuzzInput.h"

using namespace Tarsel;

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    constexpr std::size_t LONGEST_MESSAGE = 512;
    std::string const text(reinterpret_cast<char const*>(input), std::min(inputSize, Fuzz::INPUT_LIMIT));
    Host::ScrubScript script;
    try {
        script = Host::ParseScrubScript(text, "script");
    } catch (Core::IOException const& refusal) {
        if (std::string(refusal.what()).size() > LONGEST_MESSAGE) std::abort();
        return 0;
    }
    if (Host::ParseScrubScript(Host::WriteScrubScript(script), "script") != script) std::abort();
    return 0;
}
