//   tarsel-bench-digest [--json] FOLDER ITEMS              records of so many items, as files of the folder
//   tarsel-bench-digest run WHAT FOLDER ITEMS              one step of a record, and tells nothing

#include <boost/exception/diagnostic_information.hpp>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "benchmarks/digest/Parts.h"

namespace {

int Refuse() {
    std::fputs(
        "usage: tarsel-bench-digest [--json] FOLDER ITEMS\n"
        "       tarsel-bench-digest run make|save|load|equal|dropped|different FOLDER ITEMS\n",
        stderr);
    return 2;
}

}  // namespace

int main(int count, char** arguments) try {
    using namespace Tarsel::Bench;
    std::vector<std::string> words(arguments + 1, arguments + count);
    bool const json = !words.empty() && words.front() == "--json";
    if (json) words.erase(words.begin());
    Tarsel::int64 const items = words.empty() ? 0 : std::atoll(words.back().c_str());
    if (items < 10) return Refuse();
    if (!json && words.size() == 4 && words[0] == "run") return RunRecords(words[1], words[2], items) ? 0 : Refuse();
    if (words.size() != 2) return Refuse();
    Rows rows;
    MeasureHashing(rows);
    MeasureRecords(rows, words[0], items);
    json ? PrintJson(rows) : PrintTable(rows);
    return 0;
} catch (std::exception const& failure) {
    std::fprintf(stderr, "%s\n", boost::diagnostic_information(failure).c_str());
    return 1;
}
