#include "contracts/Proc/SettingsFilterBitStream.h"

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

constexpr char FORMAT_KEY[] = "StreamFormat";

}  // namespace

std::string const& SettingsFilterBitStream::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterBitStream const& settings) {
    return Core::Property(SettingsFilterBitStream::CLASS_ID)
        .SetChild(FORMAT_KEY, static_cast<int>(settings.GetStreamFormatNeeded()));
}

SettingsFilterBitStream Property2SettingsFilterBitStream(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterBitStream::CLASS_ID, property);
    if (!property.ChildExists(FORMAT_KEY)) return {};
    int64 const number = property[FORMAT_KEY].GetInt64();
    if (number < SettingsFilterBitStream::ANNEX_B || number > SettingsFilterBitStream::ANY)
        TARSEL_THROW(FilterException, "StreamFormat " + std::to_string(number) + " is out of 0 to 4");
    return SettingsFilterBitStream(static_cast<SettingsFilterBitStream::StreamFormat>(number));
}

}  // namespace Tarsel::Proc
