#include "contracts/Core/GiveWay.h"

#include <boost/thread/thread_only.hpp>

namespace Tarsel::Core {

GiveWay::Hurry::Hurry(GiveWay& way) : way(way) {
    MutexLock const guard(way.lock);
    ++way.came;
}

GiveWay::Hurry::~Hurry() {
    MutexLock const guard(way.lock);
    ++way.served;
    if (way.patient != 0) way.changed.NotifyAll();
}

void GiveWay::Await() {
    boost::this_thread::disable_interruption const uninterrupted;
    MutexLock guard(lock);
    u64 const ahead = came;
    ++patient;
    while (served < ahead) changed.Wait(guard);
    --patient;
}

}  // namespace Tarsel::Core
