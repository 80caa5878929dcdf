#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/Core/Property.h"
#include "contracts/Core/Time.h"
#include "contracts/Core/Types.h"
#include "host/graph/GraphDocument.h"
#include "host/graph/GraphJson.h"
#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {

/// Collects what is wrong with the values of a graph file and keeps the finding that stands first in the text.
class GraphFindings {
  public:
    explicit GraphFindings(JsonTree const& tree) : tree(tree) {}

    JsonTree const& GetTree() const { return tree; }
    /// The node that the next findings belong to; none without a value.
    void SetNode(std::optional<NodeId> id) { node = id; }
    void Report(std::size_t index, std::string const& what) { Report(index, 2 * index, what); }
    /// For something that an object lacks: it stands behind all that is in the object.
    void ReportMissing(std::size_t object, std::string const& what) { Report(object, 2 * tree[object].last + 1, what); }
    bool Any() const { return first != JsonTree::NONE; }
    /// The first finding, if there is any: the value that it is about, and what is wrong.
    std::size_t GetPlace() const { return first; }
    std::string const& GetMessage() const { return message; }
    /// Throws the first finding as `GraphException`, if there is any.
    void ThrowFirst() const;

  private:
    void Report(std::size_t index, std::size_t rank, std::string const& what);

    JsonTree const& tree;
    std::optional<NodeId> node;
    std::size_t first = JsonTree::NONE;
    std::size_t firstRank = JsonTree::NONE;
    std::optional<NodeId> firstNode;
    std::string message;
};

// Each reads a value of one type, or reports what it is instead and gives nothing. A text that wholly parses as the
// wanted type is as good as the value.

std::optional<int64> ReadInteger(GraphFindings& findings, std::size_t index, int64 minimum, int64 maximum,
                                 std::string const& unit = {});
std::optional<double> ReadNumber(GraphFindings& findings, std::size_t index, double lowest, double highest);
std::optional<bool> ReadBoolean(GraphFindings& findings, std::size_t index);
std::optional<std::string> ReadText(GraphFindings& findings, std::size_t index);

/// Which stream of a file: "video", "audio:1", 3.
StreamSelector ReadSelector(GraphFindings& findings, std::size_t index);
/// How it stands in a file; one without a kind is the number.
std::string SelectorText(StreamSelector const& selector);
/// "N/D" or N, neither below 0 and D not 0, reduced; nothing is reported.
std::optional<Ratio> ParseRatio(JsonNode const& node);

/// Whether the value is an object with none but these keys; the first other one is reported.
bool ReadKeys(GraphFindings& findings, std::size_t index, std::vector<std::string> const& keys);
/// The value under a key that must stand in the object, `NONE` when it is missing, which is reported.
std::size_t RequireKey(GraphFindings& findings, std::size_t object, std::string_view key);

/// Enters every field into the property from the object `index`, or `NONE` for the defaults; what is missing then is
/// reported at `owner`. Keys of the object that are those of no field stay unread.
void ReadFieldValues(GraphFindings& findings, std::vector<SettingField> const& fields, std::size_t index,
                     std::size_t owner, Core::Property& property);

/// The settings of a class as a property that holds every field, from the object `index`, or `NONE` for the defaults;
/// what is missing then is reported at `owner`.
Core::Property ReadSettings(GraphFindings& findings, CatalogEntry const& entry, std::size_t index, std::size_t owner);
/// A tree of the writer's own keys: enters what the object `index` holds into the property.
void ReadTree(GraphFindings& findings, std::size_t index, Core::Property& property);

}  // namespace Tarsel::Host
