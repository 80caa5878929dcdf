// The parts of the program. What is set side by side is measured in turns, and the medians of the rounds count: compare
// figures within one run only.
#pragma once

#include <string>

#include "benchmarks/effects/Parts.h"

namespace Tarsel::Bench {

/// What recording frames and blocks costs that are held in memory, beside libavutil's MD5 over the same bytes.
void MeasureHashing(Rows& rows);
/// What saving, loading and comparing a record of so many items takes, into files of a folder.
void MeasureRecords(Rows& rows, std::string const& folder, int64 items);

/// One of these steps alone, for who measures a program's memory: "make", "save", "load", "equal", "dropped" or
/// "different", of files that `MeasureRecords` has left in the folder. False for what isn't known.
bool RunRecords(std::string const& what, std::string const& folder, int64 items);

}  // namespace Tarsel::Bench
