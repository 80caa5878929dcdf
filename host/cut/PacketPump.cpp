#include "host/cut/PacketPump.h"

#include <utility>

namespace Tarsel::Host {

using Core::MutexLock;

PacketPump::PacketPump(Sink sink) : sink(std::move(sink)) {
    thread = std::make_unique<Core::Thread>([this] { Run(); });
}

PacketPump::~PacketPump() {
    thread->Interrupt();
    thread->Join();
}

void PacketPump::Push(int slot, iptr<Proc::IDataPacket> packet) {
    MutexLock guard(lock);
    while (IsFull() && !ended) changed.Wait(guard);
    RethrowFailure();
    if (ended) return;
    bytes += packet->GetSize();
    entries.push_back({slot, std::move(packet)});
    changed.NotifyAll();
}

void PacketPump::Finish() {
    MutexLock guard(lock);
    finishing = true;
    changed.NotifyAll();
    while (!ended) changed.Wait(guard);
    RethrowFailure();
}

void PacketPump::RethrowFailure() {
    if (failure) std::rethrow_exception(std::exchange(failure, nullptr));
}

bool PacketPump::Take(Entry& entry) {
    MutexLock guard(lock);
    while (entries.empty() && !finishing) changed.Wait(guard);
    if (entries.empty()) return false;
    entry = std::move(entries.front());
    entries.pop_front();
    bytes -= entry.packet->GetSize();
    changed.NotifyAll();
    return true;
}

void PacketPump::Run() {
    std::exception_ptr caught;
    try {
        for (Entry entry; Take(entry); entry.packet = nullptr) {
            Core::InterruptionPoint();
            sink(entry.slot, *entry.packet);
        }
    } catch (boost::thread_interrupted const&) {
        // The destructor waits: nobody asks for what is left.
    } catch (...) {
        caught = std::current_exception();
    }
    MutexLock const guard(lock);
    failure = caught;
    ended = true;
    changed.NotifyAll();
}

}  // namespace Tarsel::Host
