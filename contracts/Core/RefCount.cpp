#include "contracts/Core/RefCount.h"

namespace Tarsel {

IRefCountable::~IRefCountable() = default;

unsigned RefCounted::ReleaseImpl() const {
    unsigned const left = refCount.ReleaseImpl();
    if (left == 0) delete this;
    return left;
}

void intrusive_ptr_add_ref(IRefCountable const* object) {
    object->AddRefImpl();
}

void intrusive_ptr_release(IRefCountable const* object) {
    object->ReleaseImpl();
}

}  // namespace Tarsel
