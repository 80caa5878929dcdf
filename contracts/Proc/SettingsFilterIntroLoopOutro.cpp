#include "contracts/Proc/SettingsFilterIntroLoopOutro.h"

#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

namespace {

constexpr char INTRO_LENGTH_KEY[] = "IntroLength";
constexpr char OUTRO_LENGTH_KEY[] = "OutroLength";
constexpr char MIN_LOOP_COUNT_KEY[] = "MinLoopCount";

}  // namespace

std::string const& SettingsFilterIntroLoopOutro::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterIntroLoopOutro const& settings) {
    return Core::Property(SettingsFilterIntroLoopOutro::CLASS_ID)
        .SetChild(DURATION_KEY, settings.GetDuration())
        .SetChild(INTRO_LENGTH_KEY, settings.GetIntroLength())
        .SetChild(OUTRO_LENGTH_KEY, settings.GetOutroLength())
        .SetChild(MIN_LOOP_COUNT_KEY, settings.GetMinLoopCount());
}

SettingsFilterIntroLoopOutro Property2SettingsFilterIntroLoopOutro(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterIntroLoopOutro::CLASS_ID, property);
    SettingsFilterIntroLoopOutro settings;
    if (property.ChildExists(DURATION_KEY)) settings.SetDuration(property[DURATION_KEY].GetInt64());
    if (property.ChildExists(INTRO_LENGTH_KEY)) settings.SetIntroLength(property[INTRO_LENGTH_KEY].GetInt64());
    if (property.ChildExists(OUTRO_LENGTH_KEY)) settings.SetOutroLength(property[OUTRO_LENGTH_KEY].GetInt64());
    if (property.ChildExists(MIN_LOOP_COUNT_KEY)) settings.SetMinLoopCount(property[MIN_LOOP_COUNT_KEY].GetInt64());
    return settings;
}

}  // namespace Tarsel::Proc
