#include "contracts/Proc/SettingsAudioHistogram.h"

#include <limits>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

constexpr char WIDTH_KEY[] = "Width";
constexpr char HEIGHT_KEY[] = "Height";
constexpr char PICTURES_PER_SECOND_KEY[] = "PicturesPerSecond";
constexpr char SCALE_KEY[] = "Scale";
constexpr char BAR_COUNT_KEY[] = "BarCount";
constexpr char BACKGROUND_COLOUR_KEY[] = "BackgroundColour";

/// The child's number within what its word can hold.
template <class Word>
Word GetWord(Core::Property const& property, char const* key, Word defaultValue, int64 maximum) {
    if (!property.ChildExists(key)) return defaultValue;
    int64 const value = property[key].GetInt64();
    if (value < 0 || value > maximum)
        TARSEL_THROW(FilterException,
                     std::string(key) + " of " + property.Name() + " is out of range: " + std::to_string(value));
    return static_cast<Word>(value);
}

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
    constexpr int64 LARGEST_INT = std::numeric_limits<int>::max();
    SettingsAudioHistogram settings;
    settings.SetWidth(GetWord(property, WIDTH_KEY, settings.GetWidth(), LARGEST_WORD));
    settings.SetHeight(GetWord(property, HEIGHT_KEY, settings.GetHeight(), LARGEST_WORD));
    settings.SetPicturesPerSecond(
        GetWord(property, PICTURES_PER_SECOND_KEY, settings.GetPicturesPerSecond(), LARGEST_INT));
    settings.SetScale(GetWord(property, SCALE_KEY, settings.GetScale(), SettingsAudioHistogram::SCALE_LOGARITHMIC));
    settings.SetBarCount(GetWord(property, BAR_COUNT_KEY, settings.GetBarCount(), LARGEST_WORD));
    uint32 const colour = GetWord(property, BACKGROUND_COLOUR_KEY, uint32{0}, 0xFFFFFF);
    if (property.ChildExists(BACKGROUND_COLOUR_KEY))
        settings.SetBackgroundColour(
            {static_cast<u8>(colour >> 16), static_cast<u8>(colour >> 8), static_cast<u8>(colour)});
    return settings;
}

}  // namespace Tarsel::Proc
