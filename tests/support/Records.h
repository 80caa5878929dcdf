#pragma once

#include <fstream>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/GraphCRCData.h"

namespace Tarsel::Test {

/// While it lives the global locale writes 40000 as "40,000", as German or English ones do.
class GroupingLocale {
  public:
    GroupingLocale() : before(std::locale::global(std::locale(std::locale::classic(), new Grouping))) {}
    ~GroupingLocale() { std::locale::global(before); }
    GroupingLocale(GroupingLocale const&) = delete;
    GroupingLocale& operator=(GroupingLocale const&) = delete;

  private:
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
    };

    std::locale const before;
};

inline std::string TextOf(std::string const& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    if (!file) TARSEL_THROW(std::runtime_error, "can't open " + fileName);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

inline std::string WriteText(std::string const& fileName, std::string const& text) {
    std::ofstream file(fileName, std::ios::binary);
    file << text;
    if (!file.flush()) TARSEL_THROW(std::runtime_error, "can't write " + fileName);
    return fileName;
}

}  // namespace Tarsel::Test
