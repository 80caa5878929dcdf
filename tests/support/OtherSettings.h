#pragma once

#include <string>

#include "contracts/Proc/Settings.h"

namespace Tarsel::Test {

/// Settings that no filter and no effect takes.
class OtherSettings final : public Proc::Settings {
  public:
    std::string const& GetClassId() const override {
        static std::string const id("OtherSettings");
        return id;
    }
};

}  // namespace Tarsel::Test
