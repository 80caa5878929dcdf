// What the benchmark prints: rows of a name, a figure with its unit, and ratios to other rows.
#pragma once

#include <string>
#include <vector>

namespace Tarsel::Bench {

struct Ratio {
    std::string to;
    double value = 0;
    /// 0 when there is none.
    double goal = 0;
};

struct Row {
    std::string name;
    double value = 0;
    std::string unit;
    std::vector<Ratio> ratios;
};

void PrintTable(std::vector<Row> const& rows);
void PrintJson(std::vector<Row> const& rows);

}  // namespace Tarsel::Bench
