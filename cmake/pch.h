// The costly headers that nearly every source needs, compiled once per build. Nothing may depend on this file: each
// source includes what it uses, and a build with TARSEL_USE_PCH=OFF checks that. Boost.Thread and the property tree
// stay out: only a few sources need them, and macros given on some targets' command lines alone would make the shared
// header invalid.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <boost/exception/exception.hpp>
#include <boost/exception/get_error_info.hpp>
#include <boost/exception/info.hpp>
#include <boost/rational.hpp>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/throw_exception.hpp>
