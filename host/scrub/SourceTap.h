#pragma once

#include <atomic>
#include <new>
#include <string>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// Stands right above a decoder: counts how often it is sought, and puts the stream's name in front of its failures.
/// An item that comes through stays the same object; to visitors and in statistics it isn't there. Seek, end and
/// threads: the decoder's own.
template <class T>
class SourceTap final : public ForwardingStream<T> {
  public:
    using typename ForwardingStream<T>::DataType;

    /// `path` and `name` are the file and what the stream is called in messages. `seeks` outlives the tap.
    SourceTap(iptr<T> source, std::string path, std::string name, std::atomic<uint64>& seeks)
        : ForwardingStream<T>(std::move(source)), path(std::move(path)), name(std::move(name)), seeks(seeks) {}

    int64 GetPosition() override {
        return Named([&] { return stream->GetPosition(); });
    }
    iptr<DataType> Read() override {
        return Named([&] { return stream->Read(); });
    }
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override {
        Named([&] { stream->RequestSeek(position, std::move(seekContext)); });
    }
    void DoSeek() override {
        ++seeks;
        Named([&] { stream->DoSeek(); });
    }
    bool FinishSeek() override {
        return Named([&] { return stream->FinishSeek(); });
    }
    void ReleaseInternalData() override {
        Named([&] { stream->ReleaseInternalData(); });
    }

  private:
    template <class Call>
    auto Named(Call call) const {
        try {
            return call();
        } catch (std::bad_alloc const&) {
            throw;
        } catch (std::exception const& failure) {
            std::string const text = failure.what();
            if (text.starts_with(path)) throw;
            TARSEL_THROW(Proc::ProcException, path + ": " + name + ": " + text);
        }
    }

    using ForwardingStream<T>::stream;

    std::string const path;
    std::string const name;
    std::atomic<uint64>& seeks;
};

}  // namespace Tarsel::Host
