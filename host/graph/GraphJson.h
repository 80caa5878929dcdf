#pragma once

#include <cstddef>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/Core/Types.h"

namespace Tarsel::Host {

/// Bounds on the text of a graph file, so that one of any content is read or refused within a bounded time.
inline constexpr std::size_t MAX_GRAPH_BYTES = std::size_t{8} << 20;
inline constexpr std::size_t MAX_GRAPH_DEPTH = 64;
inline constexpr std::size_t MAX_GRAPH_VALUES = 1000000;
/// Bytes of all texts together, once the variables stand in them.
inline constexpr std::size_t MAX_FILLED_BYTES = std::size_t{16} << 20;

/// What a document is called in messages, and how large it may be.
struct JsonLimits {
    char const* noun = "graph";
    std::size_t bytes = MAX_GRAPH_BYTES;
    std::size_t values = MAX_GRAPH_VALUES;
};

/// A value of a JSON document.
struct JsonNode {
    enum class Kind { Null, Boolean, Integer, Number, Text, Array, Object };

    Kind kind = Kind::Null;
    bool boolean = false;
    int64 integer = 0;
    /// Set for integers too.
    double number = 0;
    std::string text;
    /// Where it stands: in which value, under which key of an object, at which place of an array or object.
    std::size_t parent = 0;
    std::string key;
    std::size_t place = 0;
    /// What stands in an array or object.
    std::vector<std::size_t> children;
    /// The last value inside of it, itself when there is none.
    std::size_t last = 0;
};

/// A JSON document whose values stand in the order of the text. The value 0 is the document itself.
class JsonTree {
  public:
    static constexpr std::size_t NONE = std::numeric_limits<std::size_t>::max();

    /// Throws `GraphException`: "line L, column C: ..." for what is no JSON, "POINTER: ..." for a key that stands twice
    /// in an object and for what is too large.
    explicit JsonTree(std::string const& text, JsonLimits const& limits = {});

    JsonNode const& operator[](std::size_t index) const { return nodes[index]; }
    std::size_t size() const { return nodes.size(); }
    /// The value under a key of an object, `NONE` when there is none.
    std::size_t Find(std::size_t object, std::string_view key) const;
    /// RFC 6901; keys of any length are cut short.
    std::string PointerOf(std::size_t index) const;

    /// Puts the values of the variables into all texts; "$${" becomes "${". Throws `GraphException` "POINTER: ..." for
    /// a name that isn't set and for what is no name. Gives back the names that were used, each with the number of its
    /// uses.
    std::map<std::string, std::size_t> Fill(std::map<std::string, std::string> const& variables);

  private:
    friend class JsonTreeBuilder;

    std::string FillText(std::size_t index, std::map<std::string, std::string> const& variables,
                         std::map<std::string, std::size_t>& used) const;

    std::vector<JsonNode> nodes;
};

/// The text of a file, or as much of it as shows that it has more than `limit` bytes. Throws `Core::IOException`
/// "PATH: ...".
std::string ReadTextUpTo(std::string const& path, std::size_t limit);

/// A text for a message: cut short, without control characters, in double quotes.
std::string Quoted(std::string_view text);

/// How a value reads in a message: the number, the quoted text, "an object"...
std::string Shown(JsonNode const& node);

/// "; did you mean "NAME"?" with the one of the names that is nearest to `text`; empty when none is near.
std::string Suggest(std::string_view text, std::vector<std::string> const& names);

}  // namespace Tarsel::Host
