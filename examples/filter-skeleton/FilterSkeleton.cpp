#include "examples/filter-skeleton/FilterSkeleton.h"

#include <utility>

#include "Proc/Filters/Filters/FilterRegistrator.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"

namespace Tarsel::Proc {

namespace {

constexpr char LIMIT_KEY[] = "Limit";

}  // namespace

// Defined here and not in the header: that gives the class one home, so that casts work across libraries.
std::string const& SettingsFilterSkeleton::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterSkeleton const& settings) {
    return Core::Property(SettingsFilterSkeleton::CLASS_ID).SetChild(LIMIT_KEY, settings.GetLimit());
}

SettingsFilterSkeleton Property2SettingsFilterSkeleton(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterSkeleton::CLASS_ID, property);
    SettingsFilterSkeleton settings;
    if (property.ChildExists(LIMIT_KEY)) settings.SetLimit(property[LIMIT_KEY].GetInt64());
    return settings;
}

// No background reading, as in all filters: the flag is for streams that overlap their work with the consumer's.
FilterSkeleton::FilterSkeleton(iptr<IStreamVideo> source) : StreamImpl(std::move(source), false) {}

FilterSkeleton::~FilterSkeleton() {
    // First of all: a reader thread would call `ReadInternal` of an object that is half gone.
    StopReaderThread();
}

void FilterSkeleton::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

void FilterSkeleton::Initialize(Settings const& newSettings) {
    // A cast of a reference: settings of another class throw `std::bad_cast`, and nothing has changed yet.
    auto const& own = dynamic_cast<SettingsFilterSkeleton const&>(newSettings);
    if (own.GetLimit() <= 0) TARSEL_THROW(FilterException, "Wrong settings!");
    Core::MutexLock const lock(settingsLock);
    settings = own;
}

Core::Property FilterSkeleton::GetSettings() {
    Core::MutexLock const lock(settingsLock);
    return Settings2Property(settings);
}

Core::Property FilterSkeleton::GetStatistic() {
    // The source's nodes, and this filter's behind them. The name is a literal text: reports are compared by it.
    Core::Property result = parentStream->GetStatistic();
    Core::MutexLock const lock(settingsLock);
    return result.Add(Core::MakeStatistics("Tarsel::Proc::FilterSkeleton::GetStatistic", processingTime, itemsRead));
}

iptr<Conf::IFormatCodecVideo const> FilterSkeleton::GetFormatCodec() const {
    // A filter that changes the format gives a changed clone; the source's object is never written to.
    return parentStream->GetFormatCodec();
}

void FilterSkeleton::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterSkeleton", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IDataVideo> FilterSkeleton::ReadInternal() {
    iptr<IDataVideo> item = parentStream->Read();
    // Null is the end, and nothing else is: what a filter drops, it reads over.
    if (!item) return nullptr;
    Core::MutexLock const lock(settingsLock);
    ++itemsRead;
    // "No value" is the smallest number, so an unknown duration passes here.
    if (item->GetDuration() <= settings.GetLimit()) return item;
    // Others may hold the item too (a cache, a filter that repeats it): it is made this filter's own before it changes.
    item = MakeOwn(std::move(item));
    item->SetDuration(settings.GetLimit());
    return item;
}

void FilterSkeleton::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    // A filter that changes times maps the target to source time here, and forgets what it held for the old place. The
    // context goes down unchanged.
    parentStream->RequestSeek(target, seekContext);
}

void FilterSkeleton::DoSeekInternal() {
    parentStream->DoSeek();
}

void RegisterFilterSkeleton(IFilterFactoryRegistrator& registrator) {
    registrator.RegisterFilterVideoEx(SettingsFilterSkeleton::CLASS_ID, ImplNames::TARSEL,
                                      [](iptr<IStreamVideo> const& source, Settings const& settings) {
                                          return Details::MakeInitialized<IStreamVideoEx, FilterSkeleton>(settings,
                                                                                                          source);
                                      });
}

}  // namespace Tarsel::Proc
