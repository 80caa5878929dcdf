#include "benchmarks/bitstream/BenchReport.h"

#include <cstdio>

namespace Tarsel::Bench {

void PrintTable(std::vector<Row> const& rows) {
    for (Row const& row : rows) {
        std::printf("%-44s %9.2f %-5s", row.name.c_str(), row.value, row.unit.c_str());
        for (Ratio const& ratio : row.ratios) {
            std::printf("  %.2f x %s", ratio.value, ratio.to.c_str());
            if (ratio.goal > 0)
                std::printf(" (goal %.1f: %s)", ratio.goal, ratio.value >= ratio.goal ? "met" : "MISSED");
        }
        std::printf("\n");
    }
}

void PrintJson(std::vector<Row> const& rows) {
    std::printf("[");
    for (std::size_t i = 0; i < rows.size(); ++i) {
        Row const& row = rows[i];
        std::printf("%s\n  {\"name\": \"%s\", \"value\": %.4f, \"unit\": \"%s\", \"ratios\": {", i == 0 ? "" : ",",
                    row.name.c_str(), row.value, row.unit.c_str());
        for (std::size_t j = 0; j < row.ratios.size(); ++j)
            std::printf("%s\"%s\": %.4f", j == 0 ? "" : ", ", row.ratios[j].to.c_str(), row.ratios[j].value);
        std::printf("}}");
    }
    std::printf("\n]\n");
}

}  // namespace Tarsel::Bench
