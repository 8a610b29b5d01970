// Runs one fuzz target over its seed files and a fixed number of mutations
// of them. The mutations come from a fixed generator, so a run that fails
// fails again the same way; --dump writes the input of one run to a file.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_target.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Options {
    long runs = 2000;
    long dump = -1;
    std::vector<std::string> seeds;
};

void Usage(std::FILE* out, const char* program) {
    std::fprintf(out,
                 "Usage: %s [--runs N] [--dump K] SEED...\n"
                 "Runs this fuzz target over each SEED (a file, or a folder of files), then over N\n"
                 "mutations of them (default 2000). The mutations are the same on every run;\n"
                 "--dump K writes the input of mutation K to fuzz-input-K and runs nothing.\n",
                 program);
}

bool ParseCount(const char* text, long& value) {
    char* end = nullptr;
    const long parsed = std::strtol(text, &end, 10);
    if (!text[0] || *end || parsed < 0 || parsed > 100'000'000) return false;
    value = parsed;
    return true;
}

// xorshift64*: small, and the same everywhere.
class Random {
public:
    explicit Random(uint64_t seed) : m_state(seed ? seed : 1) {}
    uint64_t Next() {
        m_state ^= m_state >> 12;
        m_state ^= m_state << 25;
        m_state ^= m_state >> 27;
        return m_state * 2685821657736338717ull;
    }
    size_t Below(size_t n) { return n ? static_cast<size_t>(Next() % n) : 0; }

private:
    uint64_t m_state;
};

// Bytes that readers of text and frames tend to decide on.
const uint8_t kInteresting[] = {0, '\n', '"', '\\', '{', '}', '[', ']', ':', ',', '(', ')', ' ', '0', '9', '-',
                                0x7f, 0x80, 0xc3, 0xe2, 0xf0, 0xff};

Bytes Mutate(const std::vector<Bytes>& seeds, Random& random) {
    Bytes input = seeds.empty() ? Bytes() : seeds[random.Below(seeds.size())];
    const size_t steps = 1 + random.Below(8);
    for (size_t step = 0; step < steps; ++step) {
        switch (random.Below(7)) {
            case 0:  // flip a bit
                if (!input.empty()) input[random.Below(input.size())] ^= static_cast<uint8_t>(1u << random.Below(8));
                break;
            case 1:  // a byte that matters
                if (!input.empty())
                    input[random.Below(input.size())] = kInteresting[random.Below(std::size(kInteresting))];
                break;
            case 2:  // insert bytes
                input.insert(input.begin() + static_cast<long>(random.Below(input.size() + 1)), 1 + random.Below(4),
                             kInteresting[random.Below(std::size(kInteresting))]);
                break;
            case 3: {  // delete a range
                if (input.empty()) break;
                const size_t at = random.Below(input.size());
                const size_t count = 1 + random.Below(std::min<size_t>(16, input.size() - at));
                input.erase(input.begin() + static_cast<long>(at), input.begin() + static_cast<long>(at + count));
                break;
            }
            case 4: {  // repeat a piece
                if (input.empty() || input.size() > 1 << 16) break;
                const size_t at = random.Below(input.size());
                const size_t count = 1 + random.Below(std::min<size_t>(64, input.size() - at));
                Bytes piece(input.begin() + static_cast<long>(at), input.begin() + static_cast<long>(at + count));
                input.insert(input.begin() + static_cast<long>(random.Below(input.size() + 1)), piece.begin(),
                             piece.end());
                break;
            }
            case 5:  // cut short
                if (!input.empty()) input.resize(random.Below(input.size()));
                break;
            case 6: {  // splice another seed in
                if (seeds.empty()) break;
                const Bytes& other = seeds[random.Below(seeds.size())];
                if (other.empty()) break;
                const size_t from = random.Below(other.size());
                input.insert(input.begin() + static_cast<long>(random.Below(input.size() + 1)),
                             other.begin() + static_cast<long>(from), other.end());
                break;
            }
        }
    }
    return input;
}

bool ReadFile(const std::filesystem::path& path, Bytes& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

bool LoadSeeds(const std::vector<std::string>& names, std::vector<Bytes>& seeds) {
    for (const std::string& name : names) {
        std::error_code error;
        std::vector<std::filesystem::path> files;
        if (std::filesystem::is_directory(name, error)) {
            for (const auto& entry : std::filesystem::directory_iterator(name, error))
                if (entry.is_regular_file()) files.push_back(entry.path());
            std::sort(files.begin(), files.end());  // the same order on every run
        } else {
            files.push_back(name);
        }
        for (const auto& file : files) {
            Bytes bytes;
            if (!ReadFile(file, bytes)) {
                std::fprintf(stderr, "fuzz: cannot read the seed %s\n", file.string().c_str());
                return false;
            }
            seeds.push_back(std::move(bytes));
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "-h" || arg == "--help") {
            Usage(stdout, argv[0]);
            return 0;
        }
        if ((arg == "--runs" || arg == "--dump") && i + 1 < argc) {
            if (!ParseCount(argv[++i], arg == "--runs" ? options.runs : options.dump)) {
                std::fprintf(stderr, "fuzz: %s wants a whole number, not '%s'\n", arg.c_str(), argv[i]);
                return 2;
            }
            continue;
        }
        if (arg.rfind("--", 0) == 0) {
            std::fprintf(stderr, "fuzz: unknown option %s\n", arg.c_str());
            Usage(stderr, argv[0]);
            return 2;
        }
        options.seeds.push_back(arg);
    }
    std::vector<Bytes> seeds;
    if (!LoadSeeds(options.seeds, seeds)) return 2;

    Random random(0x5EED);
    if (options.dump >= 0) {
        Bytes input;
        for (long run = 0; run <= options.dump; ++run) input = Mutate(seeds, random);
        const std::string name = "fuzz-input-" + std::to_string(options.dump);
        std::ofstream(name, std::ios::binary).write(reinterpret_cast<const char*>(input.data()),
                                                     static_cast<std::streamsize>(input.size()));
        std::printf("fuzz: wrote %s (%zu bytes)\n", name.c_str(), input.size());
        return 0;
    }

    for (const Bytes& seed : seeds) LLVMFuzzerTestOneInput(seed.data(), seed.size());
    size_t longest = 0;
    for (long run = 0; run < options.runs; ++run) {
        const Bytes input = Mutate(seeds, random);
        longest = std::max(longest, input.size());
        // A crash lies within 10000 mutations of the last one announced; --dump
        // writes them out one by one.
        if (run % 10000 == 0) std::fprintf(stderr, "fuzz: mutation %ld\n", run);
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::printf("fuzz: %zu seeds and %ld mutations (longest %zu bytes) ran cleanly\n", seeds.size(), options.runs,
                longest);
    return 0;
}
