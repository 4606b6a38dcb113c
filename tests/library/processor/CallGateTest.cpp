#include "processor/CallGate.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t kCallers = 4;

/// Callers that are told apart by their places.
using Callers = std::array<char, kCallers>;

} // namespace

TEST(CallGateTest, WhoWaitsIsLetInInTheOrderOfArrival)
{
    CCallGate gate;
    Callers callers{};
    std::array<std::atomic<bool>, kCallers> wait{};
    std::vector<std::size_t> order; // whoever is in writes it
    ASSERT_TRUE(gate.TryEnter(&gate));
    std::vector<std::thread> threads;
    for (std::size_t caller = 0; caller < kCallers; ++caller) {
        threads.emplace_back([&, caller] {
            EXPECT_TRUE(gate.Enter(&callers[caller], [&, caller] {
                wait[caller] = true; // asked behind the arrival
                wait[caller].notify_all();
                return true;
            }));
            order.push_back(caller);
            gate.Leave(&callers[caller]);
        });
        wait[caller].wait(false);
    }
    gate.Leave(&gate);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(order, (std::vector<std::size_t>{0, 1, 2, 3}));
}

TEST(CallGateTest, NobodyComesBeforeThoseThatWait)
{
    CCallGate gate;
    Callers callers{};
    ASSERT_TRUE(gate.TryEnter(&gate));
    EXPECT_TRUE(gate.Enter(&callers[0], [&] {
        gate.Leave(&gate);
        EXPECT_FALSE(gate.TryEnter(&callers[1]));
        return true;
    }));
    EXPECT_TRUE(gate.TryEnter(&callers[0])) << "he is in";
}

TEST(CallGateTest, WhoGaveUpOrWasTakenAwayWhileHeWaitedKeepsNobodyOut)
{
    CCallGate gate;
    Callers callers{};
    ASSERT_TRUE(gate.TryEnter(&gate));
    EXPECT_FALSE(gate.Enter(&callers[0], [] { return false; }));
    EXPECT_THROW(static_cast<void>(gate.Enter(&callers[1], []() -> bool { throw std::runtime_error("own"); })),
                 std::runtime_error);
    gate.Leave(&callers[1]); // whoever outlives it
    EXPECT_FALSE(gate.TryEnter(&callers[2])) << "somebody is in";
    gate.Leave(&gate);
    EXPECT_TRUE(gate.TryEnter(&callers[2]));
}
