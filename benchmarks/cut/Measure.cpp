// Runs a command and tells its wall time, its peak memory and its processor time: measure FILE COMMAND ARGUMENTS...
// Appends "SECONDS KILOBYTES SECONDS" to FILE and exits as the command did.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

int main(int count, char** arguments) {
    if (count < 3) {
        std::fputs("usage: measure FILE COMMAND ARGUMENTS...\n", stderr);
        return 2;
    }
    auto const start = std::chrono::steady_clock::now();
    pid_t const child = fork();
    if (child == 0) {
        execvp(arguments[2], arguments + 2);
        std::perror(arguments[2]);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child) {
        std::perror("measure");
        return 1;
    }
    double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::FILE* const file = std::fopen(arguments[1], "a");
    double const busy = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                        static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
    if (!file || std::fprintf(file, "%.4f %ld %.4f\n", seconds, usage.ru_maxrss, busy) < 0 || std::fclose(file) != 0) {
        std::perror(arguments[1]);
        return 1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
