// Random cut lists over a source, by fixed seeds.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "tests/support/CutOracle.h"

namespace Tarsel::Test {

/// The ways in which a list can lie on pictures and groups; the seed of a list chooses one, so that all of them come
/// up.
enum class CutShape {
    WithinOnePicture,
    InsideOneGroup,
    OverNoWholeGroup,
    OverOneWholeGroup,
    OverSeveralGroups,
    LongerThanAJump,
    Touching,
    Overlapping,
    AtTheStart,
    ToTheEnd,
    Everything,
    Nothing,
    OnGroupStarts,
    Several,
    Count
};

struct CutList {
    CutShape shape = CutShape::Nothing;
    CutRequest request;
    /// The ranges as a person would type them, in one of the forms that the program takes.
    std::vector<std::string> texts;
};

/// The shape of the list that `MakeCutList` makes of this seed.
CutShape ShapeOf(unsigned seed);
CutList MakeCutList(SourceMedia const& source, unsigned seed);
char const* NameOf(CutShape shape);

/// One of the accepted ways to write a time of microseconds; `form` chooses it.
std::string TimeText(int64 time, unsigned form);

}  // namespace Tarsel::Test
