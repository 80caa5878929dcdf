#pragma once

#include <atomic>
#include <new>
#include <string>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Host {

/// Stands right above a decoder: counts how often it is sought, and puts the stream's name in front of its failures.
/// An item that comes through stays the same object; to visitors and in statistics it isn't there. Seek, end and
/// threads: the decoder's own.
template <class T>
class SourceTap final : public virtual T, public RefCounted {
  public:
    using DataType = typename T::DataType;

    /// `path` and `name` are the file and what the stream is called in messages. `seeks` outlives the tap.
    SourceTap(iptr<T> source, std::string path, std::string name, std::atomic<uint64>& seeks)
        : stream(std::move(source)), path(std::move(path)), name(std::move(name)), seeks(seeks) {}

    void Initialize(Core::Property const& property) override { stream->Initialize(property); }
    Core::Property GetSettings() override { return stream->GetSettings(); }
    int64 GetDuration() const override { return stream->GetDuration(); }
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
    Core::Property GetStatistic() override { return stream->GetStatistic(); }
    void SetEndOfStream() override { stream->SetEndOfStream(); }
    bool IsEndOfStream() override { return stream->IsEndOfStream(); }
    void ReleaseInternalData() override {
        Named([&] { stream->ReleaseInternalData(); });
    }
    void Accept(Proc::IStreamVisitor& visitor) override { stream->Accept(visitor); }
    iptr<typename T::FormatType const> GetFormatCodec() const override { return stream->GetFormatCodec(); }

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

    iptr<T> const stream;
    std::string const path;
    std::string const name;
    std::atomic<uint64>& seeks;
};

}  // namespace Tarsel::Host
