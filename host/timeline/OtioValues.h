#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/graph/GraphJson.h"
#include "host/timeline/ExactTime.h"
#include "host/timeline/Timeline.h"

namespace Tarsel::Host {

/// "Clip.2": which kind of object stands there, and in which version of its form.
struct OtioSchema {
    std::string name;
    int64 version = 0;
};

struct OtioRange {
    ExactTime start;
    ExactTime duration;
};

/// Reads the values of an OpenTimelineIO document. Unknown keys are left alone, as the format wants it. What is wrong
/// throws `GraphException` "POINTER: WHAT".
class OtioValues {
  public:
    explicit OtioValues(JsonTree const& tree) : tree(tree) {}

    JsonTree const& GetTree() const { return tree; }
    [[noreturn]] void Fail(std::size_t index, std::string const& what) const;

    /// The schema of an object; fails for what is no object or names none.
    OtioSchema SchemaOf(std::size_t index) const;
    /// Fails unless the version is one of 1 to `known`: a later one may mean something else by the same keys.
    void RequireVersion(std::size_t index, OtioSchema const& schema, int64 known) const;

    /// What stands under a key, `NONE` for nothing and for null.
    std::size_t Find(std::size_t object, std::string_view key) const;
    /// Fails where nothing stands under the key.
    std::size_t Require(std::size_t object, std::string_view key) const;
    /// What stands in the list under a key; none for nothing and for null.
    std::vector<std::size_t> const& ListUnder(std::size_t object, std::string_view key) const;
    /// Empty where there is none.
    std::string TextUnder(std::size_t object, std::string_view key) const;
    bool IsEnabled(std::size_t object) const;
    double Number(std::size_t index) const;
    /// The time under a key, which must stand there.
    ExactTime TimeUnder(std::size_t object, std::string_view key) const;
    /// The range under a key; none for nothing and for null. A length below 0 fails.
    std::optional<OtioRange> RangeUnder(std::size_t object, std::string_view key) const;

  private:
    JsonTree const& tree;
};

}  // namespace Tarsel::Host
