#include "contracts/Proc/SettingsAudioHistogram.h"

#include <limits>

#include "contracts/Proc/PropertyNumber.h"
#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

namespace {

constexpr char PICTURES_PER_SECOND_KEY[] = "PicturesPerSecond";
constexpr char SCALE_KEY[] = "Scale";
constexpr char BAR_COUNT_KEY[] = "BarCount";
constexpr char BACKGROUND_COLOUR_KEY[] = "BackgroundColour";

}  // namespace

std::string const& SettingsAudioHistogram::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

bool SettingsAudioHistogram::operator==(SettingsAudioHistogram const& other) const {
    return width == other.width && height == other.height && picturesPerSecond == other.picturesPerSecond &&
           scale == other.scale && barCount == other.barCount && backgroundColour == other.backgroundColour;
}

Core::Property Settings2Property(SettingsAudioHistogram const& settings) {
    auto const& colour = settings.GetBackgroundColour();
    return Core::Property(SettingsAudioHistogram::CLASS_ID)
        .SetChild(WIDTH_KEY, int64{settings.GetWidth()})
        .SetChild(HEIGHT_KEY, int64{settings.GetHeight()})
        .SetChild(PICTURES_PER_SECOND_KEY, settings.GetPicturesPerSecond())
        .SetChild(SCALE_KEY, settings.GetScale())
        .SetChild(BAR_COUNT_KEY, int64{settings.GetBarCount()})
        .SetChild(BACKGROUND_COLOUR_KEY, colour[0] << 16 | colour[1] << 8 | colour[2]);
}

SettingsAudioHistogram Property2SettingsAudioHistogram(Core::Property const& property) {
    RequirePropertyOf(SettingsAudioHistogram::CLASS_ID, property);
    constexpr int64 LARGEST_WORD = std::numeric_limits<uint32>::max();
    SettingsAudioHistogram settings;
    auto const word = [&](char const* key, uint32 defaultValue, int64 maximum) {
        return static_cast<uint32>(GetNumber(property, key, defaultValue, 0, maximum));
    };
    settings.SetWidth(word(WIDTH_KEY, settings.GetWidth(), LARGEST_WORD));
    settings.SetHeight(word(HEIGHT_KEY, settings.GetHeight(), LARGEST_WORD));
    settings.SetPicturesPerSecond(GetInt(property, PICTURES_PER_SECOND_KEY, settings.GetPicturesPerSecond(), 0));
    settings.SetScale(GetInt(property, SCALE_KEY, settings.GetScale(), 0, SettingsAudioHistogram::SCALE_LOGARITHMIC));
    settings.SetBarCount(word(BAR_COUNT_KEY, settings.GetBarCount(), LARGEST_WORD));
    uint32 const colour = word(BACKGROUND_COLOUR_KEY, 0, 0xFFFFFF);
    if (property.ChildExists(BACKGROUND_COLOUR_KEY))
        settings.SetBackgroundColour(
            {static_cast<u8>(colour >> 16), static_cast<u8>(colour >> 8), static_cast<u8>(colour)});
    return settings;
}

}  // namespace Tarsel::Proc
