#pragma once

#include <memory>
#include <string>

struct _FcConfig;

namespace Tarsel::Host {

/// The fonts that are installed, and those of a folder beside them. One thread.
class AssFonts {
  public:
    /// `folder` may be empty. Throws `FilterException`, which names the folder, where it is none.
    explicit AssFonts(std::string const& folder);

    /// Whether there is a font at all.
    bool HasAny() const;
    /// Whether a font has that family or that full name. Names that stand for whatever is installed ("sans-serif")
    /// always do.
    bool Has(std::string const& family) const;

  private:
    struct Free {
        void operator()(_FcConfig* config) const;
    };

    bool Has(char const* field, std::string const& name) const;

    std::unique_ptr<_FcConfig, Free> config;  // null where there is no configuration of fonts
};

}  // namespace Tarsel::Host
