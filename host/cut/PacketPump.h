#pragma once

#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <memory>

#include "contracts/Core/Export.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Thread.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Host {

/// Hands packets to a sink on a thread of its own, in order, so that reading and encoding go on while the sink writes.
/// A few packets wait in between; the giver of one more waits for room.
///
/// One thread gives. Order of calls: `Push` again and again, then `Finish`. A failure of the sink ends the work and
/// comes out of the next `Push` or of `Finish`, once, as it was. The destructor drops what still waits.
class TARSEL_HOST_EXPORT PacketPump {
  public:
    using Sink = std::function<void(int, Proc::IDataPacket&)>;

    /// Limits of what waits.
    static constexpr std::size_t MAX_PACKETS = 256;
    static constexpr std::size_t MAX_BYTES = 8000000;

    explicit PacketPump(Sink sink);
    ~PacketPump();
    PacketPump(PacketPump const&) = delete;
    PacketPump& operator=(PacketPump const&) = delete;

    /// Waits for room: until the sink has taken a packet or failed.
    void Push(int slot, iptr<Proc::IDataPacket> packet);
    /// Waits until the sink has taken everything or failed. Nothing can be pushed behind it.
    void Finish();

  private:
    struct Entry {
        int slot;
        iptr<Proc::IDataPacket> packet;
    };

    void Run();
    /// False at the end.
    bool Take(Entry& entry);
    bool IsFull() const TARSEL_REQUIRES(lock) { return entries.size() >= MAX_PACKETS || bytes >= MAX_BYTES; }
    void RethrowFailure() TARSEL_REQUIRES(lock);

    Sink const sink;

    /// Never held while the sink works.
    Core::Mutex lock;
    Core::ConditionVariable changed;
    std::deque<Entry> entries TARSEL_GUARDED_BY(lock);
    std::size_t bytes TARSEL_GUARDED_BY(lock) = 0;  // payload of the entries
    bool finishing TARSEL_GUARDED_BY(lock) = false;
    bool ended TARSEL_GUARDED_BY(lock) = false;
    std::exception_ptr failure TARSEL_GUARDED_BY(lock);

    std::unique_ptr<Core::Thread> thread;
};

}  // namespace Tarsel::Host
