#pragma once

#include <boost/assert/source_location.hpp>
#include <boost/exception/exception.hpp>
#include <boost/exception/get_error_info.hpp>
#include <boost/exception/info.hpp>
#include <boost/throw_exception.hpp>
#include <exception>
#include <string>
#include <type_traits>

#include "contracts/Core/Export.h"

namespace Tarsel {

/// The human-readable message of a failure.
using TagDescription = boost::error_info<struct TagDescriptionId, std::string>;
/// What `GetCallStack` gave at the throw site.
using TagCallStack = boost::error_info<struct TagCallStackId, std::string>;

/// One line per frame of the calling thread's stack, innermost first.
TARSEL_CONTRACTS_EXPORT std::string GetCallStack();

/// Root of the failure family: parsers, sample algorithms, misuse of the read protocol. `what()` is the description.
class TARSEL_CONTRACTS_EXPORT Exception : public virtual std::exception, public virtual boost::exception {
  public:
    Exception();
    Exception(Exception const&);
    Exception& operator=(Exception const&);
    ~Exception() noexcept override;
    char const* what() const noexcept override;
};

namespace Core {

/// Root of the foundation layer's failures.
class TARSEL_CONTRACTS_EXPORT CoreException : public virtual Exception {
  public:
    ~CoreException() noexcept override;
};

/// A file or stream could not be read or written.
class TARSEL_CONTRACTS_EXPORT IOException : public virtual CoreException {
  public:
    ~IOException() noexcept override;
};

/// A computing resource failed.
class TARSEL_CONTRACTS_EXPORT ComputingResourceException : public virtual CoreException {
  public:
    ~ComputingResourceException() noexcept override;
};

/// No computing resource is free at present; the same call may succeed later.
class TARSEL_CONTRACTS_EXPORT NotEnoughResource : public virtual ComputingResourceException {
  public:
    ~NotEnoughResource() noexcept override;
};

}  // namespace Core

namespace Proc {

/// Root of the processing layer's failures.
class TARSEL_CONTRACTS_EXPORT ProcException : public virtual Exception {
  public:
    ~ProcException() noexcept override;
};

/// A filter refuses: bad settings, bad sources, not implemented.
class TARSEL_CONTRACTS_EXPORT FilterException : public virtual ProcException {
  public:
    ~FilterException() noexcept override;
};

/// An algorithm object refuses its settings.
class TARSEL_CONTRACTS_EXPORT AlgorithmException : public virtual FilterException {
  public:
    ~AlgorithmException() noexcept override;
};

/// There is no usable implementation of an effect.
class TARSEL_CONTRACTS_EXPORT EffectException : public virtual ProcException {
  public:
    ~EffectException() noexcept override;
};

/// Effects can't do what a filter asks of them. It is both: who expects a filter's refusal catches it, and so does who
/// expects a failure of effects.
class TARSEL_CONTRACTS_EXPORT FilterEffectException : public virtual FilterException, public virtual EffectException {
  public:
    ~FilterEffectException() noexcept override;
};

/// An encoder cannot be made or has failed.
class TARSEL_CONTRACTS_EXPORT EncoderException : public virtual ProcException {
  public:
    ~EncoderException() noexcept override;
};

/// A codec factory knows no codec that fits.
class TARSEL_CONTRACTS_EXPORT CodecFactoryException : public virtual ProcException {
  public:
    ~CodecFactoryException() noexcept override;
};

}  // namespace Proc

namespace Details {

/// The one place where failures start. For a class of the family: default construction, description, call stack. For a
/// standard class: its own message, and the call stack. Both carry file, line and the short function name.
template <class E>
[[noreturn]] void ThrowAt(std::string const& message, boost::source_location const& where) {
    if constexpr (std::is_base_of_v<Exception, E>) {
        E failure;
        failure << TagDescription(message) << TagCallStack(GetCallStack());
        boost::throw_exception(failure, where);
    } else {
        boost::throw_exception(boost::enable_error_info(E(message)) << TagCallStack(GetCallStack()), where);
    }
}

/// The same for an object of a class that isn't of the family and takes more than a message.
template <class E>
[[noreturn]] void ThrowObjectAt(E const& failure, boost::source_location const& where) {
    boost::throw_exception(boost::enable_error_info(failure) << TagCallStack(GetCallStack()), where);
}

}  // namespace Details
}  // namespace Tarsel

/// Throws `Class` with `message`, the call stack and the location of this line.
#define TARSEL_THROW(Class, message) \
    ::Tarsel::Details::ThrowAt<Class>((message), ::boost::source_location(__FILE__, __LINE__, __func__))

/// Throws `failure`, an object of a class of somebody else, with the call stack and the location of this line.
#define TARSEL_THROW_OBJECT(failure) \
    ::Tarsel::Details::ThrowObjectAt((failure), ::boost::source_location(__FILE__, __LINE__, __func__))
