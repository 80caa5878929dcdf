#include "host/graph/GraphJson.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>
#include <unordered_set>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/graph/GraphErrors.h"

namespace Tarsel::Host {

namespace {

constexpr std::size_t SHOWN_BYTES = 64;

/// The beginning of a text, cut between characters, with marks in place of control characters.
std::string Clip(std::string_view text) {
    std::size_t length = std::min(text.size(), SHOWN_BYTES);
    if (length < text.size())
        while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
    std::string shown(text.substr(0, length));
    for (char& c : shown)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    if (length < text.size()) shown += "...";
    return shown;
}

std::string JsonNumber(double value) {
    return nlohmann::json(value).dump();
}

bool IsNameCharacter(char c, bool first) {
    bool const letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
    return letter || (!first && c >= '0' && c <= '9');
}

bool IsName(std::string_view text) {
    if (text.empty()) return false;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (!IsNameCharacter(text[i], i == 0)) return false;
    return true;
}

/// Throws with the place of the character `position` (from 0).
[[noreturn]] void FailInText(std::string_view text, std::size_t position, std::string const& what) {
    std::string_view const before = text.substr(0, std::min(position, text.size()));
    auto const lines = std::count(before.begin(), before.end(), '\n');
    std::size_t const lineBegin = before.rfind('\n') + 1;  // npos + 1 is 0
    FailAtPlace("", "line " + std::to_string(lines + 1) + ", column " + std::to_string(before.size() - lineBegin + 1) +
                        ": " + what);
}

/// What the JSON library says, without its error codes, its count of places, and the text that it read.
std::string Complaint(std::string what) {
    std::size_t const column = what.find(", column ");
    if (column != std::string::npos) {
        std::size_t const colon = what.find(": ", column);
        if (colon != std::string::npos) what.erase(0, colon + 2);
    } else if (std::size_t const bracket = what.find("] "); bracket != std::string::npos) {
        what.erase(0, bracket + 2);
    }
    std::size_t const read = what.find("; last read: '");
    if (read != std::string::npos) {
        std::size_t const expected = what.rfind("; expected ");
        what.erase(read, expected != std::string::npos && expected > read ? expected - read : std::string::npos);
    }
    return what;
}

std::size_t EditDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            std::size_t const replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

/// Takes the parser's events. It keeps no stack of its own but the parents of the open value.
class JsonTreeBuilder final : public nlohmann::json_sax<nlohmann::json> {
  public:
    JsonTreeBuilder(JsonTree& tree, std::string_view text, JsonLimits const& limits)
        : tree(tree), text(text), limits(limits) {}

    bool null() override { return Enter(JsonNode::Kind::Null), true; }
    bool boolean(bool value) override {
        Enter(JsonNode::Kind::Boolean).boolean = value;
        return true;
    }
    bool number_integer(number_integer_t value) override {
        JsonNode& node = Enter(JsonNode::Kind::Integer);
        node.integer = value;
        node.number = static_cast<double>(value);
        return true;
    }
    bool number_unsigned(number_unsigned_t value) override {
        if (value <= static_cast<number_unsigned_t>(std::numeric_limits<int64>::max()))
            return number_integer(static_cast<number_integer_t>(value));
        Enter(JsonNode::Kind::Number).number = static_cast<double>(value);
        return true;
    }
    bool number_float(number_float_t value, string_t const&) override {
        JsonNode& node = Enter(JsonNode::Kind::Number);
        node.number = value;
        // 2.0 is as whole as 2.
        constexpr double EXACT = 9007199254740992.0;
        if (std::trunc(value) == value && std::abs(value) <= EXACT) {
            node.kind = JsonNode::Kind::Integer;
            node.integer = static_cast<int64>(value);
        }
        return true;
    }
    bool string(string_t& value) override {
        Enter(JsonNode::Kind::Text).text = std::move(value);
        return true;
    }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override {
        Open(JsonNode::Kind::Object);
        keys.emplace_back();
        return true;
    }
    bool key(string_t& value) override {
        if (!keys.back().insert(value).second)
            FailAtPlace(tree.PointerOf(open.back()), "the key " + Quoted(value) + " stands twice");
        nextKey = std::move(value);
        return true;
    }
    bool end_object() override {
        keys.pop_back();
        Close();
        return true;
    }
    bool start_array(std::size_t) override {
        Open(JsonNode::Kind::Array);
        return true;
    }
    bool end_array() override {
        Close();
        return true;
    }
    bool parse_error(std::size_t position, std::string const&, nlohmann::detail::exception const& failure) override {
        FailInText(text, position == 0 ? 0 : position - 1, Complaint(failure.what()));
    }

  private:
    JsonNode& Enter(JsonNode::Kind kind) {
        if (tree.nodes.size() >= limits.values)
            FailAtPlace(
                "", "the " + std::string(limits.noun) + " has more than " + std::to_string(limits.values) + " values");
        std::size_t const index = tree.nodes.size();
        JsonNode& node = tree.nodes.emplace_back();
        node.kind = kind;
        node.last = index;
        if (open.empty()) return node;
        JsonNode& parent = tree.nodes[open.back()];
        node.parent = open.back();
        node.place = parent.children.size();
        if (parent.kind == JsonNode::Kind::Object) node.key = std::move(nextKey);
        parent.children.push_back(index);
        return node;
    }
    void Open(JsonNode::Kind kind) {
        if (open.size() >= MAX_GRAPH_DEPTH)
            FailAtPlace(tree.PointerOf(open.back()),
                        "values stand more than " + std::to_string(MAX_GRAPH_DEPTH) + " deep in one another");
        Enter(kind);
        open.push_back(tree.nodes.size() - 1);
    }
    void Close() {
        tree.nodes[open.back()].last = tree.nodes.size() - 1;
        open.pop_back();
    }

