#include "host/media/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

namespace {

/// Bytes that a partial file's name has beyond its target's.
constexpr std::size_t PARTIAL_MARKS = 20;

/// What a signal handler may touch: fixed memory and atomics.
struct PartialSlot {
    enum State : int { FREE, FILLING, IN_USE };
    std::atomic<int> state{FREE};
    std::array<char, PATH_MAX> path{};
};
static_assert(std::atomic<int>::is_always_lock_free);

std::array<PartialSlot, 32> slots;

int TakeSlot(std::string const& path) {
    if (path.size() >= PATH_MAX) return -1;
    for (std::size_t i = 0; i < slots.size(); ++i) {
        int expected = PartialSlot::FREE;
        if (!slots[i].state.compare_exchange_strong(expected, PartialSlot::FILLING)) continue;
        std::memcpy(slots[i].path.data(), path.c_str(), path.size() + 1);
        slots[i].state.store(PartialSlot::IN_USE);
        return static_cast<int>(i);
    }
    return -1;
}

void FreeSlot(int slot) {
    if (slot >= 0) slots[static_cast<std::size_t>(slot)].state.store(PartialSlot::FREE);
}

[[noreturn]] void Fail(std::string const& path, std::string const& what) {
    TARSEL_THROW(Core::IOException, path + ": " + what);
}

bool IsSameFile(struct stat const& a, struct stat const& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

std::string RandomSuffix() {
    static constexpr char LETTERS[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    std::string suffix;
    for (int i = 0; i < 6; ++i) suffix += LETTERS[random() % (sizeof(LETTERS) - 1)];
    return suffix;
}

}  // namespace

OutputFile::OutputFile(std::string const& path, bool replace, std::vector<std::string> const& inputs)
    : path(path), replace(replace) {
    CheckTarget(inputs);
    MakePartial();
}

OutputFile::~OutputFile() {
    Discard();
}

void OutputFile::CheckTarget(std::vector<std::string> const& inputs) {
    if (path.empty()) Fail("(output)", "the name is empty");
    std::error_code ignored;
    target = std::filesystem::absolute(path, ignored).string();
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) Fail(path, "is a folder");
        for (std::string const& input : inputs) {
            struct stat other {};
            if (stat(input.c_str(), &other) == 0 && IsSameFile(status, other))
                Fail(path, "is the input " + input + " itself");
        }
        if (!S_ISREG(status.st_mode)) Fail(path, "is not a regular file");
        if (!replace) Fail(path, "exists already");
        // What a link points to is replaced, not the link.
        std::unique_ptr<char, void (*)(void*)> const real(realpath(path.c_str(), nullptr), std::free);
        if (real) target = real.get();
    } else if (lstat(path.c_str(), &status) == 0 && !replace) {
        Fail(path, "exists already (a link to nowhere)");
    }
    std::string const folder = std::filesystem::path(target).parent_path().string();
    if (stat(folder.c_str(), &status) != 0) {
        int const code = errno;
        if (code != ENOENT && code != ENOTDIR) Fail(path, "can't be written: " + std::string(std::strerror(code)));
        Fail(path, "the folder " + folder + " doesn't exist");
    }
    if (!S_ISDIR(status.st_mode)) Fail(path, folder + " is not a folder");
    std::size_t const length = std::filesystem::path(target).filename().string().size();
    if (length == 0) Fail(path, "names no file");
    if (length > NAME_MAX)
        Fail(path, "the name is too long: " + std::to_string(length) + " bytes, at most " + std::to_string(NAME_MAX) +
                       " can be");
}

void OutputFile::MakePartial() {
    std::filesystem::path const whole(target);
    std::string name = whole.filename().string();
    if (name.size() > NAME_MAX - PARTIAL_MARKS) {
        name.resize(NAME_MAX - PARTIAL_MARKS + 1);
        // No half of a UTF-8 character: some file systems refuse it.
        while (!name.empty() && (static_cast<unsigned char>(name.back()) & 0xC0) == 0x80) name.pop_back();
        if (!name.empty()) name.pop_back();
    }
    for (int tries = 0; tries < 100; ++tries) {
        std::string const candidate =
            (whole.parent_path() / ("." + name + "." + RandomSuffix() + ".tarsel-part")).string();
        // Entered first: a signal between the two lines finds nothing to remove, never a file that nobody knows of.
        slot = TakeSlot(candidate);
        if (slot < 0) Fail(path, "can't be written: too many unfinished files, or too long a path");
        int const file = open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        int const code = errno;
        if (file >= 0) {
            close(file);
            partialPath = candidate;
            return;
        }
        FreeSlot(slot);
        slot = -1;
        if (code != EEXIST) Fail(path, std::string("can't be written: ") + std::strerror(code));
    }
    Fail(path, "can't be written: no free name for a temporary file");
}

void OutputFile::Commit() {
    int code = 0;
    if (replace) {
        struct stat status {};
        hasReplaced = lstat(target.c_str(), &status) == 0;
        if (rename(partialPath.c_str(), target.c_str()) != 0) code = errno;
    } else if (renameat2(AT_FDCWD, partialPath.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) != 0) {
        code = errno;
        // File systems without that word have hard links, which refuse an existing name as well.
        if (code == EINVAL || code == ENOSYS) {
            code = link(partialPath.c_str(), target.c_str()) == 0 ? 0 : errno;
            if (code == 0) unlink(partialPath.c_str());
        }
    }
    if (code != 0) {
        Discard();
        if (code == EEXIST) Fail(path, "exists already");
        Fail(path, std::string("can't be put in place: ") + std::strerror(code));
    }
    partialPath.clear();
    FreeSlot(slot);
    slot = -1;
}

void OutputFile::Discard() {
    if (partialPath.empty()) return;
    unlink(partialPath.c_str());
    partialPath.clear();
    FreeSlot(slot);
    slot = -1;
}

bool OutputFile::TakeBack() {
    return !hasReplaced && unlink(target.c_str()) == 0;
}

void RemovePartialFiles() noexcept {
    int const keep = errno;
    for (PartialSlot& entry : slots)
        if (entry.state.load() == PartialSlot::IN_USE) unlink(entry.path.data());
    errno = keep;
}

}  // namespace Tarsel::Host
