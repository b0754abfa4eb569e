// Runs the fuzz target once over every file named, or every file in every
// folder named, in name order: the corpus and the past findings replayed as
// a regression test, with the compiler and sanitizers of the build at hand.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        std::error_code error;
        if (fs::is_directory(argv[i], error)) {
            for (const auto& entry : fs::directory_iterator(argv[i]))
                if (entry.is_regular_file() && entry.path().filename().string()[0] != '.')
                    files.push_back(entry.path());
        } else if (fs::is_regular_file(argv[i], error)) {
            files.emplace_back(argv[i]);
        } else {
            std::fprintf(stderr, "fuzz_replay: no file or folder %s\n", argv[i]);
            return 2;
        }
    }
    std::sort(files.begin(), files.end());
    LLVMFuzzerInitialize(&argc, &argv);
    for (const fs::path& file : files) {
        std::fprintf(stderr, "%s\n", file.string().c_str());  // the input a failure comes from
        std::ifstream in(file, std::ios::binary);
        const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), {}};
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::fprintf(stderr, "fuzz_replay: %zu inputs ran\n", files.size());
    return 0;
}
