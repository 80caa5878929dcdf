#include "host/text/OverlayFactory.h"

#include <utility>

namespace Tarsel::Host {

using namespace Proc;

namespace {

class OverlayFactory final : public IOverlayFactory, public RefCounted {
  public:
    explicit OverlayFactory(TextWarningListener warned) : warned(std::move(warned)) {}

    iptr<ITextEngine> CreateTextEngine(std::string const& header,
                                       SettingsSubtitleDrawer const& settings) const override {
        return AssEngine::Create(header, settings, warned);
    }

  private:
    TextWarningListener const warned;
};

}  // namespace

iptr<IOverlayFactory const> MakeOverlayFactory(TextWarningListener warned) {
    return MakeShared<OverlayFactory>(std::move(warned));
}

}  // namespace Tarsel::Host
