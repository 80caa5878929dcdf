//   tarsel-bench-effects [--json] [maps] [blur] [gpu]    all parts unless some are named
//   tarsel-bench-effects run WHAT COUNT STAMP            reads pictures through effects, and tells nothing

#include <algorithm>
#include <boost/exception/diagnostic_information.hpp>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "benchmarks/effects/Parts.h"

namespace {

using namespace Tarsel::Bench;

int Refuse() {
    std::fputs(
        "usage: tarsel-bench-effects [--json] [maps] [blur] [gpu]\n"
        "       tarsel-bench-effects run none|none-large|resize|color|fade|stamp|convert|chain COUNT STAMP\n",
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
    if (count == 5 && std::string(arguments[1]) == "run")
        return RunPictures(arguments[2], std::atoll(arguments[3]), arguments[4]) ? 0 : Refuse();
    Part parts[] = {{"maps", MeasureSmartMaps}, {"blur", MeasureBorderBlur}, {"gpu", MeasureGpuFrames}};
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
