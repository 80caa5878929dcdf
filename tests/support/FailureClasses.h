#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "contracts/Core/Exception.h"

namespace Tarsel::Test {

/// What a stream may fail with: each class of the family, classes of the standard, no memory, and what is no class.
using FailureClasses =
    ::testing::Types<Exception, Core::CoreException, Core::IOException, Core::ComputingResourceException,
                     Core::NotEnoughResource, Proc::ProcException, Proc::FilterException, Proc::AlgorithmException,
                     Proc::EffectException, Proc::EncoderException, Proc::CodecFactoryException, std::logic_error,
                     std::invalid_argument, std::runtime_error, std::bad_alloc, int>;

/// A failure of any of these classes, with the text "broken" where it has one.
template <class E>
std::exception_ptr MakeFailure() {
    if constexpr (std::is_same_v<E, std::bad_alloc> || std::is_same_v<E, int>) {
        return std::make_exception_ptr(E());
    } else {
        try {
            TARSEL_THROW(E, "broken");
        } catch (...) {
            return std::current_exception();
        }
    }
}

/// The exact class of a failure, and its text.
inline std::string Describe(std::exception_ptr const& failure) {
    if (!failure) return "[nothing was thrown]";
    try {
        std::rethrow_exception(failure);
    } catch (std::exception const& caught) {
        return std::string(typeid(caught).name()) + ": " + caught.what();
    } catch (int) {
        return "a number";
    } catch (...) {
        return "[of another kind]";
    }
}

/// What `call` fails with, described.
template <class Call>
std::string FailureOf(Call&& call) {
    try {
        call();
    } catch (...) {
        return Describe(std::current_exception());
    }
    return Describe(nullptr);
}

}  // namespace Tarsel::Test
