#pragma once

#include <glog/logging.h>

#include <string>
#include <utility>

#include "Proc/Filters/Filters/FilterDurationTrimmerAux.h"
#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/SettingsFilterDurationTrimmer.h"

namespace Tarsel::Proc::Details {

/// What the duration trimmers have in common: settings, statistics, the name, the search for items that have a place in
/// time. `T` is the source's interface, `TEx` the one offered. A trimmer is as long as its settings say.
template <class T, class TEx>
class FilterDurationTrimmerBase : public StreamImpl<T, TEx> {
  public:
    using typename StreamImpl<T, TEx>::DataType;
    using FormatType = typename T::FormatType;

    int64 GetDuration() const override {
        Core::MutexLock const lock(settingsLock);
        return settings.GetDuration();
    }
    /// Deprecated: logs that it was used and hands the property to the source.
    void Initialize(Core::Property const& property) override {
        VLOG(21) << "Deprecated method " << className << "::Initialize is used";
        this->parentStream->Initialize(property);
    }
    /// Settings of another class raise `std::bad_cast`. They hold from the next read on.
    void Initialize(Settings const& newSettings) override {
        auto const& own = dynamic_cast<SettingsFilterDurationTrimmer const&>(newSettings);
        Core::MutexLock const lock(settingsLock);
        settings = own;
    }
    [[noreturn]] Core::Property GetSettings() override { TARSEL_THROW(FilterException, "Method not implemented"); }
    Core::Property GetStatistic() override {
        Core::Property result = this->parentStream->GetStatistic();
        Core::MutexLock const lock(settingsLock);
        return result.Add(Core::MakeStatistics(std::string("Tarsel::Proc::") + className + "::GetStatistic",
                                               processingTime, itemsGiven));
    }
    iptr<FormatType const> GetFormatCodec() const override { return this->parentStream->GetFormatCodec(); }

  protected:
    FilterDurationTrimmerBase(iptr<T> source, char const* className)
        : StreamImpl<T, TEx>(std::move(source), false), className(className) {}

    void AcceptInternal(IStreamVisitor& visitor) override {
        Visitors::Visit(visitor, className, Visitors::FRAME_TYPE_FILTER, nullptr);
    }
    void DoSeekInternal() override { this->parentStream->DoSeek(); }

    /// The source's next item that has a time and a duration; null at its end.
    iptr<DataType> ReadPlaced() {
        iptr<DataType> item;
        do item = this->parentStream->Read();
        while (item && !HasPlace(*item));
        return item;
    }
    SettingsFilterDurationTrimmer CopySettings() const {
        Core::MutexLock const lock(settingsLock);
        return settings;
    }
    void CountItem() {
        Core::MutexLock const lock(settingsLock);
        ++itemsGiven;
    }

  private:
    char const* const className;

    /// Guards the members below; never held while the source is called.
    mutable Core::Mutex settingsLock;
    SettingsFilterDurationTrimmer settings TARSEL_GUARDED_BY(settingsLock);
    int64 processingTime TARSEL_GUARDED_BY(settingsLock) = 0;
    unsigned itemsGiven TARSEL_GUARDED_BY(settingsLock) = 0;
};

}  // namespace Tarsel::Proc::Details
