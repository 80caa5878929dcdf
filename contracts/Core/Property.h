#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Core {

/// A named, ordered tree of values: what settings and statistics are made of. A node has a name, at most one scalar
/// value (held as text in the classic locale) and children in the order in which they were entered. A child that was
/// entered by `SetChild` is found under its key; one that was entered by `Add` keeps its own name and has no key.
class TARSEL_CONTRACTS_EXPORT Property {
  public:
    Property() = default;
    explicit Property(std::string const& name);

    std::string const& Name() const { return name; }

    /// Whether a scalar value is set.
    bool HasScalar() const { return hasScalar; }
    Property& SetValue(std::string const& value);
    Property& SetValue(char const* value);
    Property& SetValue(int value);
    Property& SetValue(int64 value);
    Property& SetValue(double value);
    Property& SetValue(Ratio const& value);

    /// Typed reads of the scalar. A node without a scalar, and a text that isn't wholly of the type, throw
    /// `Core::CoreException` naming the node.
    std::string const& GetString() const;
    /// "1", "true" and "0", "false".
    bool GetBool() const;
    int64 GetInt64() const;
    double GetDouble() const;
    /// "N/D" or "N"; D must not be 0.
    Ratio GetRatio() const;

    bool ChildExists(std::string const& key) const;
    /// Throws `Core::CoreException` naming the child when there is none.
    Property const& operator[](std::string const& key) const;
    /// Creates the child, without a scalar, when there is none.
    Property& operator[](std::string const& key);

    /// Enters a child under a key, in the place of the one that stands there. The child takes the key as its name.
    Property& SetChild(std::string const& key, Property const& child);
    Property& SetChild(std::string const& key, std::string const& value);
    Property& SetChild(std::string const& key, char const* value);
    Property& SetChild(std::string const& key, int value);
    Property& SetChild(std::string const& key, int64 value);
    Property& SetChild(std::string const& key, double value);
    Property& SetChild(std::string const& key, Ratio const& value);

    /// Appends a child without a key.
    Property& Add(Property const& child);
    Property& Add(Property&& child);

    /// All children in order, keyed or not.
    std::vector<Property> const& Children() const { return children; }
    /// Whether this node stands in its parent under a key.
    bool IsKeyed() const { return keyed; }

    /// Same name and scalar, and the same children in the same order under the same keys. Where the two nodes
    /// themselves stand makes no difference.
    bool operator==(Property const& other) const;

  private:
    Property const* Find(std::string const& key) const;

    std::string name;
    std::string scalar;
    bool hasScalar = false;
    bool keyed = false;
    std::vector<Property> children;
};

/// The statistics node of a filter: `name`, processing time in microseconds, number of items delivered.
TARSEL_CONTRACTS_EXPORT Property MakeStatistics(std::string const& name, int64 time, unsigned count);

/// The root under which a chain's statistics are collected; sources start from it.
TARSEL_CONTRACTS_EXPORT Property GetRootItem();

}  // namespace Tarsel::Core
