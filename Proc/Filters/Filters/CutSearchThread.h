#pragma once

#include <exception>
#include <functional>
#include <memory>

#include "contracts/Core/Thread.h"

namespace Tarsel::Proc {

/// The thread on which a stream leaves a removed range together with its siblings. It lives from `Start` to `Join`;
/// both are called by the one thread that holds the controller's `streamsLock`.
class CutSearchThread {
  public:
    /// Throws `boost::thread_resource_error` when the system has no thread to give.
    void Start(std::function<void()> body);
    /// Waits for the end of the body and rethrows what it threw. Does nothing when none was started.
    void Join();

  private:
    std::exception_ptr failure;  // written by the thread, read after its end
    std::unique_ptr<Core::Thread> thread;
};

}  // namespace Tarsel::Proc