    JsonTree& tree;
    std::string_view text;
    JsonLimits limits;
    std::vector<std::size_t> open;
    /// Of each open object.
    std::vector<std::unordered_set<std::string>> keys;
    std::string nextKey;
};

JsonTree::JsonTree(std::string const& text, JsonLimits const& limits) {
    if (text.size() > limits.bytes)
        FailAtPlace("",
                    "the " + std::string(limits.noun) + " is larger than " + std::to_string(limits.bytes) + " bytes");
    // The parser would take it for the end of the text.
    if (std::size_t const zero = text.find('\0'); zero != std::string::npos)
        FailInText(text, zero, "a byte 0 stands in the text");
    JsonTreeBuilder builder(*this, text, limits);
    nlohmann::json::sax_parse(text, &builder);
}

std::size_t JsonTree::Find(std::size_t object, std::string_view key) const {
    for (std::size_t const child : nodes[object].children)
        if (nodes[child].key == key) return child;
    return NONE;
}

std::string JsonTree::PointerOf(std::size_t index) const {
    std::vector<std::size_t> path;
    for (; index != 0; index = nodes[index].parent) path.push_back(index);
    std::string pointer;
    for (auto step = path.rbegin(); step != path.rend(); ++step) {
        JsonNode const& node = nodes[*step];
        pointer += '/';
        if (nodes[node.parent].kind == JsonNode::Kind::Array) {
            pointer += std::to_string(node.place);
            continue;
        }
        for (char const c : Clip(node.key)) {
            if (c == '~')
                pointer += "~0";
            else if (c == '/')
                pointer += "~1";
            else
                pointer += c;
        }
    }
    return pointer;
}

std::map<std::string, std::size_t> JsonTree::Fill(std::map<std::string, std::string> const& variables) {
    std::map<std::string, std::size_t> used;
    std::size_t total = 0;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (nodes[i].kind != JsonNode::Kind::Text) continue;
        if (nodes[i].text.find("${") != std::string::npos) nodes[i].text = FillText(i, variables, used);
        total += nodes[i].text.size();
        if (total > MAX_FILLED_BYTES)
            FailAtPlace(PointerOf(i), "the texts are longer than " + std::to_string(MAX_FILLED_BYTES) +
                                          " bytes with the variables in them");
    }
    return used;
}

std::string JsonTree::FillText(std::size_t index, std::map<std::string, std::string> const& variables,
                               std::map<std::string, std::size_t>& used) const {
    std::string const& text = nodes[index].text;
    std::string filled;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const mark = text.find("${", at);
        if (mark == std::string::npos) {
            filled.append(text, at);
            break;
        }
        if (mark > at && text[mark - 1] == '$') {
            filled.append(text, at, mark - 1 - at).append("${");
            at = mark + 2;
            continue;
        }
        filled.append(text, at, mark - at);
        std::size_t const end = text.find('}', mark);
        std::string const name = text.substr(mark + 2, end == std::string::npos ? end : end - mark - 2);
        if (end == std::string::npos)
            FailAtPlace(PointerOf(index), "\"${\" has no \"}\": write \"$${\" for the characters themselves");
        if (!IsName(name))
            FailAtPlace(PointerOf(index), Quoted(name) + " is no name of a variable: letters, digits and \"_\" are");
        auto const variable = variables.find(name);
        if (variable == variables.end()) FailAtPlace(PointerOf(index), "no value is set for ${" + Clip(name) + "}");
        ++used[name];
        filled += variable->second;
        if (filled.size() > MAX_FILLED_BYTES)
            FailAtPlace(PointerOf(index), "the text is longer than " + std::to_string(MAX_FILLED_BYTES) +
                                              " bytes with the variables in it");
        at = end + 1;
    }
    return filled;
}

std::string ReadTextUpTo(std::string const& path, std::size_t limit) {
    std::ifstream stream(path, std::ios::binary);
    std::string text(limit + 1, '\0');
    if (stream) stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    // A folder opens, and fails to be read.
    if (!stream.is_open() || stream.bad() || (stream.gcount() == 0 && !stream.eof()))
        TARSEL_THROW(Core::IOException, path + ": " + std::generic_category().message(errno == 0 ? EIO : errno));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    return text;
}

std::string Quoted(std::string_view text) {
    return '"' + Clip(text) + '"';
}

std::string Shown(JsonNode const& node) {
    switch (node.kind) {
        case JsonNode::Kind::Null:
            return "null";
        case JsonNode::Kind::Boolean:
            return node.boolean ? "true" : "false";
        case JsonNode::Kind::Integer:
            return std::to_string(node.integer);
        case JsonNode::Kind::Number:
            return JsonNumber(node.number);
        case JsonNode::Kind::Text:
            return Quoted(node.text);
        case JsonNode::Kind::Array:
            return "a list";
        case JsonNode::Kind::Object:
            break;
    }
    return "an object";
}

std::string Suggest(std::string_view text, std::vector<std::string> const& names) {
    if (text.size() > SHOWN_BYTES) return {};
    std::string const* nearest = nullptr;
    std::size_t least = std::max<std::size_t>(2, text.size() / 3) + 1;
    for (std::string const& name : names) {
        std::size_t const distance = EditDistance(text, name);
        if (distance < least) {
            least = distance;
            nearest = &name;
        }
    }
    return nearest && least < nearest->size() ? "; did you mean " + Quoted(*nearest) + "?" : std::string();
}

}  // namespace Tarsel::Host
