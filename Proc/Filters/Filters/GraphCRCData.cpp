#include "contracts/Proc/GraphCRCData.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <charconv>
#include <deque>
#include <iterator>
#include <limits>
#include <string_view>
#include <typeinfo>
#include <utility>

#include "Proc/Filters/Filters/RecordFile.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace Json = boost::property_tree::json_parser;

using boost::property_tree::ptree;
using boost::property_tree::ptree_bad_data;
using boost::property_tree::ptree_bad_path;
using Json::json_parser_error;

// --- Values ----------------------------------------------------------------------------------------------------------

PacketCRCInfo::PacketCRCInfo(unsigned index, int64 timeStamp, std::string const& crc)
    : packetIndex(index), timeStamp(timeStamp), crc(crc) {}

FilterCRCInfo::FilterCRCInfo(int64 graphNodeId) : graphNodeId(graphNodeId) {}

void FilterCRCInfo::AddPacketCRCInfo(int64 timeStamp, std::string const& crc) {
    packets.emplace_back(static_cast<unsigned>(packets.size()), timeStamp, crc);
}

void GraphCRCData::AddPacketCRCInfo(int64 graphNodeId, int64 timeStamp, std::string const& crc) {
    filters.try_emplace(graphNodeId, graphNodeId).first->second.AddPacketCRCInfo(timeStamp, crc);
    ++packetCount;
}

void GraphCRCData::Clear() {
    packetCount = 0;
    sourceGraphFileName.clear();
    sourceMediaFileName.clear();
    filters.clear();
}

// --- Writing ---------------------------------------------------------------------------------------------------------

namespace {

/// Writes what `write_json` writes of a tree of the same keys and values, without the tree: that would take ten times
/// the memory of the record itself.
class JsonWriter {
  public:
    explicit JsonWriter(RecordTarget& target) : target(target) { target.Write("{"); }

    void Value(std::string_view key, std::string const& text) {
        Begin(key);
        line += '"';
        line += Json::create_escapes(text);
        line += '"';
        target.Write(line);
    }
    template <class Number>
    void Value(std::string_view key, Number number) {
        Value(key, std::to_string(number));
    }
    void Open(std::string_view key) {
        Begin(key);
        line += '{';
        target.Write(line);
        ++depth;
        isFirst = true;
    }
    void Close() {
        --depth;
        isFirst = false;
        target.Write("\n" + std::string(4 * depth, ' ') + "}");
    }
    void End() {
        while (depth > 0) Close();
        target.Write("\n");
    }

  private:
    void Begin(std::string_view key) {
        line = isFirst ? "\n" : ",\n";
        line.append(4 * depth, ' ');
        line += '"';
        line += key;
        line += "\": ";
        isFirst = false;
    }

    RecordTarget& target;
    std::string line;
    std::size_t depth = 1;
    bool isFirst = true;
};

void WritePackets(JsonWriter& json, std::vector<PacketCRCInfo> const& packets) {
    // Nothing is told from an empty text.
    if (packets.empty()) return json.Value("PacketCRC", std::string());
    json.Open("PacketCRC");
    std::size_t counter = 0;
    for (PacketCRCInfo const& packet : packets) {
        json.Open(std::to_string(counter++));
        json.Value("PTS", packet.GetTimeStamp());
        json.Value("MD5", packet.GetCRC());
        json.Close();
    }
    json.Close();
}

void WriteFilters(JsonWriter& json, std::map<int64, FilterCRCInfo> const& filters) {
    if (filters.empty()) return json.Value("Filters", std::string());
    json.Open("Filters");
    std::size_t counter = 0;
    for (auto const& [id, filter] : filters) {
        json.Open(std::to_string(counter++));
        json.Value("GraphNodeId", id);
        json.Value("PacketCRCInfoCount", filter.GetPacketCRCInfoList().size());
        WritePackets(json, filter.GetPacketCRCInfoList());
        json.Close();
    }
    json.Close();
}

}  // namespace

void GraphCRCData::SaveToFile(ioPath const& fileName) const {
    try {
        RecordTarget target(fileName.utf8string());
        JsonWriter json(target);
        json.Open("GraphCRCInfo");
        json.Value("PacketCount", packetCount);
        json.Value("SourceGraphFileName", sourceGraphFileName.utf8string());
        json.Value("SourceMediaFileName", sourceMediaFileName.utf8string());
        json.Value("FilterCount", filters.size());
        WriteFilters(json, filters);
        json.End();
        target.Commit();
    } catch (Core::IOException const& failure) {
        TARSEL_THROW_OBJECT(json_parser_error(failure.what(), fileName.utf8string(), 0));
    }
}

