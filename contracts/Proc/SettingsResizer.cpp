#include "contracts/Proc/SettingsResizer.h"

#include <limits>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/PropertyNumber.h"
#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

namespace {

constexpr char PIXEL_ASPECT_KEY[] = "PixelAspect";
constexpr char ALGORITHM_KEY[] = "Algorithm";

constexpr int64 LARGEST = std::numeric_limits<int>::max();

}  // namespace

std::string const& SettingsResizer::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

bool SettingsResizer::operator==(SettingsResizer const& other) const {
    return implName == other.implName && mode == other.mode && frameInfo == other.frameInfo &&
           algorithm == other.algorithm;
}

Core::Property Settings2Property(SettingsResizer const& settings) {
    Conf::FrameInfo const& info = settings.GetFrameInfo();
    return Core::Property(SettingsResizer::CLASS_ID)
        .SetChild(IMPLEMENTATION_KEY, settings.GetImplName())
        .SetChild(MODE_KEY, settings.GetMode())
        .SetChild(WIDTH_KEY, info.width)
        .SetChild(HEIGHT_KEY, info.height)
        .SetChild(PIXEL_ASPECT_KEY, Ratio(info.pixelAspectNum, info.pixelAspectDen))
        .SetChild(ALGORITHM_KEY, settings.GetAlgorithm());
}

SettingsResizer Property2SettingsResizer(Core::Property const& property) {
    RequirePropertyOf(SettingsResizer::CLASS_ID, property);
    SettingsResizer settings;
    if (property.ChildExists(IMPLEMENTATION_KEY)) settings.SetImplName(property[IMPLEMENTATION_KEY].GetString());
    Conf::FrameInfo info;
    info.width = GetInt(property, WIDTH_KEY, 0, 0);
    info.height = GetInt(property, HEIGHT_KEY, 0, 0);
    if (property.ChildExists(PIXEL_ASPECT_KEY)) {
        Ratio const aspect = property[PIXEL_ASPECT_KEY].GetRatio();
        if (aspect.numerator() < 1 || aspect.numerator() > LARGEST || aspect.denominator() > LARGEST)
            TARSEL_THROW(FilterException, std::string(PIXEL_ASPECT_KEY) + " of " + property.Name() +
                                              " is out of range: " + property[PIXEL_ASPECT_KEY].GetString());
        info.pixelAspectNum = static_cast<int>(aspect.numerator());
        info.pixelAspectDen = static_cast<int>(aspect.denominator());
    }
    int const mode =
        GetInt(property, MODE_KEY, settings.GetMode(), SettingsResizer::MODE_KEEP, SettingsResizer::MODE_CROP);
    int const algorithm = GetInt(property, ALGORITHM_KEY, settings.GetAlgorithm(), SettingsResizer::ALGORITHM_BILINEAR,
                                 SettingsResizer::ALGORITHM_LANCZOS);
    settings.SetCustomMode(static_cast<SettingsResizer::CustomModes>(mode), info);
    settings.SetAlgorithm(static_cast<SettingsResizer::Algorithms>(algorithm));
    return settings;
}

}  // namespace Tarsel::Proc
