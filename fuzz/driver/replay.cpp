// Replays a fuzz target without libFuzzer: every committed seed, then mutations of the seeds
// (bit flips, byte overwrites with extreme values, truncations, splices) and random inputs of
// every length up to 4 KiB. Deterministic for a given OZMU_TEST_SEED.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "checkasm.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

using Input = std::vector<uint8_t>;

std::vector<Input> seeds()
{
    std::vector<Input> inputs;
    const std::filesystem::path dir = OZMU_FUZZ_CORPUS;
    if (!std::filesystem::is_directory(dir))
        return inputs;
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::directory_iterator(dir))
        if (entry.is_regular_file())
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const auto &file : files) {
        std::ifstream in(file, std::ios::binary);
        inputs.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    return inputs;
}

// Runs the target on an exact-size heap copy, so that ASan sees any read past the input.
void run(const Input &input)
{
    std::vector<uint8_t> copy(input);
    LLVMFuzzerTestOneInput(copy.empty() ? nullptr : copy.data(), copy.size());
}

Input mutate(ozmu::test::Rng &rng, const std::vector<Input> &pool)
{
    Input out = pool[rng.range(0, static_cast<int>(pool.size()) - 1)];
    const int edits = rng.range(1, 8);
    for (int e = 0; e < edits; ++e) {
        switch (rng.range(0, 4)) {
        case 0:  // flip a bit
            if (!out.empty())
                out[rng.range(0, static_cast<int>(out.size()) - 1)] ^=
                    uint8_t(1u << rng.range(0, 7));
            break;
        case 1: {  // overwrite a byte with an extreme or structural value
            static const uint8_t kValues[] = {0, 1, 0x7F, 0x80, 0xFF, '\n', '\r', '%', '/', ':'};
            if (!out.empty())
                out[rng.range(0, static_cast<int>(out.size()) - 1)] =
                    kValues[rng.range(0, static_cast<int>(sizeof kValues) - 1)];
            break;
        }
        case 2:  // truncate
            out.resize(static_cast<size_t>(rng.range(0, static_cast<int>(out.size()))));
            break;
        case 3: {  // splice in part of another seed
            const Input &other = pool[rng.range(0, static_cast<int>(pool.size()) - 1)];
            const int at = rng.range(0, static_cast<int>(out.size()));
            const int from = rng.range(0, static_cast<int>(other.size()));
            const int len = rng.range(0, static_cast<int>(other.size()) - from);
            out.insert(out.begin() + at, other.begin() + from, other.begin() + from + len);
            break;
        }
        default: {  // insert random bytes
            Input extra(static_cast<size_t>(rng.range(1, 16)));
            rng.fill(extra.data(), extra.size());
            out.insert(out.begin() + rng.range(0, static_cast<int>(out.size())), extra.begin(),
                       extra.end());
        }
        }
    }
    return out;
}

TEST(FuzzReplay, Seeds)
{
    const auto inputs = seeds();
    EXPECT_FALSE(inputs.empty()) << "no seeds in " << OZMU_FUZZ_CORPUS;
    for (const Input &input : inputs)
        run(input);
}

TEST(FuzzReplay, MutatedSeeds)
{
    auto pool = seeds();
    if (pool.empty())
        pool.emplace_back();
    ozmu::test::Rng rng(1);
    for (int i = 0; i < 3000; ++i)
        run(mutate(rng, pool));
}

TEST(FuzzReplay, RandomInputs)
{
    ozmu::test::Rng rng(2);
    run({});
    for (int i = 0; i < 2000; ++i) {
        Input input(static_cast<size_t>(i < 256 ? i : rng.range(0, 4096)));
        rng.fill(input.data(), input.size());
        run(input);
    }
}

}  // namespace