// --- Reading ---------------------------------------------------------------------------------------------------------

namespace {

/// A file's nodes in the order of the file, filled by the parser of Boost.PropertyTree in place of a tree of its own:
/// that takes 300 bytes a node, and its parser recurses as deep as a file tells it to.
class JsonNodes {
  public:
    /// Place of a node in the order of the file. 0 is the root.
    using Index = std::size_t;
    static constexpr Index NONE = std::numeric_limits<Index>::max();

    explicit JsonNodes(std::string const& fileName) : fileName(fileName) {}

    std::string_view GetKey(Index node) const { return GetText(nodes[node].key, nodes[node].text); }
    /// Of an object or array: empty.
    std::string_view GetText(Index node) const { return GetText(nodes[node].text, nodes[node].textEnd); }
    Index GetFirstChild(Index node) const { return node + 1 < nodes[node].next ? node + 1 : NONE; }
    Index GetNextSibling(Index child, Index parent) const {
        return nodes[child].next < nodes[parent].next ? nodes[child].next : NONE;
    }

    // What the parser calls.
    using char_type = char;
    void on_null() { AddLeaf("null"); }
    void on_boolean(bool value) { AddLeaf(value ? "true" : "false"); }
    void on_begin_number() { BeginNode(); }
    void on_digit(char digit) { texts += digit; }
    void on_end_number() { EndText(); }
    void on_begin_string() {
        isKey = !open.empty() && open.back().isObject && !hasKey;
        if (isKey)
            keyBegin = texts.size();
        else
            BeginNode();
    }
    void on_code_unit(char unit) { texts += unit; }
    void on_end_string() {
        if (isKey)
            hasKey = true;
        else
            EndText();
        isKey = false;
    }
    void on_begin_array() { OpenNode(false); }
    void on_end_array() { CloseNode(); }
    void on_begin_object() { OpenNode(true); }
    void on_end_object() { CloseNode(); }

  private:
    /// A record needs 6. The parser recurses: a file that nests without end would run through the stack.
    static constexpr std::size_t MAX_DEPTH = 256;

    struct Node {
        std::size_t key;      // where it begins in `texts`; it ends where the text begins
        std::size_t text;     // where its text begins
        std::size_t textEnd;  // and ends
        Index next;           // the first node that isn't below it
    };
    struct Container {
        Index node;
        bool isObject;
    };

    std::string_view GetText(std::size_t begin, std::size_t end) const {
        return std::string_view(texts).substr(begin, end - begin);
    }
    void BeginNode() {
        nodes.push_back({hasKey ? keyBegin : texts.size(), texts.size(), texts.size(), nodes.size() + 1});
        hasKey = false;
    }
    void EndText() { nodes.back().textEnd = texts.size(); }
    void AddLeaf(char const* text) {
        BeginNode();
        texts += text;
        EndText();
    }
    void OpenNode(bool isObject) {
        if (open.size() == MAX_DEPTH)
            TARSEL_THROW_OBJECT(
                json_parser_error("nested deeper than " + std::to_string(MAX_DEPTH) + " levels", fileName, 0));
        BeginNode();
        open.push_back({nodes.size() - 1, isObject});
    }
    void CloseNode() {
        nodes[open.back().node].next = nodes.size();
        open.pop_back();
    }

    std::string const& fileName;
    std::deque<Node> nodes;
    std::string texts;  // of all keys and values, in the order of the file
    // State of the parser.
    std::vector<Container> open;
    std::size_t keyBegin = 0;
    bool isKey = false;   // the string that is being read
    bool hasKey = false;  // of the next node
};

using Index = JsonNodes::Index;

/// The keys down to a key below a node, as a path of the tree.
std::string PathOf(JsonNodes const& nodes, Index parent, std::string const& key) {
    std::string path;
    for (Index node = 0; node != parent;) {
        Index child = nodes.GetFirstChild(node);
        for (Index next = child; next != JsonNodes::NONE && next <= parent; next = nodes.GetNextSibling(next, node))
            child = next;
        path += std::string(nodes.GetKey(child)) + ".";
        node = child;
    }
    return path + key;
}

[[noreturn]] void RefusePath(JsonNodes const& nodes, Index parent, std::string const& key) {
    TARSEL_THROW_OBJECT(ptree_bad_path("No such node", ptree::path_type(PathOf(nodes, parent, key))));
}

/// The first child of that key.
Index GetChild(JsonNodes const& nodes, Index parent, char const* key) {
    for (Index child = nodes.GetFirstChild(parent); child != JsonNodes::NONE;
         child = nodes.GetNextSibling(child, parent))
        if (nodes.GetKey(child) == key) return child;
    RefusePath(nodes, parent, key);
}

/// A number in decimal digits, whatever the global locale says.
template <class Number>
Number GetNumber(JsonNodes const& nodes, Index parent, char const* key) {
    std::string_view const text = nodes.GetText(GetChild(nodes, parent, key));
    Number number = 0;
    auto const result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size())
        TARSEL_THROW_OBJECT(ptree_bad_data(std::string("conversion of data to type \"") + typeid(Number).name() +
                                               "\" failed (" + PathOf(nodes, parent, key) + ")",
                                           std::string(text)));
    return number;
}

