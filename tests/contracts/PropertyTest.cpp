#include "contracts/Core/Property.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <locale>

#include "contracts/Core/Exception.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Core {
namespace {

using Test::MessageOf;
using ::testing::HasSubstr;

/// Writes a comma for a decimal point and groups digits, as many languages do.
class CommaNumbers : public std::numpunct<char> {
  protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(Property, NewOneHasNameAndNothingElse) {
    Property const property("Settings");
    EXPECT_EQ(property.Name(), "Settings");
    EXPECT_FALSE(property.HasScalar());
    EXPECT_TRUE(property.Children().empty());
    EXPECT_EQ(Property().Name(), "");
}

TEST(Property, NameIsNotTakenFromAStringByItself) {
    static_assert(!std::is_convertible_v<std::string, Property>);
    static_assert(!std::is_convertible_v<char const*, Property>);
}

TEST(Property, TypedValuesAreReadBack) {
    EXPECT_EQ(Property("p").SetValue("text").GetString(), "text");
    EXPECT_EQ(Property("p").SetValue(std::string("text")).GetString(), "text");
    EXPECT_EQ(Property("p").SetValue(-7).GetInt64(), -7);
    EXPECT_EQ(Property("p").SetValue(NO_VALUE).GetInt64(), NO_VALUE);
    int64 const largest = std::numeric_limits<int64>::max();
    EXPECT_EQ(Property("p").SetValue(largest).GetInt64(), largest);
    EXPECT_EQ(Property("p").SetValue(0.1).GetDouble(), 0.1);
    EXPECT_EQ(Property("p").SetValue(1e300).GetDouble(), 1e300);
    EXPECT_EQ(Property("p").SetValue(Ratio(30000, 1001)).GetRatio(), Ratio(30000, 1001));
    EXPECT_EQ(Property("p").SetValue(Ratio(30000, 1001)).GetString(), "30000/1001");
    EXPECT_TRUE(Property("p").SetValue(true).GetBool());
    EXPECT_FALSE(Property("p").SetValue(false).GetBool());
    EXPECT_TRUE(Property("p").SetValue("true").GetBool());
    EXPECT_FALSE(Property("p").SetValue("false").GetBool());
    EXPECT_EQ(Property("p").SetValue("25").GetRatio(), Ratio(25, 1));
    EXPECT_EQ(Property("p").SetValue(static_cast<char const*>(nullptr)).GetString(), "");
}

TEST(Property, ReadOfAMissingValueNamesTheNode) {
    Property const property("Rate");
    EXPECT_EQ(MessageOf<CoreException>([&] { property.GetString(); }), "Property \"Rate\" has no value");
    EXPECT_EQ(MessageOf<CoreException>([&] { property.GetInt64(); }), "Property \"Rate\" has no value");
    EXPECT_EQ(MessageOf<CoreException>([&] { property.GetBool(); }), "Property \"Rate\" has no value");
    EXPECT_EQ(MessageOf<CoreException>([&] { property.GetDouble(); }), "Property \"Rate\" has no value");
    EXPECT_EQ(MessageOf<CoreException>([&] { property.GetRatio(); }), "Property \"Rate\" has no value");
}

TEST(Property, TextThatIsNotWhollyOfTheTypeIsRefused) {
    for (char const* text : {"", " 1", "1 ", "1.5", "0x10", "one", "9223372036854775808", "+1"})
        EXPECT_THROW(Property("p").SetValue(text).GetInt64(), CoreException) << '"' << text << '"';
    for (char const* text : {"", "yes", "TRUE", "2", "-1", "true "})
        EXPECT_THROW(Property("p").SetValue(text).GetBool(), CoreException) << '"' << text << '"';
    for (char const* text : {"", "1,5", "1.5x", "1e999"})
        EXPECT_THROW(Property("p").SetValue(text).GetDouble(), CoreException) << '"' << text << '"';
    for (char const* text :
         {"", "/", "1/", "/1", "1/0", "1/2/3", "1.5", "a/b", "-9223372036854775808/1", "1/-9223372036854775808"})
        EXPECT_THROW(Property("p").SetValue(text).GetRatio(), CoreException) << '"' << text << '"';
    EXPECT_EQ(MessageOf<CoreException>([] { Property("Rate").SetValue("x").GetInt64(); }),
              "Property \"Rate\" is not a 64-bit integer: \"x\"");
    EXPECT_EQ(MessageOf<CoreException>([] { Property("Rate").SetValue("x").GetBool(); }),
              "Property \"Rate\" is not a boolean: \"x\"");
    EXPECT_EQ(MessageOf<CoreException>([] { Property("Rate").SetValue("x").GetDouble(); }),
              "Property \"Rate\" is not a number: \"x\"");
    EXPECT_EQ(MessageOf<CoreException>([] { Property("Rate").SetValue("x").GetRatio(); }),
              "Property \"Rate\" is not a ratio: \"x\"");
}

TEST(Property, NumbersAreWrittenAndReadInTheClassicLocaleWhateverTheProgramsIs) {
    std::locale const before = std::locale::global(std::locale(std::locale(), new CommaNumbers));
    Property property("p");
    property.SetChild("double", 1234.5).SetChild("int", 1234567).SetChild("int64", int64(7654321000));
    property.SetChild("ratio", Ratio(30000, 1001));
    EXPECT_EQ(property["double"].GetString(), "1234.5");
    EXPECT_EQ(property["double"].GetDouble(), 1234.5);
    EXPECT_EQ(property["int"].GetString(), "1234567");
    EXPECT_EQ(property["int64"].GetString(), "7654321000");
    EXPECT_EQ(property["int64"].GetInt64(), 7654321000);
    EXPECT_EQ(property["ratio"].GetString(), "30000/1001");
    EXPECT_EQ(property["ratio"].GetRatio(), Ratio(30000, 1001));
    std::locale::global(before);
}

TEST(Property, SetChildEntersEachKindOfValueUnderItsKey) {
    Property property("p");
    property.SetChild("property", Property("other name").SetValue("v"))
        .SetChild("string", std::string("s"))
        .SetChild("chars", "c")
        .SetChild("int", 1)
        .SetChild("int64", int64(2))
        .SetChild("double", 0.5)
        .SetChild("ratio", Ratio(1, 3));
    ASSERT_EQ(property.Children().size(), 7U);
    EXPECT_EQ(property["property"].GetString(), "v");
    EXPECT_EQ(property["property"].Name(), "property");
    EXPECT_EQ(property["string"].GetString(), "s");
    EXPECT_EQ(property["chars"].GetString(), "c");
    EXPECT_EQ(property["int"].GetInt64(), 1);
    EXPECT_EQ(property["int64"].GetInt64(), 2);
    EXPECT_EQ(property["double"].GetDouble(), 0.5);
    EXPECT_EQ(property["ratio"].GetRatio(), Ratio(1, 3));
}

TEST(Property, SetChildReplacesTheOneOfThatNameInItsPlace) {
    Property property("p");
    property.SetChild("a", 1).SetChild("b", 2).SetChild("a", 3);
    ASSERT_EQ(property.Children().size(), 2U);
    EXPECT_EQ(property.Children()[0].Name(), "a");
    EXPECT_EQ(property["a"].GetInt64(), 3);
    EXPECT_EQ(property["b"].GetInt64(), 2);
}

TEST(Property, SetChildTakesItselfAsAValue) {
    Property property("p");
    property.SetChild("a", 1);
    property.SetChild("self", property);
    EXPECT_EQ(property["self"]["a"].GetInt64(), 1);
    EXPECT_FALSE(property["self"].ChildExists("self"));
}

TEST(Property, AddKeepsTheChildsNameAndEntersNoKey) {
    Property property("p");
    Property const child = Property("child").SetValue(1);
    property.Add(child).Add(Property("child").SetValue(2));
    ASSERT_EQ(property.Children().size(), 2U);
    EXPECT_EQ(property.Children()[0].Name(), "child");
    EXPECT_EQ(property.Children()[1].GetInt64(), 2);
    EXPECT_FALSE(property.Children()[0].IsKeyed());
    EXPECT_FALSE(property.ChildExists("child"));
    property.SetChild("child", 3);
    EXPECT_EQ(property.Children().size(), 3U);
    EXPECT_EQ(property["child"].GetInt64(), 3);
}

TEST(Property, AddTakesAKeyedChildAsOneWithoutAKey) {
    Property source("s");
    source.SetChild("key", 1);
    Property property("p");
    property.Add(source["key"]);
    EXPECT_FALSE(property.ChildExists("key"));
    EXPECT_EQ(property.Children()[0].Name(), "key");
}

TEST(Property, ConstAccessToAMissingChildNamesIt) {
    Property const property("Settings");
    EXPECT_FALSE(property.ChildExists("Rate"));
    EXPECT_EQ(MessageOf<CoreException>([&] { property["Rate"]; }), "Property \"Settings\" has no child \"Rate\"");
}

TEST(Property, OtherAccessCreatesTheChild) {
    Property property("Settings");
    property["Rate"].SetValue(25);
    EXPECT_TRUE(property.ChildExists("Rate"));
    EXPECT_EQ(property["Rate"].GetInt64(), 25);
    EXPECT_EQ(property["Rate"].Name(), "Rate");
    EXPECT_FALSE(property["Empty"].HasScalar());
}

TEST(Property, CopiesAreApartAndMovesTakeEverything) {
    Property original("p");
    original.SetChild("a", 1);
    Property copy(original);
    copy["a"].SetValue(2);
    EXPECT_EQ(original["a"].GetInt64(), 1);
    Property const moved(std::move(copy));
    EXPECT_EQ(moved["a"].GetInt64(), 2);
    EXPECT_EQ(moved.Name(), "p");
}

TEST(Property, EqualityLooksAtNamesValuesOrderAndKeys) {
    auto const make = [] { return Property("p").SetChild("a", 1).Add(Property("b")); };
    EXPECT_EQ(make(), make());
    EXPECT_FALSE(make() == Property(make()).SetValue("x"));
    EXPECT_FALSE(Property("p") == Property("q"));
    EXPECT_FALSE(Property("p").Add(Property("b")).SetChild("a", 1) == make());
    EXPECT_FALSE(Property("p").Add(Property("a")) == Property("p").SetChild("a", Property("a")));
    EXPECT_FALSE(Property("p").Add(Property("a")) == Property("p"));
}

TEST(Property, EqualityDoesNotAskWhereTheNodesStand) {
    Property parent("p");
    parent.SetChild("a", 1);
    EXPECT_EQ(parent["a"], Property("a").SetValue(1));
}

TEST(Property, StatisticsNodeHasNameTimeAndCount) {
    Property const node = MakeStatistics("Tarsel::Proc::FilterResize::GetStatistic", 12, 4000000000U);
    EXPECT_EQ(node.Name(), "Tarsel::Proc::FilterResize::GetStatistic");
    EXPECT_EQ(node["Time"].GetInt64(), 12);
    EXPECT_EQ(node["Count"].GetInt64(), 4000000000);
    EXPECT_TRUE(GetRootItem().Children().empty());
}

}  // namespace
}  // namespace Tarsel::Core
