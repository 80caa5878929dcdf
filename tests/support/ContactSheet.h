#pragma once

#include <string>
#include <vector>

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Test {

/// What a drawing test drew, for people to look at: pictures side by side, each with a line below that says what is to
/// be seen. `NAME.png` is written to the folder `contact-sheets` of the build, or to the one that the environment
/// variable TARSEL_CONTACT_SHEETS names. It proves nothing by itself; the test asserts.
class ContactSheet {
  public:
    explicit ContactSheet(std::string name, int columns = 4);
    /// Writes the sheet, unless there is nothing in it.
    ~ContactSheet();
    ContactSheet(ContactSheet const&) = delete;
    ContactSheet& operator=(ContactSheet const&) = delete;

    /// Any picture in processor memory; what is transparent shows a chequered ground. Small ones are enlarged.
    void Add(iptr<Proc::IDataVideo> const& picture, std::string const& caption);

  private:
    std::string name;
    int columns;
    std::vector<iptr<Proc::IDataVideo>> cells;
};

}  // namespace Tarsel::Test
