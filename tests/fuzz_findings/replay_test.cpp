#include "support/conversion_fixture.h"
#include "target.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

namespace brisko::fuzz {

namespace {

class FuzzTarget : public testing::TestWithParam<Target> {};

TEST_P(FuzzTarget, HoldsForItsSeedsAndTheirBeginnings) {
    const test::SilentOutput silent;
    const Target& target = GetParam();
    target.run({});
    for (const Bytes& seed : target.seeds()) {
        target.run(seed);
        for (std::size_t size = seed.size() % 13; size < seed.size(); size += 1 + seed.size() / 8)
            target.run({seed.data(), size});
    }
}

TEST_P(FuzzTarget, HoldsForWhatOnceFailed) {
    const test::SilentOutput silent;
    const Target& target = GetParam();
    const auto folder = std::filesystem::path(BRISKO_FUZZ_FINDINGS) / target.name;
    if (!std::filesystem::exists(folder)) return;
    for (const auto& file : std::filesystem::directory_iterator(folder))
        target.run(test::readFile(file.path().string()));
}

/// A few bytes are changed, and half of the inputs cut; the same inputs every time.
TEST_P(FuzzTarget, HoldsForChangedSeeds) {
    const test::SilentOutput silent;
    const Target& target = GetParam();
    const std::vector<Bytes> seeds = target.seeds();
    std::mt19937 random(1);
    for (const Bytes& seed : seeds) {
        for (std::size_t round = 0; round < 1 + 400 / seeds.size(); ++round) {
            Bytes input = seed;
            for (std::size_t changes = random() % 5; changes > 0; --changes)
                input[random() % input.size()] =
                    static_cast<std::uint8_t>(random() >> random() % 9);
            if (round % 2 == 0) input.resize(random() % (seed.size() + 1));
            target.run(input);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, FuzzTarget, testing::ValuesIn(targets()),
                         [](const auto& target) { return std::string(target.param.name); });

}  // namespace

}  // namespace brisko::fuzz
