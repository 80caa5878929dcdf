#include "tests/support/RunProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "contracts/Core/Exception.h"

extern char** environ;

namespace Tarsel::Test {
namespace {

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            TARSEL_THROW(std::runtime_error, std::string("no pipe: ") + std::strerror(errno));
        readEnd = ends[0];
        writeEnd = ends[1];
    }
    ~Pipe() {
        CloseWriteEnd();
        close(readEnd);
    }
    Pipe(Pipe const&) = delete;
    Pipe& operator=(Pipe const&) = delete;
    void CloseWriteEnd() {
        if (writeEnd >= 0) close(writeEnd);
        writeEnd = -1;
    }
    int readEnd = -1;
    int writeEnd = -1;
};

pid_t Start(std::vector<std::string> const& command, Pipe const& out, Pipe const& err) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out.writeEnd, 1);
    posix_spawn_file_actions_adddup2(&actions, err.writeEnd, 2);
    // A test that runs in a shell's background ignores SIGINT; the program must start as from a terminal.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t all;
    sigfillset(&all);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    std::vector<char*> arguments;
    for (auto const& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    pid_t pid = 0;
    int const failure = posix_spawnp(&pid, arguments[0], &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) TARSEL_THROW(std::runtime_error, "can't start " + command.at(0) + ": " + std::strerror(failure));
    return pid;
}

/// Appends what is there; false at the end.
bool ReadSome(int descriptor, std::string& text) {
    std::array<char, 65536> buffer;
    ssize_t const count = read(descriptor, buffer.data(), buffer.size());
    if (count <= 0) return false;
    text.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

}  // namespace

ProgramResult RunProgram(std::vector<std::string> const& command, std::function<bool(int pid)> const& whileRunning) {
    Pipe out;
    Pipe err;
    pid_t const pid = Start(command, out, err);
    out.CloseWriteEnd();
    err.CloseWriteEnd();
    ProgramResult result;
    std::array<pollfd, 2> ends{pollfd{out.readEnd, POLLIN, 0}, pollfd{err.readEnd, POLLIN, 0}};
    bool watching = static_cast<bool>(whileRunning);
    int open = 2;
    while (open > 0) {
        if (watching) watching = whileRunning(pid);
        // The watcher looks at files, which raise no event: hence the short limit while it is at work.
        poll(ends.data(), ends.size(), watching ? 1 : -1);
        for (std::size_t i = 0; i < ends.size(); i++) {
            if (ends[i].fd < 0 || (ends[i].revents & (POLLIN | POLLHUP | POLLERR)) == 0) continue;
            if (ReadSome(ends[i].fd, i == 0 ? result.output : result.errors)) continue;
            ends[i].fd = -1;
            open--;
        }
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.endedBySignal = WTERMSIG(status);
    return result;
}

std::string CommandText(std::vector<std::string> const& command) {
    std::string text;
    for (auto const& word : command) {
        if (!text.empty()) text += ' ';
        bool const plain = !word.empty() && word.find_first_of(" '\"\\()*;&|<>$") == std::string::npos;
        text += plain ? word : "'" + word + "'";
    }
    return text;
}

}  // namespace Tarsel::Test
