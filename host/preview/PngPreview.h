#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "contracts/Core/Mutex.h"
#include "contracts/Core/Thread.h"
#include "contracts/Proc/IVideoPreviewSubscriber.h"

namespace Tarsel::Host {

class PngEncoder;

/// Writes frames as PNG files into a folder, at most so many a second: "preview-000001.png", "preview-000002.png"... A
/// file appears under its name only once it is complete, and no file that stands there is ever overwritten. Pictures
/// keep their size; those with an alpha channel become RGBA, all others RGB, of 8 bits.
///
/// `OnVideoFrame` takes a reference and returns at once; a thread of this object's own encodes and writes. A frame that
/// comes too early isn't taken, nor is the one taken last when it comes again. Of frames taken while a picture is being
/// written the newest is the next to be written.
///
/// Any thread may call `OnVideoFrame`, `GetFailure` and `GetWritten`; one owner calls the rest. The first failure is
/// kept, and nothing is taken behind it: a `Core::IOException` "PATH: what is wrong". One lock, which is never held
/// while a picture is written, a frame is released or the clock is asked; no other lock is taken under it.
class TARSEL_HOST_EXPORT PngPreview : public Proc::IVideoPreviewSubscriber, public RefCounted {
  public:
    /// Microseconds from any start that never go back. Called from any thread.
    using Clock = std::function<int64()>;

    /// Makes the folder when it is missing, though not those above it. `picturesPerSecond` counts by the clock; a null
    /// clock is the machine's. A folder with files preview-*.png is refused, unless `force` is set: then the numbers go
    /// on behind the highest that is there. Throws `std::invalid_argument` for a rate that isn't finite and above 0,
    /// and `Core::IOException` for the folder.
    PngPreview(std::string folder, double picturesPerSecond, bool force = false, Clock clock = nullptr);
    /// Drops what hasn't been begun, and waits for the picture that is being written. The files stay.
    ~PngPreview() override;

    /// A frame in GPU memory can't be written: that is a failure.
    void OnVideoFrame(iptr<Proc::IDataVideo> const& frame) override;

    /// Waits until the frame taken last is written or writing has failed; nothing is taken behind it. Throws the
    /// failure if there was one, at every call.
    void Finish();
    /// For a run that has failed: takes no more frames, waits for the picture that is being written, and removes the
    /// files of this run, and the folder if this run made it and nothing else is in it.
    void Discard();
    /// Null as long as nothing has failed.
    std::exception_ptr GetFailure() const;
    /// The files of this run, in order.
    std::vector<std::string> GetWritten() const;

  private:
    void PrepareFolder(bool force);
    void RefuseGpuFrame();
    void Run();
    /// Waits for a frame; null at the end.
    iptr<Proc::IDataVideo> Take();
    void Write(Proc::IDataVideo const& frame, std::string const& path);
    std::string GetNextPath() const;
    /// Keeps the failure that is being handled, as one that names the file.
    void Keep(std::string const& path);
    /// Waits for the thread: until the picture in work, and the one in the mailbox unless it is dropped, are written.
    void EndThread(bool drop);
    void RemoveFolder();

    // Settings.
    std::string const folder;
    double const period;  // microseconds
    Clock const clock;
    bool madeFolder = false;

    mutable Core::Mutex lock;
    Core::ConditionVariable changed;
    iptr<Proc::IDataVideo> waiting TARSEL_GUARDED_BY(lock);    // the thread's mailbox
    iptr<Proc::IDataVideo> lastTaken TARSEL_GUARDED_BY(lock);  // to tell its repeats
    std::optional<int64> lastTime TARSEL_GUARDED_BY(lock);     // when it was taken
    bool ending TARSEL_GUARDED_BY(lock) = false;
    int64 nextNumber TARSEL_GUARDED_BY(lock) = 1;
    std::vector<std::string> written TARSEL_GUARDED_BY(lock);
    std::exception_ptr failure TARSEL_GUARDED_BY(lock);

    // The thread's own.
    std::unique_ptr<PngEncoder> encoder;

    std::unique_ptr<Core::Thread> thread;
};

}  // namespace Tarsel::Host
