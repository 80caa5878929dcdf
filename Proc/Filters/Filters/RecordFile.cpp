#include "Proc/Filters/Filters/RecordFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

constexpr std::size_t PENDING_SIZE = 65536;
/// What a partial file's name has beside the target's.
constexpr std::size_t PARTIAL_MARKS = 32;

[[noreturn]] void Fail(char const* what, int reason) {
    TARSEL_THROW(Core::IOException, std::string(what) + ": " + std::strerror(reason));
}

void CheckName(std::string const& name) {
    if (name.empty() || name.find('\0') != std::string::npos) Fail("cannot open file", ENOENT);
}

int OpenForReading(std::string const& name) {
    CheckName(name);
    int const file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) Fail("cannot open file", errno);
    return file;
}

std::string RandomSuffix() {
    static constexpr char LETTERS[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    std::string suffix;
    for (int i = 0; i < 6; ++i) suffix += LETTERS[random() % (sizeof(LETTERS) - 1)];
    return suffix;
}

constexpr std::string_view PARTIAL_END = ".tarsel-part";

/// Beside the target, so that a rename stays within one file system. A long name is cut, not in the middle of a UTF-8
/// character.
std::string PartialName(std::filesystem::path const& target) {
    std::string name = target.filename().string();
    if (name.size() > NAME_MAX - PARTIAL_MARKS) {
        std::size_t size = NAME_MAX - PARTIAL_MARKS;
        while (size > 0 && (static_cast<unsigned char>(name[size]) & 0xC0) == 0x80) --size;
        name.resize(size);
    }
    return (target.parent_path() / ("." + name + "." + RandomSuffix() + std::string(PARTIAL_END))).string();
}

/// The regular file that a name stands for, links followed; empty when it must be written to where it is. So must a
/// partial file: whoever made it clears it away, also behind a signal, and doesn't know of another one beside it.
std::string FindReplaceable(std::string const& name) {
    if (name.ends_with(PARTIAL_END)) return {};
    struct stat status {};
    if (stat(name.c_str(), &status) != 0) return lstat(name.c_str(), &status) == 0 ? std::string() : name;
    if (!S_ISREG(status.st_mode)) return {};
    if (access(name.c_str(), W_OK) != 0) Fail("cannot open file", errno);
    std::unique_ptr<char, void (*)(void*)> const real(realpath(name.c_str(), nullptr), std::free);
    return real ? std::string(real.get()) : std::string();
}

}  // namespace

// --- Reading ---------------------------------------------------------------------------------------------------------

Details::FileDescriptor::~FileDescriptor() {
    Close();
}

int Details::FileDescriptor::Close() {
    int const open = std::exchange(descriptor, -1);
    return open < 0 ? 0 : close(open);
}

RecordSource::RecordSource(std::string const& name) : file(OpenForReading(name)) {}

RecordSource::int_type RecordSource::underflow() {
    ssize_t size = 0;
    do {
        size = read(file.Get(), piece.data(), piece.size());
    } while (size < 0 && errno == EINTR);
    if (size < 0) Fail("cannot read file", errno);
    setg(piece.data(), piece.data(), piece.data() + size);
    return size == 0 ? traits_type::eof() : traits_type::to_int_type(piece[0]);
}

// --- Writing ---------------------------------------------------------------------------------------------------------

RecordTarget::Place RecordTarget::Open(std::string const& name) {
    CheckName(name);
    std::string const target = FindReplaceable(name);
    if (target.empty()) {
        int const file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (file < 0) Fail("cannot open file", errno);
        return {name, {}, file};
    }
    for (;;) {
        std::string partial = PartialName(target);
        int const file = open(partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        // A name that is taken: there are two thousand million others.
        if (file < 0 && errno == EEXIST) continue;
        if (file < 0) Fail("cannot open file", errno);
        struct stat status {};
        // Whoever could read the old file can read the new one, where the file system has such rights at all.
        if (stat(target.c_str(), &status) == 0) fchmod(file, status.st_mode & 07777);
        return {target, std::move(partial), file};
    }
}

RecordTarget::RecordTarget(std::string const& name) : RecordTarget(Open(name)) {}

RecordTarget::RecordTarget(Place place)
    : target(std::move(place.target)), partial(std::move(place.partial)), file(place.descriptor) {}

RecordTarget::~RecordTarget() {
    if (!partial.empty()) unlink(partial.c_str());
}

void RecordTarget::Write(std::string_view text) {
    pending += text;
    if (pending.size() >= PENDING_SIZE) Flush();
}

void RecordTarget::Flush() {
    std::string_view rest = pending;
    while (!rest.empty()) {
        ssize_t const written = write(file.Get(), rest.data(), rest.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) Fail("write error", errno);
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
    pending.clear();
}

void RecordTarget::Commit() {
    Flush();
    if (file.Close() != 0) Fail("write error", errno);
    if (partial.empty()) return;
    if (rename(partial.c_str(), target.c_str()) != 0) Fail("write error", errno);
    partial.clear();
}

}  // namespace Tarsel::Proc
