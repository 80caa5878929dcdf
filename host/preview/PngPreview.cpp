#include "host/preview/PngPreview.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/TimerSimple.h"
#include "host/media/PngEncoder.h"
#include "host/media/TextFile.h"

namespace Tarsel::Host {

using Core::MutexLock;

namespace {

namespace fs = std::filesystem;

constexpr std::string_view PREFIX = "preview-";
constexpr std::string_view SUFFIX = ".png";

[[noreturn]] void Fail(std::string const& path, std::string const& what) {
    TARSEL_THROW(Core::IOException, path + ": " + what);
}

double PeriodOf(double picturesPerSecond) {
    if (!std::isfinite(picturesPerSecond) || picturesPerSecond <= 0)
        TARSEL_THROW(std::invalid_argument, "pictures per second must be a number above 0");
    return 1e6 / picturesPerSecond;
}

PngPreview::Clock MachineClock() {
    return [timer = Core::TimerSimple()] { return timer.GetElapsed(); };
}

bool IsPreview(std::string const& name) {
    return name.size() >= PREFIX.size() + SUFFIX.size() && name.starts_with(PREFIX) && name.ends_with(SUFFIX);
}

/// The number in a preview's name; 0 when there is none, or one that no run will come to.
int64 NumberIn(std::string const& name) {
    std::string const digits = name.substr(PREFIX.size(), name.size() - PREFIX.size() - SUFFIX.size());
    constexpr std::size_t MAX_DIGITS = 15;
    if (digits.empty() || digits.size() > MAX_DIGITS || digits.find_first_not_of("0123456789") != std::string::npos)
        return 0;
    return std::stoll(digits);
}

}  // namespace

PngPreview::PngPreview(std::string folder, double picturesPerSecond, bool force, Clock clock)
    : folder(std::move(folder)),
      period(PeriodOf(picturesPerSecond)),
      clock(clock ? std::move(clock) : MachineClock()),
      encoder(std::make_unique<PngEncoder>()) {
    try {
        PrepareFolder(force);
        thread = std::make_unique<Core::Thread>([this] { Run(); });
    } catch (...) {
        RemoveFolder();
        throw;
    }
}

PngPreview::~PngPreview() {
    EndThread(true);
}

void PngPreview::PrepareFolder(bool force) {
    if (folder.empty()) Fail("(preview)", "the name of the folder is empty");
    std::error_code error;
    madeFolder = fs::create_directory(folder, error);
    if (error && !fs::is_directory(folder)) Fail(folder, "can't be made: " + error.message());
    int64 highest = 0;
    fs::directory_iterator entry(folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        std::string const name = entry->path().filename().string();
        if (!IsPreview(name)) continue;
        if (!force) Fail(folder, "has previews already, such as " + name);
        highest = std::max(highest, NumberIn(name));
    }
    if (error) Fail(folder, "can't be read: " + error.message());
    MutexLock const guard(lock);
    nextNumber = highest + 1;
}

void PngPreview::OnVideoFrame(iptr<Proc::IDataVideo> const& frame) {
    if (!frame) return;
    // Never taken: it may have to be released on a thread of its own.
    if (frame->GetFrameAlloc() != Proc::IDataVideo::FRAME_ALLOC_CPU) return RefuseGpuFrame();
    int64 const now = clock();
    // What was waiting and what was taken last, to be released behind the lock.
    iptr<Proc::IDataVideo> taken = frame;
    iptr<Proc::IDataVideo> before = frame;
    MutexLock const guard(lock);
    if (ending || failure || frame == lastTaken) return;
    if (lastTime && static_cast<double>(SubTime(now, *lastTime)) < period) return;
    lastTime = now;
    lastTaken.swap(before);
    waiting.swap(taken);
    changed.NotifyAll();
}

void PngPreview::RefuseGpuFrame() {
    std::string const path = GetNextPath();
    try {
        Fail(path, "can't be written: the picture is in GPU memory");
    } catch (...) {
        Keep(path);
    }
}

iptr<Proc::IDataVideo> PngPreview::Take() {
    MutexLock guard(lock);
    while (!waiting && !ending) changed.Wait(guard);
    return std::exchange(waiting, nullptr);
}

void PngPreview::Run() {
    while (auto const frame = Take()) {
        std::string const path = GetNextPath();
        try {
            Write(*frame, path);
        } catch (...) {
            return Keep(path);
        }
    }
}

std::string PngPreview::GetNextPath() const {
    MutexLock const guard(lock);
    std::string number = std::to_string(nextNumber);
    constexpr std::size_t DIGITS = 6;
    if (number.size() < DIGITS) number.insert(0, DIGITS - number.size(), '0');
    return (fs::path(folder) / (std::string(PREFIX) + number + std::string(SUFFIX))).string();
}

void PngPreview::Write(Proc::IDataVideo const& frame, std::string const& path) {
    std::string_view const bytes = encoder->Encode(frame);
    TextFile(path, false).Write(bytes);
    MutexLock const guard(lock);
    written.push_back(path);
    ++nextNumber;
}

void PngPreview::Keep(std::string const& path) {
    std::exception_ptr cause = std::current_exception();
    try {
        throw;
    } catch (Core::IOException const&) {
        // It names the file.
    } catch (std::exception const& other) {
        try {
            Fail(path, std::string("can't be written: ") + other.what());
        } catch (...) {
            cause = std::current_exception();
        }
    } catch (...) {
        // Nothing is known of it: it goes on as it is.
    }
    iptr<Proc::IDataVideo> dropped;
    MutexLock const guard(lock);
    if (!failure) failure = cause;
    waiting.swap(dropped);
}

void PngPreview::EndThread(bool drop) {
    {
        iptr<Proc::IDataVideo> dropped;
        iptr<Proc::IDataVideo> last;
        MutexLock const guard(lock);
        ending = true;
        lastTaken.swap(last);
        if (drop) waiting.swap(dropped);
        changed.NotifyAll();
    }
    thread->Join();
}

void PngPreview::Finish() {
    EndThread(false);
    if (auto const kept = GetFailure()) std::rethrow_exception(kept);
}

void PngPreview::Discard() {
    EndThread(true);
    MutexLock const guard(lock);
    for (std::string const& path : written) {
        std::error_code error;
        fs::remove(path, error);
        if (error) LOG(WARNING) << path << ": can't be removed: " << error.message();
    }
    written.clear();
    RemoveFolder();
}

void PngPreview::RemoveFolder() {
    if (!std::exchange(madeFolder, false)) return;
    std::error_code error;
    fs::remove(folder, error);
    if (error) LOG(WARNING) << folder << ": can't be removed: " << error.message();
}

std::exception_ptr PngPreview::GetFailure() const {
    MutexLock const guard(lock);
    return failure;
}

std::vector<std::string> PngPreview::GetWritten() const {
    MutexLock const guard(lock);
    return written;
}

}  // namespace Tarsel::Host
