#pragma once

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>

#include "contracts/Core/Export.h"

namespace Tarsel {

/// Shared ownership of everything that flows through or builds a graph. A new object has count 0 and is owned as soon
/// as an `iptr` holds it, so no `iptr` to `this` may be made in a constructor or a destructor.
template <class T>
using iptr = boost::intrusive_ptr<T>;

/// The virtual root of all shared objects. Counting is safe from any thread.
class TARSEL_CONTRACTS_EXPORT IRefCountable {
  public:
    virtual ~IRefCountable();
    /// Adds one owner and returns the new count.
    virtual unsigned AddRefImpl() const = 0;
    /// The number of owners at this moment.
    virtual unsigned GetRefCountImpl() const = 0;
    /// Takes one owner away and returns the new count. At 0 the object has deleted itself.
    virtual unsigned ReleaseImpl() const = 0;

  protected:
    IRefCountable() = default;
    // A copy is a new object: it takes no owners along.
    IRefCountable(IRefCountable const&) = default;
    IRefCountable& operator=(IRefCountable const&) = default;
};

/// The atomic count itself, a member of the class that it serves.
class RefCountImpl {
  public:
    RefCountImpl() = default;
    RefCountImpl(RefCountImpl const&) {}
    RefCountImpl& operator=(RefCountImpl const&) { return *this; }

    unsigned AddRefImpl() const { return count.fetch_add(1, std::memory_order_relaxed) + 1; }
    unsigned GetRefCountImpl() const { return count.load(std::memory_order_acquire); }
    unsigned ReleaseImpl() const { return count.fetch_sub(1, std::memory_order_acq_rel) - 1; }

  private:
    mutable std::atomic<unsigned> count{0};
};

/// A base that forwards the three operations to a `RefCountImpl` member. `class X : public IX, public RefCounted`.
class TARSEL_CONTRACTS_EXPORT RefCounted : public virtual IRefCountable {
  public:
    unsigned AddRefImpl() const final { return refCount.AddRefImpl(); }
    unsigned GetRefCountImpl() const final { return refCount.GetRefCountImpl(); }
    unsigned ReleaseImpl() const final;

  private:
    RefCountImpl refCount;
};

TARSEL_CONTRACTS_EXPORT void intrusive_ptr_add_ref(IRefCountable const* object);
TARSEL_CONTRACTS_EXPORT void intrusive_ptr_release(IRefCountable const* object);

/// Makes a shared object: `MakeShared<X>(arguments...)`.
template <class T, class... Args>
iptr<T> MakeShared(Args&&... args) {
    return iptr<T>(new T(static_cast<Args&&>(args)...));
}

}  // namespace Tarsel
