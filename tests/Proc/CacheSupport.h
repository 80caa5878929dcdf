#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/FilterCache.h"
#include "Proc/Filters/Filters/FilterCacheController.h"
#include "tests/support/Builders.h"
#include "tests/support/LogGates.h"
#include "tests/support/LogLines.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

/// A scripted source that knows which of the items that it gave are still somewhere.
template <class T>
class KeptStream : public ScriptedStream<T> {
  public:
    using typename ScriptedStream<T>::Item;
    using typename ScriptedStream<T>::Step;

    explicit KeptStream(std::vector<Step> steps) : ScriptedStream<T>(std::move(steps)) {}
    ~KeptStream() override = default;

    Item Read() override {
        Item item = ScriptedStream<T>::Read();
        if (item) given.push_back(item);
        return item;
    }
    /// The serials of the items that others hold.
    std::vector<std::size_t> GetAlive() const {
        std::vector<std::size_t> serials;
        for (std::size_t i = 0; i < given.size(); ++i)
            if (given[i]->GetRefCountImpl() > 1) serials.push_back(i);
        return serials;
    }
    std::size_t GetSerial(void const* item) const {
        for (std::size_t i = given.size(); i-- > 0;)
            if (given[i].get() == item) return i;
        return static_cast<std::size_t>(-1);
    }

  private:
    std::vector<Item> given;
};

using KeptVideo = KeptStream<Proc::IStreamVideo>;

/// A seek as hosts make it: all are asked, then all go, then all finish. Caches that stand at the position of a failed
/// seek refuse until all have been asked; where the window has no item for the position, `SeekCaches` helps.
inline void SeekCached(Proc::IFilterCacheController& controller, std::vector<Proc::IStream*> const& streams,
                       int64 position) {
    std::vector<Proc::IStream*> refused;
    for (Proc::IStream* stream : streams) {
        try {
            stream->RequestSeek(position, nullptr);
        } catch (std::logic_error const&) {
            refused.push_back(stream);
        }
    }
    for (Proc::IStream* stream : refused) stream->RequestSeek(position, nullptr);
    for (Proc::IStream* stream : streams) {
        try {
            stream->DoSeek();
        } catch (std::logic_error const& failure) {
            if (std::string(failure.what()) != "buffer overrun") throw;
            controller.SeekCaches(position);
        }
    }
    for (Proc::IStream* stream : streams) stream->FinishSeek();
}

/// Runs `make`, which makes `count` caches and seeks them, and waits until that has ended their threads. Nothing else
/// may have a thread meanwhile.
template <class Make>
void WithEndedThreads(int count, Make const& make) {
    int const before = std::exchange(FLAGS_minloglevel, google::GLOG_INFO);
    {
        LogLines const lines(30);
        LogGates gates;
        gates.At("BT Sleeping until asked for the data.");
        make();
        gates.Ends().AwaitArrivals(count);
    }
    FLAGS_minloglevel = before;
}

/// A failure of each class that a source may raise.
struct NamedFailure {
    std::string name;
    std::exception_ptr failure;
};
inline std::vector<NamedFailure> EveryFailure() {
    return {
        {"Exception", Failure<Exception>("broken")},
        {"ProcException", Failure<Proc::ProcException>("broken")},
        {"FilterException", Failure<Proc::FilterException>("broken")},
        {"AlgorithmException", Failure<Proc::AlgorithmException>("broken")},
        {"EffectException", Failure<Proc::EffectException>("broken")},
        {"EncoderException", Failure<Proc::EncoderException>("broken")},
        {"CodecFactoryException", Failure<Proc::CodecFactoryException>("broken")},
        {"CoreException", Failure<Core::CoreException>("broken")},
        {"IOException", Failure<Core::IOException>("broken")},
        {"ComputingResourceException", Failure<Core::ComputingResourceException>("broken")},
        {"NotEnoughResource", Failure<Core::NotEnoughResource>("broken")},
        {"logic_error", Failure<std::logic_error>("broken")},
        {"invalid_argument", Failure<std::invalid_argument>("broken")},
        {"runtime_error", Failure<std::runtime_error>("broken")},
        {"bad_alloc", std::make_exception_ptr(std::bad_alloc())},
        {"a number", std::make_exception_ptr(7)},
    };
}
/// What a log says of the failure.
inline std::string TextOf(std::exception_ptr const& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (std::exception const& known) {
        return known.what();
    } catch (...) {
        return "type: int";
    }
}

/// The very failure that `call` raises, or none.
template <class Call>
std::exception_ptr RaisedBy(Call&& call) {
    try {
        call();
    } catch (...) {
        return std::current_exception();
    }
    return nullptr;
}

}  // namespace Tarsel::Test
