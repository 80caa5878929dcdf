#pragma once

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::Details {

/// The format of what comes out behind effects: a copy of the source's, handed to `adapt`, which lets the effects
/// change it. Throws `FilterException` "Source format codec must be present" for a source without one.
template <class Format, class Adapt>
iptr<Format const> AdaptedFormat(iptr<Format const> const& source, Adapt&& adapt) {
    if (!source) TARSEL_THROW(FilterException, "Source format codec must be present");
    iptr<Conf::IFormatCodec> format = source->CloneBase();
    adapt(format);
    iptr<Format const> result(dynamic_cast<Format const*>(format.get()));
    if (!result) TARSEL_THROW(FilterEffectException, "An effect changes the format into one of another kind");
    return result;
}

}  // namespace Tarsel::Proc::Details
