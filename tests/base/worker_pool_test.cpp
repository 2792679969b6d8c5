#include "base/worker_pool.h"

#include <gtest/gtest.h>

#include <numeric>
#include <stdexcept>

namespace brisko {
namespace {

TEST(WorkerPool, DoesEachJobOnceAndHandsTheFirstFailureToTheCaller) {
    for (const std::size_t threads : {1U, 2U, 9U}) {
        for (const std::size_t count : {0U, 1U, 3U, 1000U}) {
            std::vector<std::atomic<int>> calls(count);
            forEachIndex(
                count, [&](std::size_t i) { ++calls[i]; }, threads);
            for (const auto& times : calls)
                EXPECT_EQ(times, 1);
            std::atomic<std::size_t> ran = 0;
            const auto failing = [&](std::size_t i) {
                ++ran;
                if (i == count / 2) throw std::out_of_range("job");
            };
            if (count == 0) continue;
            EXPECT_THROW(forEachIndex(count, failing, threads), std::out_of_range);
            EXPECT_TRUE(threads > 1 || ran == count / 2 + 1);
        }
    }
}

TEST(WorkerPool, TakesResultsInTheOrderAskedForAndKeepsFew) {
    for (const std::size_t threads : {0U, 1U, 3U}) {
        for (const ResultOrder order : {ResultOrder::Index, ResultOrder::Completion}) {
            std::atomic<std::size_t> computed = 0;
            std::vector<std::size_t> taken;
            const auto square = [&](std::size_t i) {
                ++computed;
                return i * i;
            };
            collectResults(500, threads, order, square, [&](std::size_t i, std::size_t& result) {
                EXPECT_EQ(result, i * i);
                EXPECT_LE(computed, taken.size() + threads + 2);
                taken.push_back(i);
            });
            if (order == ResultOrder::Completion) std::sort(taken.begin(), taken.end());
            std::vector<std::size_t> all(500);
            std::iota(all.begin(), all.end(), std::size_t{0});
            EXPECT_EQ(taken, all);
            const auto fail = [](std::size_t, std::size_t&) { throw std::out_of_range("take"); };
            EXPECT_THROW(collectResults(500, threads, order, square, fail), std::out_of_range);
        }
    }
}

TEST(WorkerPool, StopsInTheMiddleWhenAskedToAndStartsAgain) {
    WorkerPool pool(3);
    std::atomic<int> done = 0;
    pool.start(1'000'000'000, [&](std::size_t) { ++done; });
    pool.stop();
    EXPECT_LT(done, 1'000'000'000);
    done = 0;
    pool.start(10, [&](std::size_t) { ++done; });
    pool.wait();
    EXPECT_EQ(done, 10);

    const auto untilStopped = [](std::size_t, const GoesOn& isWanted) {
        while (isWanted())
            std::this_thread::yield();
    };
    int asked = 0;
    const auto goesOn = [&] { return ++asked < 3; };
    EXPECT_THROW(forEachIndexWhile(goesOn, 1'000'000'000, untilStopped), WorkStopped);
    EXPECT_EQ(asked, 3) << "asked while jobs run";
}

}  // namespace
}  // namespace brisko
