// The file of a record. What loads must be the same record behind saving and loading, and the same bytes when it is
// saved again; everything else must be refused by one of the three failures of the file's form.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <cstdlib>
#include <string>

#include "contracts/Proc/GraphCRCData.h"
#include "fuzz/FuzzInput.h"

using namespace Tarsel;

namespace {

/// A file in memory, to be opened by its name.
class MemoryFile {
  public:
    MemoryFile() : descriptor(memfd_create("record", MFD_CLOEXEC)) {
        if (descriptor < 0) std::abort();
    }
    ~MemoryFile() { close(descriptor); }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    ioPath GetName() const { return ioPath("/proc/self/fd/" + std::to_string(descriptor)); }
    void Write(u8 const* data, std::size_t size) {
        if (write(descriptor, data, size) != static_cast<ssize_t>(size)) std::abort();
    }
    std::string Read() const {
        std::string text(static_cast<std::size_t>(lseek(descriptor, 0, SEEK_END)), ' ');
        if (pread(descriptor, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) std::abort();
        return text;
    }

  private:
    int const descriptor;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    MemoryFile given;
    given.Write(input, std::min(inputSize, Fuzz::INPUT_LIMIT));
    Proc::GraphCRCData data;
    try {
        data.LoadFromFile(given.GetName());
    } catch (boost::property_tree::json_parser_error const&) {
        if (data != Proc::GraphCRCData()) std::abort();
        return 0;
    } catch (boost::property_tree::ptree_bad_path const&) {
        return 0;
    } catch (boost::property_tree::ptree_bad_data const&) {
        return 0;
    }
    MemoryFile saved, again;
    data.SaveToFile(saved.GetName());
    Proc::GraphCRCData loaded;
    loaded.LoadFromFile(saved.GetName());
    if (loaded != data) std::abort();
    loaded.SaveToFile(again.GetName());
    if (again.Read() != saved.Read()) std::abort();
    return 0;
}
