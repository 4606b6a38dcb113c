#include "plugins/datastore/SqlSearch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>

TEST(SqlSearch, FindsWhatTheStandardFinds)
{
    std::mt19937 random(20);
    const auto text = [&](std::size_t length, unsigned letters) {
        std::string made(length, '\0');
        for (char& letter : made)
            letter = static_cast<char>('a' + random() % letters);
        return made;
    };
    for (int round = 0; round < 20000; ++round) {
        const auto letters = static_cast<unsigned>(1 + random() % 3);
        const std::string where = text(random() % 60, letters);
        const std::string what = text(1 + random() % 8, letters);
        const std::size_t from = where.empty() ? 0 : random() % where.size();
        const std::size_t found = where.find(what, from);
        EXPECT_EQ(CSqlSearch(what).Find(where, from), found == std::string::npos ? where.size() : found)
            << what << " in " << where << " from " << from;
    }
}

TEST(SqlSearch, FindsEachOfMany)
{
    const std::string what = std::string(50, 'a') + "b";
    std::string where;
    for (int round = 0; round < 100; ++round)
        where += std::string(49, 'a') + "c" + std::string(60, 'a') + "b";
    CSqlSearch search(what);
    std::size_t count = 0;
    for (std::size_t at = search.Find(where, 0); at < where.size(); at = search.Find(where, at + what.size())) {
        EXPECT_EQ(where.compare(at, what.size(), what), 0);
        ++count;
    }
    EXPECT_EQ(count, 100U);
}

TEST(SqlSearch, AHostileNeedleTakesNoLonger)
{
    // Half an hour and more where each place is compared anew.
    const std::string where(4000000, 'a');
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(CSqlSearch(std::string(2000000, 'a') + "b").Find(where, 0), where.size());
    EXPECT_EQ(CSqlSearch(std::string(1000000, 'a') + "b" + std::string(1000000, 'a')).Find(where, 0), where.size());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}
