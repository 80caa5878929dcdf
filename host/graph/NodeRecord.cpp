#include "host/graph/NodeRecord.h"

#include <algorithm>
#include <chrono>
#include <new>

#include "host/graph/GraphErrors.h"

namespace Tarsel::Host {

namespace {

thread_local NodeTimer* innermost = nullptr;

int64 Now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

NodeRecord::~NodeRecord() = default;

void NodeRecord::Rethrow() const {
    try {
        throw;
    } catch (GraphException const&) {
        throw;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& failure) {
        FailAtNode(id, pointer, failure.what());
    }
}

void NodeRecord::FailStalled(int64 limit) const {
    FailAtNode(id, pointer, "it gave " + std::to_string(limit) + " items without progress in time");
}

NodeTimer::NodeTimer(NodeRecord& record) : record(record), outer(innermost), start(Now()) {
    innermost = this;
}

NodeTimer::~NodeTimer() {
    int64 const length = Now() - start;
    innermost = outer;
    if (outer) outer->inside += length;
    record.inclusive += length;
    record.exclusive += length - inside;
}

bool StallGuard::Note(int64 time, int64 end) {
    int64 const reached = HasValue(end) ? std::max(time, end) : time;
    if (HasValue(reached) && (!HasValue(furthest) || reached > furthest)) {
        furthest = reached;
        standing = 0;
        return false;
    }
    return ++standing >= limit;
}

bool StallGuard::NoteEnd() {
    if (ended) return false;
    ended = true;
    return ++standing >= limit;
}

}  // namespace Tarsel::Host
