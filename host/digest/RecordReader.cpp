#include "host/digest/RecordReader.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "contracts/Core/Exception.h"
#include "host/digest/ShownText.h"

namespace Tarsel::Host {

namespace {

using boost::property_tree::json_parser_error;
using boost::property_tree::ptree;
using boost::property_tree::ptree_bad_data;
using boost::property_tree::ptree_bad_path;

/// The path of a value that isn't wanted, which stands in brackets at the end of the failure's text.
std::string PathOf(ptree_bad_data const& failure) {
    std::string const text = failure.what();
    std::size_t const begin = text.rfind('(');
    std::size_t const end = text.rfind(')');
    if (begin == std::string::npos || end == std::string::npos || end < begin) return {};
    return text.substr(begin + 1, end - begin - 1) + ": ";
}

std::string Complaint(std::string const& value) {
    std::size_t const digits = value.starts_with('-') ? 1 : 0;
    bool const isNumber = value.size() > digits && value.find_first_not_of("0123456789", digits) == std::string::npos;
    return '"' + ShownText(value) + (isNumber ? "\" is out of range" : "\" is not a whole number");
}

}  // namespace

Proc::GraphCRCData LoadRecord(std::string const& path) {
    std::string what;
    try {
        Proc::GraphCRCData record;
        record.LoadFromFile(path);
        return record;
    } catch (json_parser_error const& failure) {
        what = failure.line() == 0 ? failure.message()
                                   : "line " + std::to_string(failure.line()) + ": " + failure.message();
    } catch (ptree_bad_path const& failure) {
        what = "no record of a run: the key " + failure.path<ptree::path_type>().dump() + " is missing";
    } catch (ptree_bad_data const& failure) {
        what = "no record of a run: " + PathOf(failure) + Complaint(failure.data<std::string>());
    }
    TARSEL_THROW(Core::IOException, ShownText(path, 4096) + ": " + what);
}

}  // namespace Tarsel::Host
