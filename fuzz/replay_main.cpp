// Runs a fuzz target over every file of a folder, and over damaged copies of each: cut short, and
// with one to three bytes changed. The seed is printed; PX_TEST_SEED sets another.
//
// usage: <target>_fuzz_replay FOLDER CHANGES
//
// CHANGES tells how many changed copies of each file there are.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

namespace {

// Every copy is a block of exactly its size, so that a sanitizer sees each step beyond it.
using Bytes = std::vector<uint8_t>;

void Run(const Bytes& bytes)
{
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

void RunDamaged(const Bytes& whole, size_t changes, std::mt19937_64& random)
{
    constexpr size_t kCuts = 600;
    for (size_t size = 0; size < whole.size(); size += 1 + whole.size() / kCuts) {
        Run(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    }
    for (size_t i = 0; i < changes && !whole.empty(); ++i) {
        Bytes changed = whole;
        for (size_t left = 1 + i % 3; left > 0; --left) {
            uint8_t& byte = changed[random() % changed.size()];
            byte = static_cast<uint8_t>(random() % 2 ? random() : byte ^ 1U << random() % 8);
        }
        Run(changed);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) return 2;
    const size_t changes = std::strtoull(argv[2], nullptr, 0);
    const char* given = std::getenv("PX_TEST_SEED");
    const uint64_t seed = given ? std::strtoull(given, nullptr, 0) : 1;
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    int replayed = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        std::printf("%s\n", entry.path().filename().c_str());
        std::fflush(stdout);  // the last name tells which input ended the program
        std::ifstream file(entry.path(), std::ios::binary);
        const Bytes bytes((std::istreambuf_iterator<char>(file)), {});
        std::mt19937_64 random(seed);
        Run(bytes);
        RunDamaged(bytes, changes, random);
        ++replayed;
    }
    std::printf("%d inputs replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}
