#pragma once

#include <gtest/gtest.h>

#include <initializer_list>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Test {

/// What holds for every settings class: the way through a property and back, what a property without children gives,
/// and that a property of another name is refused.
template <class S, class Convert>
void ExpectRoundTrip(std::initializer_list<S> examples, Convert back) {
    EXPECT_EQ(S().GetClassId(), S::CLASS_ID);
    for (S const& settings : examples) {
        Core::Property const property = Settings2Property(settings);
        EXPECT_EQ(property.Name(), S::CLASS_ID);
        EXPECT_EQ(back(property), settings);
        EXPECT_FALSE(settings == S()) << "an example that shows nothing";
    }
    EXPECT_EQ(back(Settings2Property(S())), S());
    EXPECT_EQ(back(Core::Property(S::CLASS_ID)), S());
    EXPECT_EQ(MessageOf<Proc::FilterException>([&] { back(Core::Property("Other")); }),
              "Object was initialized with incorrect class (Other)!");
}

/// A property with one child.
template <class Value>
Core::Property With(char const* classId, char const* key, Value const& value) {
    return Core::Property(classId).SetChild(key, value);
}

}  // namespace Tarsel::Test