std::string GetString(JsonNodes const& nodes, Index parent, char const* key) {
    return std::string(nodes.GetText(GetChild(nodes, parent, key)));
}

/// The children whose keys are "0", "1", "2"..., found by number.
class NumberedChildren {
  public:
    NumberedChildren(JsonNodes const& nodes, Index parent) : nodes(nodes), parent(parent) {
        std::size_t count = 0;
        for (Index child = nodes.GetFirstChild(parent); child != JsonNodes::NONE;
             child = nodes.GetNextSibling(child, parent))
            ++count;
        // A number beyond that stands behind a gap.
        places.assign(count, JsonNodes::NONE);
        for (Index child = nodes.GetFirstChild(parent); child != JsonNodes::NONE;
             child = nodes.GetNextSibling(child, parent))
            Enter(nodes.GetKey(child), child);
    }

    Index Get(unsigned number) const {
        if (number >= places.size() || places[number] == JsonNodes::NONE)
            RefusePath(nodes, parent, std::to_string(number));
        return places[number];
    }

  private:
    void Enter(std::string_view key, Index child) {
        std::size_t number = 0;
        auto const result = std::from_chars(key.data(), key.data() + key.size(), number);
        bool const isNumber = result.ec == std::errc() && result.ptr == key.data() + key.size();
        if (!isNumber || number >= places.size() || (key[0] == '0' && key.size() > 1)) return;
        if (places[number] == JsonNodes::NONE) places[number] = child;
    }

    JsonNodes const& nodes;
    Index const parent;
    std::vector<Index> places;
};

/// Reads a whole file. Throws `json_parser_error`.
void ReadNodes(std::string const& fileName, JsonNodes& nodes) {
    try {
        RecordSource source(fileName);
        Json::detail::encoding<char> encoding;
        Json::detail::read_json_internal(std::istreambuf_iterator<char>(&source), std::istreambuf_iterator<char>(),
                                         encoding, nodes, fileName);
    } catch (Core::IOException const& failure) {
        TARSEL_THROW_OBJECT(json_parser_error(failure.what(), fileName, 0));
    }
}

FilterCRCInfo ReadFilter(JsonNodes const& nodes, Index node) {
    FilterCRCInfo filter(GetNumber<int64>(nodes, node, "GraphNodeId"));
    unsigned const count = GetNumber<unsigned>(nodes, node, "PacketCRCInfoCount");
    NumberedChildren const packets(nodes, GetChild(nodes, node, "PacketCRC"));
    for (unsigned i = 0; i < count; ++i) {
        Index const packet = packets.Get(i);
        int64 const time = GetNumber<int64>(nodes, packet, "PTS");
        filter.AddPacketCRCInfo(time, GetString(nodes, packet, "MD5"));
    }
    return filter;
}

}  // namespace

void GraphCRCData::LoadFromFile(ioPath const& fileName) {
    // The name may be one of this object's own.
    std::string const name = fileName.utf8string();
    Clear();
    JsonNodes nodes(name);
    ReadNodes(name, nodes);
    Index const info = GetChild(nodes, 0, "GraphCRCInfo");
    packetCount = GetNumber<unsigned>(nodes, info, "PacketCount");
    sourceGraphFileName = GetString(nodes, info, "SourceGraphFileName");
    sourceMediaFileName = GetString(nodes, info, "SourceMediaFileName");
    unsigned const filterCount = GetNumber<unsigned>(nodes, info, "FilterCount");
    NumberedChildren const children(nodes, GetChild(nodes, info, "Filters"));
    for (unsigned i = 0; i < filterCount; ++i) {
        FilterCRCInfo filter = ReadFilter(nodes, children.Get(i));
        int64 const id = filter.GetGraphNodeId();
        // Meant: an id that a file tells twice stays with its first packets.
        filters.try_emplace(id, std::move(filter));
    }
}

}  // namespace Tarsel::Proc
