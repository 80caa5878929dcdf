//   tarsel-bench-pictures [--json] [crop] [titles]            both parts unless one is named
//   tarsel-bench-pictures run WHAT FILE COUNT                 reads pictures that are drawn on, and tells nothing
//   tarsel-bench-pictures check WHAT FILE NUMBER PEER         compares one of them with the peer's

#include <algorithm>
#include <boost/exception/diagnostic_information.hpp>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "benchmarks/pictures/Parts.h"

namespace {

using namespace Tarsel::Bench;

int Refuse() {
    std::fputs(
        "usage: tarsel-bench-pictures [--json] [crop] [titles]\n"
        "       tarsel-bench-pictures run none|none-large|overlay|subtitles FILE COUNT\n"
        "       tarsel-bench-pictures check none|none-large|overlay|subtitles FILE NUMBER PEER\n",
        stderr);
    return 2;
}

struct Part {
    char const* name;
    void (*measure)(Rows&);
    bool isWanted = false;
};

}  // namespace

int main(int count, char** arguments) try {
    std::string const first = count > 1 ? arguments[1] : "";
    if (count == 5 && first == "run")
        return RunDrawing({arguments[2], arguments[3]}, std::atoll(arguments[4])) ? 0 : Refuse();
    if (count == 6 && first == "check")
        return CheckDrawing({arguments[2], arguments[3]}, std::atoll(arguments[4]), arguments[5]) ? 0 : 1;
    Part parts[] = {{"crop", MeasureCropDetection}, {"titles", MeasureHeldTitles}};
    bool json = false;
    for (int i = 1; i < count; ++i) {
        std::string const word = arguments[i];
        auto* const part =
            std::find_if(std::begin(parts), std::end(parts), [&](Part const& p) { return p.name == word; });
        if (part != std::end(parts))
            part->isWanted = true;
        else if (word == "--json")
            json = true;
        else
            return Refuse();
    }
    bool const all = std::none_of(std::begin(parts), std::end(parts), [](Part const& part) { return part.isWanted; });
    Rows rows;
    for (Part const& part : parts)
        if (all || part.isWanted) part.measure(rows);
    json ? PrintJson(rows) : PrintTable(rows);
    return 0;
} catch (std::exception const& failure) {
    std::fprintf(stderr, "%s\n", boost::diagnostic_information(failure).c_str());
    return 1;
}
