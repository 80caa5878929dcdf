#pragma once

#include <string>

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How long a picture is shown at most. In the library a settings class stands in `contracts/Proc`, and is marked
/// `TARSEL_CONTRACTS_EXPORT`.
class SettingsFilterSkeleton : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterSkeleton";

    SettingsFilterSkeleton() = default;
    explicit SettingsFilterSkeleton(int64 limit) : limit(limit) {}
    std::string const& GetClassId() const override;

    /// Microseconds.
    int64 GetLimit() const { return limit; }
    void SetLimit(int64 value) { limit = value; }

    bool operator==(SettingsFilterSkeleton const& other) const { return limit == other.limit; }

  private:
    int64 limit = MAX_DURATION;
};

/// A property named with the `CLASS_ID`; its child "Limit" holds the value.
Core::Property Settings2Property(SettingsFilterSkeleton const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object was
/// initialized with incorrect class (" and the name.
SettingsFilterSkeleton Property2SettingsFilterSkeleton(Core::Property const& property);

/// Shows no picture for longer than a limit.
///
/// Goes in: one stream. Comes out: its pictures, the same objects where they are short enough. Seek and end: the
/// source's, so that reading behind a seek equals reading straight through.
/// Threads: one consumer; `Initialize` and `GetStatistic` from any thread.
class FilterSkeleton final : public StreamImpl<IStreamVideo, IStreamVideoEx> {
  public:
    /// Throws `std::invalid_argument` for a null source.
    explicit FilterSkeleton(iptr<IStreamVideo> source);
    ~FilterSkeleton() override;

    [[noreturn]] void Initialize(Core::Property const& property) override;
    /// Throws `FilterException` "Wrong settings!" for a limit that isn't positive.
    void Initialize(Settings const& newSettings) override;
    Core::Property GetSettings() override;
    Core::Property GetStatistic() override;
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

  private:
    /// Guards the members below; never held while the source is called.
    mutable Core::Mutex settingsLock;
    SettingsFilterSkeleton settings TARSEL_GUARDED_BY(settingsLock);
    int64 processingTime TARSEL_GUARDED_BY(settingsLock) = 0;
    unsigned itemsRead TARSEL_GUARDED_BY(settingsLock) = 0;
};

/// The row of the filter. In the library it is one statement in `FilterRegistrator.cpp`.
void RegisterFilterSkeleton(IFilterFactoryRegistrator& registrator);

}  // namespace Tarsel::Proc
