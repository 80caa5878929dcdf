#include "host/graph/GraphSchema.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace Tarsel::Host {
namespace {

std::string const ROOT = TARSEL_SOURCE_DIR;
constexpr char BEGIN[] = "<!-- The classes, made of the catalog. -->\n";
constexpr char END[] = "<!-- The end of the classes. -->\n";

std::string ReadText(std::string const& path) {
    std::ifstream stream(path, std::ios::binary);
    EXPECT_TRUE(stream) << path;
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

/// Whether the checked-in texts are to be written anew instead of compared.
bool IsUpdate() {
    return std::getenv("TARSEL_UPDATE_DOCS") != nullptr;
}

void Write(std::string const& path, std::string const& text) {
    std::ofstream(path, std::ios::binary) << text;
}

constexpr char HINT[] = "run the test program with TARSEL_UPDATE_DOCS=1 and --gtest_filter='GraphSchema.*'";

TEST(GraphSchema, IsTheOneThatIsCheckedIn) {
    std::string const path = ROOT + "/docs/graph.schema.json";
    if (IsUpdate()) Write(path, GraphSchema());
    EXPECT_EQ(ReadText(path), GraphSchema()) << HINT;
}

TEST(GraphSchema, TheClassesOfTheDocumentationAreThoseOfTheCatalog) {
    std::string const path = ROOT + "/docs/graph.md";
    std::string text = ReadText(path);
    std::size_t const begin = text.find(BEGIN);
    std::size_t const end = text.find(END);
    ASSERT_NE(begin, std::string::npos);
    ASSERT_NE(end, std::string::npos);
    std::size_t const first = begin + sizeof BEGIN - 1;
    std::string const expected = "\n" + GraphClassTable();
    if (IsUpdate()) {
        text.replace(first, end - first, expected);
        Write(path, text);
        text = ReadText(path);
    }
    EXPECT_EQ(text.substr(first, text.find(END) - first), expected) << HINT;
}

}  // namespace
}  // namespace Tarsel::Host
