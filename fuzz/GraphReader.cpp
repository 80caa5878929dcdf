// The text of a graph file. What is read must come back from its own writing as the same document; everything else must
// be refused with a message of bounded length.

#include "host/graph/GraphReader.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "fuzz/FuzzInput.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphWriter.h"

using namespace Tarsel;

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    constexpr std::size_t LONGEST_MESSAGE = 8192;
    std::string const text(reinterpret_cast<char const*>(input), std::min(inputSize, Fuzz::INPUT_LIMIT));
    Host::GraphVariables variables;
    for (char const* const name : {"IN", "IN2", "OUT"})
        if (text.find("${" + std::string(name) + "}") != std::string::npos) variables[name] = "a${b}.mkv";
    Host::GraphDocument document;
    try {
        document = Host::ParseGraph(text, variables);
    } catch (Host::GraphException const& refusal) {
        if (std::string(refusal.what()).size() > LONGEST_MESSAGE) std::abort();
        return 0;
    }
    if (Host::ParseGraph(Host::WriteGraph(document)) != document) std::abort();
    return 0;
}
