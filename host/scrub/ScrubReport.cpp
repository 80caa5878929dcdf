#include "host/scrub/ScrubReport.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;
using Row = std::array<std::string, 4>;

std::string Seconds(int64 time) {
    bool const below = time < 0;
    std::string fraction = std::to_string((below ? -time : time) % SECOND);
    fraction.insert(0, 6 - std::min<std::size_t>(fraction.size(), 6), '0');
    return (below ? "-" : "") + std::to_string((below ? -time : time) / SECOND) + "." + fraction;
}

std::string Line(Row const& row, std::array<std::size_t, 4> const& widths) {
    // The operation reads from the left, numbers from the right.
    std::string line = row[0] + std::string(widths[0] - row[0].size(), ' ');
    for (std::size_t i = 1; i < row.size(); ++i) line += "  " + std::string(widths[i] - row[i].size(), ' ') + row[i];
    return line + "\n";
}

}  // namespace

int64 ScrubReport::GetMedian() const {
    if (steps.empty()) return 0;
    std::vector<int64> times;
    for (Step const& step : steps) times.push_back(step.time);
    std::sort(times.begin(), times.end());
    int64 const upper = times[times.size() / 2];
    int64 const lower = times[(times.size() - 1) / 2];
    return lower + (upper - lower) / 2;
}

int64 ScrubReport::GetWorst() const {
    int64 worst = 0;
    for (Step const& step : steps) worst = std::max(worst, step.time);
    return worst;
}

std::string ScrubReport::ToJson() const {
    Json document;
    document["steps"] = Json::array();
    for (Step const& step : steps)
        document["steps"].push_back({{"requested_us", step.move.requested},
                                     {"real_us", HasValue(step.move.real) ? Json(step.move.real) : Json(nullptr)},
                                     {"time_us", step.time}});
    document["source_seeks"] = sourceSeeks;
    document["saved_seeks"] = savedSeeks;
    document["median_us"] = GetMedian();
    document["worst_us"] = GetWorst();
    return document.dump(2);
}

std::string ScrubReport::ToText() const {
    std::vector<Row> rows{{"operation", "requested", "real", "time (us)"}};
    for (Step const& step : steps)
        rows.push_back({step.operation.ToText(), Seconds(step.move.requested),
                        HasValue(step.move.real) ? Seconds(step.move.real) : "end", std::to_string(step.time)});
    std::array<std::size_t, 4> widths{};
    for (Row const& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    std::string text;
    for (Row const& row : rows) text += Line(row, widths);
    return text + std::to_string(steps.size()) + " operations, " + std::to_string(sourceSeeks) +
           " sought the source, " + std::to_string(savedSeeks) + " seeks saved; median " + std::to_string(GetMedian()) +
           " us, worst " + std::to_string(GetWorst()) + " us\n";
}

}  // namespace Tarsel::Host
