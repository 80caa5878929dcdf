#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/Thread.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Core {

/// Lets some threads through a lock ahead of one that takes it again and again: a mutex alone may give it to the latter
/// every time. Its own lock is held for moments, and no other is taken under it.
class TARSEL_CONTRACTS_EXPORT GiveWay {
  public:
    /// Stands for a thread in a hurry, from ahead of its wait for the lock until it has had it.
    class TARSEL_CONTRACTS_EXPORT Hurry {
      public:
        explicit Hurry(GiveWay& way);
        ~Hurry();
        Hurry(Hurry const&) = delete;
        Hurry& operator=(Hurry const&) = delete;

      private:
        GiveWay& way;
    };

    /// For the patient thread, without the lock: waits until as many as are in a hurry now have had it. No point of
    /// interruption.
    void Await();

  private:
    Mutex lock;
    ConditionVariable changed;
    u64 came TARSEL_GUARDED_BY(lock) = 0;
    u64 served TARSEL_GUARDED_BY(lock) = 0;
    unsigned patient TARSEL_GUARDED_BY(lock) = 0;  // threads in `Await`
};

}  // namespace Tarsel::Core
