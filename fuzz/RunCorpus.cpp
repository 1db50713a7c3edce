// SPDX-License-Identifier: Apache-2.0
//
// A fuzz target without a fuzzer: runs every file of the folders that it is given. Each file's name
// is written first, so that the last one is the one that did not come through.
#include "FuzzInput.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

namespace {

std::vector<std::filesystem::path> filesIn(const char* folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

void run(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);
    // Just as large as the input, so that the sanitizer sees a read beyond it.
    const auto input = std::make_unique<std::uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), input.get());
    static_cast<void>(LLVMFuzzerTestOneInput(input.get(), bytes.size()));
}

}  // namespace

int main(int count, char** arguments) try {
    std::size_t files = 0;
    for (int i = 1; i < count; ++i) {
        for (const auto& path : filesIn(arguments[i])) {
            run(path);
            ++files;
        }
    }
    std::printf("%zu inputs\n", files);
    return files == 0 ? 1 : 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
