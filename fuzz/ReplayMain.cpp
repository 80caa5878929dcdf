// Runs a fuzz target over the files of the folders and over the files named on the command line, without libFuzzer: so
// the seeds are ordinary tests under every compiler. Exits 1 when there was nothing to run.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> CollectFiles(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path path(argv[i]);
        if (!std::filesystem::is_directory(path)) {
            files.push_back(path);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path());
            }
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool RunFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
        return false;
    }
    const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    // Exactly as many bytes as the seed has, on the heap: a sanitizer sees a read past the end.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    // Named before it runs, so that a crash tells its seed.
    std::filesystem::path current;
    try {
        const auto files = CollectFiles(argc, argv);
        if (files.empty()) {
            std::fprintf(stderr, "no seed to run\n");
            return 1;
        }
        for (const auto& path : files) {
            current = path;
            std::fprintf(stderr, "%s\n", path.c_str());
            if (!RunFile(path)) {
                return 1;
            }
        }
        std::printf("%zu seeds ran\n", files.size());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s: uncaught failure: %s\n", current.c_str(), failure.what());
        return 1;
    }
    return 0;
}
