// Runs one fuzz target over its seed files (or folders of them), then over
// --runs N mutations of them. The mutations come from a fixed generator, so a
// run that fails fails again the same way; --dump K writes the input of
// mutation K to fuzz-input-K and runs nothing.
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
    uint64_t Next() {
        m_state ^= m_state >> 12;
        m_state ^= m_state << 25;
        m_state ^= m_state >> 27;
        return m_state * 2685821657736338717ull;
    }
    size_t Below(size_t n) { return n ? static_cast<size_t>(Next() % n) : 0; }

private:
    uint64_t m_state = 0x5EED;
};

// Bytes that readers of text and frames tend to decide on.
const uint8_t kInteresting[] = {0,   '\n', '"', '\\', '{', '}',  '[',  ']',  ':',  ',',  '(',
                                ')', ' ',  '0', '9',  '-', 0x7f, 0x80, 0xc3, 0xe2, 0xf0, 0xff};

Bytes Mutate(const std::vector<Bytes>& seeds, Random& random) {
    Bytes input = seeds.empty() ? Bytes() : seeds[random.Below(seeds.size())];
    const auto at = [&](size_t past) { return input.begin() + static_cast<long>(random.Below(input.size() + past)); };
    const auto interesting = [&] { return kInteresting[random.Below(std::size(kInteresting))]; };
    for (size_t step = 0, steps = 1 + random.Below(8); step < steps; ++step) {
        const size_t kind = random.Below(7);
        if (input.empty() && kind != 2 && kind != 6) continue;
        switch (kind) {
            // Flip a bit, set a byte that matters, insert some, delete or
            // repeat a piece, cut short.
            case 0: *at(0) ^= static_cast<uint8_t>(1u << random.Below(8)); break;
            case 1: *at(0) = interesting(); break;
            case 2: input.insert(at(1), 1 + random.Below(4), interesting()); break;
            case 3:
            case 4: {
                const auto from = at(0);
                const long most = std::min<long>(kind == 3 ? 16 : 64, input.end() - from);
                const auto to = from + 1 + static_cast<long>(random.Below(static_cast<size_t>(most)));
                if (kind == 3) {
                    input.erase(from, to);
                } else if (input.size() <= 1 << 16) {
                    const Bytes piece(from, to);
                    input.insert(at(1), piece.begin(), piece.end());
                }
                break;
            }
            case 5: input.resize(random.Below(input.size())); break;
            case 6: {  // splice in the tail of a seed
                if (seeds.empty()) break;
                const Bytes& other = seeds[random.Below(seeds.size())];
                input.insert(at(1), other.begin() + static_cast<long>(random.Below(other.size())), other.end());
                break;
            }
        }
    }
    return input;
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
            std::ifstream in(file, std::ios::binary);
            if (!in) {
                std::fprintf(stderr, "fuzz: cannot read the seed %s\n", file.string().c_str());
                return false;
            }
            seeds.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    long runs = 2000, dump = -1;
    std::vector<std::string> names;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const char* usage = "Usage: %s [--runs N (default 2000)] [--dump K] SEED...\n";
        if (arg == "-h" || arg == "--help") {
            std::printf(usage, argv[0]);
            return 0;
        }
        if (arg == "--runs" || arg == "--dump") {
            if (i + 1 == argc || !ParseCount(argv[++i], arg == "--runs" ? runs : dump)) {
                std::fprintf(stderr, "fuzz: %s wants a whole number\n", arg.c_str());
                return 2;
            }
        } else if (arg.rfind("--", 0) == 0) {
            std::fprintf(stderr, usage, argv[0]);
            return 2;
        } else {
            names.push_back(arg);
        }
    }
    std::vector<Bytes> seeds;
    if (!LoadSeeds(names, seeds)) return 2;

    Random random;
    if (dump >= 0) {
        Bytes input;
        for (long run = 0; run <= dump; ++run) input = Mutate(seeds, random);
        const std::string name = "fuzz-input-" + std::to_string(dump);
        std::ofstream(name, std::ios::binary)
            .write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
        std::printf("fuzz: wrote %s (%zu bytes)\n", name.c_str(), input.size());
        return 0;
    }
    for (const Bytes& seed : seeds) LLVMFuzzerTestOneInput(seed.data(), seed.size());
    size_t longest = 0;
    for (long run = 0; run < runs; ++run) {
        const Bytes input = Mutate(seeds, random);
        longest = std::max(longest, input.size());
        // A crash lies within 10000 mutations of the last one announced.
        if (run % 10000 == 0) std::fprintf(stderr, "fuzz: mutation %ld\n", run);
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::printf("fuzz: %zu seeds and %ld mutations (longest %zu bytes) ran cleanly\n", seeds.size(), runs, longest);
    return 0;
}
