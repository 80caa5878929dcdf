#pragma once

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Core/GiveWay.h"
#include "contracts/Core/Lockable.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Core {

/// What subscribers of an interface `I` see of who calls them. Any thread may call, a subscriber from inside its call
/// too.
template <class I>
class TARSEL_CONTRACTS_EXPORT EventPublisher : public virtual IRefCountable {
  public:
    ~EventPublisher() override = default;
    /// The subscriber is held until it is unsubscribed. One that comes during a delivery takes part from the next one
    /// on. Throws `std::invalid_argument` for null and for the publisher itself, `std::logic_error` for a subscriber
    /// that is there already.
    virtual void Subscribe(iptr<I> const& subscriber) = 0;
    /// False when the subscriber isn't there. In either case it isn't called any more once this returns: a call in
    /// progress on another thread is waited for, until it returns. So don't hold what a subscriber waits for in its
    /// call. From inside a call it returns at once. Throws `std::invalid_argument` for null.
    virtual bool Unsubscribe(iptr<I> const& subscriber) = 0;
};

/// Runs the calls of a delivery on the thread that fires.
struct SyncExecutePolicy {
    template <class Call, class I>
    static void Execute(Call const& call, I& subscriber) {
        call(subscriber);
    }
};

/// The publisher's own side: holds the subscribers and fires calls at them.
///
/// Two locks. `callLock` is held while a subscriber is called, by design: that is what `Unsubscribe` waits for.
/// `listLock` guards the list and is held for moments, never during a call. Order: locks of who fires, `callLock`,
/// locks of the subscriber, `listLock`. Both may be taken again by their thread, so a subscriber may subscribe,
/// unsubscribe and fire from inside its call, and be destroyed behind it, with `callLock` held.
template <class I, class Policy>
class EventHandlerList : public EventPublisher<I> {
  public:
    void Subscribe(iptr<I> const& subscriber) override {
        RequireSubscriber(subscriber);
        RecursiveMutexLock const lock(listLock);
        if (Find(subscriber) != entries.end()) TARSEL_THROW(std::logic_error, "subscriber is subscribed already");
        entries.push_back({++lastNumber, subscriber});
    }

    bool Unsubscribe(iptr<I> const& subscriber) override {
        RequireSubscriber(subscriber);
        bool const found = Remove(subscriber);
        // Who was chosen before the removal is being called, and this lock is free when that call has returned.
        GiveWay::Hurry const hurry(removals);
        AutoLock const lock(callLock);
        return found;
    }

    /// Gives each subscriber to `call`, in the order of subscription. Who is removed meanwhile isn't called any more.
    /// Deliveries of several threads go on side by side, call by call. What a call throws ends the delivery.
    template <class Call>
    void Fire(Call const& call) {
        u64 const end = GetLastNumber();
        for (u64 number = 0; number < end;) {
            // A removal waits for one call, not for all of them. From inside a call it would wait for this thread.
            if (!callLock.IsHeldByCaller()) removals.Await();
            AutoLock const lock(callLock);
            // Let go ahead of the lock: behind `Unsubscribe` nobody here holds the subscriber.
            iptr<I> const subscriber = GetNext(number);
            if (!subscriber || number > end) return;
            Policy::Execute(call, *subscriber);
        }
    }

  private:
    struct Entry {
        u64 number;  // ascending; tells who was there when a delivery began
        iptr<I> subscriber;
    };
    using Entries = std::vector<Entry>;

    void RequireSubscriber(iptr<I> const& subscriber) const {
        if (!subscriber) TARSEL_THROW(std::invalid_argument, "subscriber is NULL");
        if (dynamic_cast<void const*>(subscriber.get()) == dynamic_cast<void const*>(this))
            TARSEL_THROW(std::invalid_argument, "publisher can't be its own subscriber");
    }
    typename Entries::iterator Find(iptr<I> const& subscriber) TARSEL_REQUIRES(listLock) {
        return std::find_if(entries.begin(), entries.end(),
                            [&](Entry const& entry) { return entry.subscriber == subscriber; });
    }
    bool Remove(iptr<I> const& subscriber) {
        RecursiveMutexLock const lock(listLock);
        auto const found = Find(subscriber);
        if (found == entries.end()) return false;
        // The caller's reference keeps it from being destroyed here.
        entries.erase(found);
        return true;
    }
    u64 GetLastNumber() {
        RecursiveMutexLock const lock(listLock);
        return lastNumber;
    }
    /// The first subscriber behind `number`, which becomes its number; null when there is none.
    iptr<I> GetNext(u64& number) {
        RecursiveMutexLock const lock(listLock);
        auto const next = std::upper_bound(entries.begin(), entries.end(), number,
                                           [](u64 value, Entry const& entry) { return value < entry.number; });
        if (next == entries.end()) return nullptr;
        number = next->number;
        return next->subscriber;
    }

    LockImpl callLock;
    GiveWay removals;
    RecursiveMutex listLock;
    Entries entries TARSEL_GUARDED_BY(listLock);
    u64 lastNumber TARSEL_GUARDED_BY(listLock) = 0;
};

}  // namespace Tarsel::Core
