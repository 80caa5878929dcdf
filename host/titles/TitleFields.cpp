#include "host/titles/TitleFields.h"

#include "contracts/Proc/SettingsSubtitleDrawer.h"
#include "host/graph/SettingFields.h"

namespace Tarsel::Host {

using namespace Fields;
using Proc::SettingsSubtitleDrawer;

namespace {

/// A whole number that stays as the subtitles say it where it isn't told.
SettingField Styled(char const* key, int64 minimum, int64 maximum, char const* unit, char const* description) {
    SettingField field = Integer(key, minimum, maximum, unit, "-1", description);
    field.anyValue = std::to_string(SettingsSubtitleDrawer::AS_STYLED);
    return field;
}

SettingField StyledColor(char const* key, char const* description) {
    SettingField field = Styled(key, 0, 0xFFFFFF, "", description);
    field.isColor = true;
    return field;
}

}  // namespace

std::vector<SettingField> TitleFields() {
    // In this order `Settings2Property` writes them, behind the two texts.
    return {OptionalText("FontName", "Family of fonts in place of the styles' own; left out: as styled"),
            OptionalText("FontsDir", "A folder with font files that are known beside the installed ones"),
            Styled("FontSize", 1, 4096, "pixels", "Height of a line; Any: as styled"),
            StyledColor("Color", "Colour of the letters; Any: as styled"),
            StyledColor("OutlineColor", "Colour of the line around them; Any: as styled"),
            Styled("Outline", 0, 100, "pixels", "Width of that line; Any: as styled"),
            Styled("Shadow", 0, 100, "pixels", "Distance of the shadow; Any: as styled"),
            OneOf("Bold", {{ANY_VALUE, "-1"}, {"Off", "0"}, {"On", "1"}}, "-1", "Bold letters; Any: as styled"),
            Styled("Alignment", 1, 9, "",
                   "Where lines stand, as the keys of a numeric keypad: 2 below, 8 above; Any: as styled"),
            Styled("MarginV", 0, 8192, "pixels", "Distance from the lower or upper edge; Any: as styled"),
            Integer("Alpha", 0, 255, "", "255", "Of all that is drawn, bitmaps as well; 0: nothing is to be seen")};
}

}  // namespace Tarsel::Host
