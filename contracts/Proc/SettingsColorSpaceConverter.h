#pragma once

#include <string>
#include <utility>
#include <vector>

#include "contracts/Conf/MediaTypes.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// The pixel formats that the colour-space converter lets through.
class TARSEL_CONTRACTS_EXPORT SettingsColorSpaceConverter : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsColorSpaceConverter";

    SettingsColorSpaceConverter() = default;
    explicit SettingsColorSpaceConverter(std::vector<PixFmt> formats, bool passAccepted = true)
        : formats(std::move(formats)), passAccepted(passAccepted) {}
    std::string const& GetClassId() const override;

    /// A picture of one of these passes as it is; any other becomes the first of them. None: every picture passes.
    std::vector<PixFmt> const& GetFormats() const { return formats; }
    /// Without it each picture becomes the first of the formats, that of another one in the list, too.
    bool GetPassAccepted() const { return passAccepted; }

    bool operator==(SettingsColorSpaceConverter const& other) const {
        return formats == other.formats && passAccepted == other.passAccepted;
    }

  private:
    std::vector<PixFmt> formats;
    bool passAccepted = true;
};

/// The other spelling of the name.
using SettingsColorspaceConverter = SettingsColorSpaceConverter;

/// A property named with the `CLASS_ID`; a nameless child for each format holds its name ("rgba"), in order. The child
/// "PassAccepted" stands in it where it is 0.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsColorSpaceConverter const& settings);
/// The way back. A name or number of no pixel format throws `FilterException`, and so does a property of another name:
/// "Object was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsColorSpaceConverter
Property2SettingsColorSpaceConverter(Core::Property const& property);

}  // namespace Tarsel::Proc
