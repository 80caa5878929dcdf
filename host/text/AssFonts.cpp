#include "host/text/AssFonts.h"

#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "contracts/Core/Exception.h"
#include "host/text/AssObjects.h"

namespace Tarsel::Host {

namespace {

struct FreeFonts {
    void operator()(FcPattern* object) const { FcPatternDestroy(object); }
    void operator()(FcObjectSet* object) const { FcObjectSetDestroy(object); }
    void operator()(FcFontSet* object) const { FcFontSetDestroy(object); }
};
template <class T>
using Owned = std::unique_ptr<T, FreeFonts>;

FcChar8 const* Bytes(std::string const& text) {
    return reinterpret_cast<FcChar8 const*>(text.c_str());
}

bool IsGeneric(std::string const& family) {
    static constexpr std::array<char const*, 8> NAMES{"",          "sans-serif", "serif",   "sans",
                                                      "monospace", "mono",       "cursive", "fantasy"};
    return std::any_of(NAMES.begin(), NAMES.end(),
                       [&](char const* name) { return FcStrCmpIgnoreCase(Bytes(family), Bytes(name)) == 0; });
}

}  // namespace

void AssFonts::Free::operator()(_FcConfig* object) const {
    FcConfigDestroy(object);
}

AssFonts::AssFonts(std::string const& folder) {
    std::error_code error;
    if (!folder.empty() && !std::filesystem::is_directory(folder, error))
        TARSEL_THROW(Proc::FilterException, folder + ": there is no such folder of fonts");
    auto const lock = LockFontConfiguration();
    config.reset(FcInitLoadConfigAndFonts());
    if (config && !folder.empty()) FcConfigAppFontAddDir(config.get(), Bytes(folder));
}

bool AssFonts::HasAny() const {
    if (!config) return false;
    for (FcSetName const set : {FcSetSystem, FcSetApplication}) {
        FcFontSet const* const fonts = FcConfigGetFonts(config.get(), set);
        if (fonts && fonts->nfont > 0) return true;
    }
    return false;
}

bool AssFonts::Has(std::string const& family) const {
    return IsGeneric(family) || Has(FC_FAMILY, family) || Has(FC_FULLNAME, family) || Has(FC_POSTSCRIPT_NAME, family);
}

bool AssFonts::Has(char const* field, std::string const& name) const {
    if (!config) return false;
    Owned<FcPattern> const pattern(FcPatternCreate());
    Owned<FcObjectSet> const fields(FcObjectSetCreate());
    if (!pattern || !fields || !FcPatternAddString(pattern.get(), field, Bytes(name))) return false;
    Owned<FcFontSet> const found(FcFontList(config.get(), pattern.get(), fields.get()));
    return found && found->nfont > 0;
}

}  // namespace Tarsel::Host
