#include "contracts/Core/Exception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/exception/diagnostic_information.hpp>
#include <boost/exception/exception.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Matchers.h"

namespace Tarsel {
namespace {

using ::testing::HasSubstr;

void ThrowFilterException() {
    TARSEL_THROW(Proc::FilterException, "bad settings");
}

template <class Thrown, class Caught>
bool CaughtAs() {
    try {
        TARSEL_THROW(Thrown, "text");
    } catch (Caught const&) {
        return true;
    } catch (...) {
        return false;
    }
}

TEST(Exception, FamilyIsCaughtByItsBases) {
    EXPECT_TRUE((CaughtAs<Exception, std::exception>()));
    EXPECT_TRUE((CaughtAs<Exception, boost::exception>()));
    EXPECT_TRUE((CaughtAs<Proc::ProcException, Exception>()));
    EXPECT_TRUE((CaughtAs<Proc::FilterException, Proc::ProcException>()));
    EXPECT_TRUE((CaughtAs<Proc::AlgorithmException, Proc::FilterException>()));
    EXPECT_TRUE((CaughtAs<Proc::AlgorithmException, Proc::ProcException>()));
    EXPECT_TRUE((CaughtAs<Proc::EffectException, Proc::ProcException>()));
    EXPECT_TRUE((CaughtAs<Proc::EncoderException, Exception>()));
    EXPECT_TRUE((CaughtAs<Proc::CodecFactoryException, Exception>()));
    EXPECT_TRUE((CaughtAs<Core::CoreException, Exception>()));
    EXPECT_TRUE((CaughtAs<Core::IOException, Core::CoreException>()));
    EXPECT_TRUE((CaughtAs<Core::ComputingResourceException, Core::CoreException>()));
    EXPECT_TRUE((CaughtAs<Core::NotEnoughResource, Core::ComputingResourceException>()));
}

TEST(Exception, FailureOfAFiltersEffectsIsCaughtAsEitherAndByEveryBase) {
    using Failure = Proc::FilterEffectException;
    EXPECT_TRUE((CaughtAs<Failure, Failure>()));
    EXPECT_TRUE((CaughtAs<Failure, boost::wrapexcept<Failure>>()));
    EXPECT_TRUE((CaughtAs<Failure, Proc::FilterException>()));
    EXPECT_TRUE((CaughtAs<Failure, Proc::EffectException>()));
    EXPECT_TRUE((CaughtAs<Failure, Proc::ProcException>()));
    EXPECT_TRUE((CaughtAs<Failure, Exception>()));
    EXPECT_TRUE((CaughtAs<Failure, std::exception>()));
    EXPECT_TRUE((CaughtAs<Failure, boost::exception>()));
    EXPECT_FALSE((CaughtAs<Failure, Proc::AlgorithmException>()));
    EXPECT_FALSE((CaughtAs<Proc::FilterException, Failure>()));
    EXPECT_FALSE((CaughtAs<Proc::EffectException, Failure>()));
}

/// What the failure behind the pointer says to those who expect it as `Caught`.
template <class Caught>
std::string RethrownAs(std::exception_ptr const& carried) {
    try {
        std::rethrow_exception(carried);
    } catch (Caught const& failure) {
        auto const* const text = boost::get_error_info<TagDescription>(failure);
        auto const* const stack = boost::get_error_info<TagCallStack>(failure);
        return (text ? *text : "no text") + (stack && !stack->empty() ? " with a stack" : " without a stack");
    } catch (...) {
        return "another class";
    }
}

TEST(Exception, PointerKeepsAFailureOfAFiltersEffectsAsEither) {
    std::exception_ptr carried;
    std::thread([&] {
        try {
            TARSEL_THROW(Proc::FilterEffectException, "no effect");
        } catch (Proc::EffectException const&) {
            carried = std::current_exception();
        }
    }).join();
    EXPECT_EQ(RethrownAs<Proc::FilterEffectException>(carried), "no effect with a stack");
    EXPECT_EQ(RethrownAs<Proc::FilterException>(carried), "no effect with a stack");
    EXPECT_EQ(RethrownAs<Proc::EffectException>(carried), "no effect with a stack");
    EXPECT_EQ(RethrownAs<Exception>(carried), "no effect with a stack");
    EXPECT_EQ(RethrownAs<boost::wrapexcept<Proc::FilterEffectException>>(carried), "no effect with a stack");
    EXPECT_EQ(RethrownAs<Proc::AlgorithmException>(carried), "another class");
}

TEST(Exception, SiblingsDoNotCatchEachOther) {
    EXPECT_FALSE((CaughtAs<Proc::EffectException, Proc::FilterException>()));
    EXPECT_FALSE((CaughtAs<Proc::FilterException, Proc::AlgorithmException>()));
    EXPECT_FALSE((CaughtAs<Proc::EncoderException, Proc::CodecFactoryException>()));
    EXPECT_FALSE((CaughtAs<Core::CoreException, Proc::ProcException>()));
    EXPECT_FALSE((CaughtAs<Exception, Proc::ProcException>()));
    EXPECT_FALSE((CaughtAs<std::logic_error, Exception>()));
}

TEST(Exception, CarriesDescriptionCallStackAndPlace) {
    try {
        ThrowFilterException();
        FAIL();
    } catch (Proc::FilterException const& failure) {
        auto const* const description = boost::get_error_info<TagDescription>(failure);
        ASSERT_NE(description, nullptr);
        EXPECT_EQ(*description, "bad settings");
        auto const* const stack = boost::get_error_info<TagCallStack>(failure);
        ASSERT_NE(stack, nullptr);
        EXPECT_FALSE(stack->empty());
        EXPECT_STREQ(failure.what(), "bad settings");
        EXPECT_STREQ(*boost::get_error_info<boost::throw_function>(failure), "ThrowFilterException");
        EXPECT_THAT(*boost::get_error_info<boost::throw_file>(failure), HasSubstr("ExceptionTest.cpp"));
        EXPECT_GT(*boost::get_error_info<boost::throw_line>(failure), 0);
        std::string const report = boost::diagnostic_information(failure);
        EXPECT_THAT(report, HasSubstr("bad settings"));
        EXPECT_THAT(report, HasSubstr("ThrowFilterException"));
        EXPECT_THAT(report, HasSubstr("FilterException"));
    }
}

TEST(Exception, FunctionNameOfAMemberFunctionIsTheShortOne) {
    struct Filter {
        void ReadInternal() { TARSEL_THROW(Exception, "text"); }
    };
    try {
        Filter().ReadInternal();
        FAIL();
    } catch (Exception const& failure) {
        EXPECT_STREQ(*boost::get_error_info<boost::throw_function>(failure), "ReadInternal");
    }
}

TEST(Exception, ThrownTypeIsWrapexceptOfTheClass) {
    EXPECT_THROW(ThrowFilterException(), boost::wrapexcept<Proc::FilterException>);
}

TEST(Exception, CopyKeepsBothValues) {
    try {
        ThrowFilterException();
        FAIL();
    } catch (Proc::FilterException const& failure) {
        Proc::FilterException const copy(failure);
        ASSERT_NE(boost::get_error_info<TagDescription>(copy), nullptr);
        EXPECT_EQ(*boost::get_error_info<TagDescription>(copy), "bad settings");
        ASSERT_NE(boost::get_error_info<TagCallStack>(copy), nullptr);
        EXPECT_EQ(*boost::get_error_info<TagCallStack>(copy), *boost::get_error_info<TagCallStack>(failure));
        Proc::FilterException assigned;
        assigned = failure;
        EXPECT_STREQ(assigned.what(), "bad settings");
    }
}

TEST(Exception, WithoutADescriptionWhatIsTheClassOfTheFamily) {
    EXPECT_STREQ(Exception().what(), "Tarsel::Exception");
}

TEST(Exception, PointerBetweenThreadsKeepsClassAndBothValues) {
    std::exception_ptr carried;
    std::string stackThere;
    std::thread([&] {
        try {
            TARSEL_THROW(Proc::AlgorithmException, "from the other thread");
        } catch (Exception const& failure) {
            stackThere = *boost::get_error_info<TagCallStack>(failure);
            carried = std::current_exception();
        }
    }).join();
    try {
        std::rethrow_exception(carried);
    } catch (Proc::AlgorithmException const& failure) {
        EXPECT_STREQ(failure.what(), "from the other thread");
        EXPECT_EQ(*boost::get_error_info<TagDescription>(failure), "from the other thread");
        EXPECT_EQ(*boost::get_error_info<TagCallStack>(failure), stackThere);
        return;
    }
    FAIL();
}

TEST(Exception, PlaceThatThrowsAgainTellsTheSameStack) {
    std::vector<std::string> stacks;
    for (int i = 0; i < 3; ++i) {
        try {
            ThrowFilterException();
        } catch (Proc::FilterException const& failure) {
            stacks.push_back(*boost::get_error_info<TagCallStack>(failure));
        }
    }
    ASSERT_EQ(stacks.size(), 3U);
    EXPECT_GE(std::count(stacks[0].begin(), stacks[0].end(), '\n'), 2);
    EXPECT_EQ(stacks[1], stacks[0]);
    EXPECT_EQ(stacks[2], stacks[0]);
}

TEST(Exception, StandardClassHasItsBareMessageAndStackAndPlace) {
    try {
        TARSEL_THROW(std::logic_error, "@todo");
    } catch (std::logic_error const& failure) {
        EXPECT_STREQ(failure.what(), "@todo");
        auto const* const stack = boost::get_error_info<TagCallStack>(failure);
        ASSERT_NE(stack, nullptr);
        EXPECT_FALSE(stack->empty());
        EXPECT_NE(boost::get_error_info<boost::throw_line>(failure), nullptr);
        EXPECT_EQ(boost::get_error_info<TagDescription>(failure), nullptr);
        return;
    }
    FAIL();
}

TEST(Exception, StandardClassesStayApart) {
    EXPECT_TRUE((CaughtAs<std::invalid_argument, std::logic_error>()));
    EXPECT_FALSE((CaughtAs<std::logic_error, std::invalid_argument>()));
    EXPECT_TRUE((CaughtAs<std::logic_error, boost::exception>()));
}

}  // namespace
}  // namespace Tarsel
