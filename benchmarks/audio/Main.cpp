//   tarsel-bench-audio [--json]

#include <boost/exception/diagnostic_information.hpp>
#include <cstdio>
#include <string>

#include "benchmarks/audio/Parts.h"

int main(int count, char** arguments) try {
    using namespace Tarsel::Bench;
    std::string const mode = count > 1 ? arguments[1] : "";
    if (!mode.empty() && mode != "--json") {
        std::fputs("usage: tarsel-bench-audio [--json]\n", stderr);
        return 2;
    }
    Rows rows;
    MeasureSampleLoops(rows);
    mode == "--json" ? PrintJson(rows) : PrintTable(rows);
    return 0;
} catch (std::exception const& failure) {
    std::fprintf(stderr, "%s\n", boost::diagnostic_information(failure).c_str());
    return 1;
}
