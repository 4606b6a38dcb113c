#include "plugins/datastore/TableSnapshot.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace {

using Ids = std::vector<LONG>;
using Rows = std::vector<std::pair<std::int64_t, std::uint64_t>>;

SValue Integer(std::int64_t value)
{
    return {.type = eValue_Integer, .integer = value, .bytes = {}};
}

SValue Text(std::string_view text)
{
    return {.type = eValue_Text, .bytes = text};
}

CTableSnapshot SnapshotOf(const Rows& rows)
{
    CTableSnapshot snapshot;
    for (const auto& [id, hash] : rows)
        EXPECT_TRUE(snapshot.AddRow(Integer(id), hash));
    return snapshot;
}

STableChange Change(const Rows& then, const Rows& now)
{
    return SnapshotOf(now).ChangeSince(SnapshotOf(then));
}

std::uint64_t HashOf(const std::vector<SValue>& values)
{
    CRowHash hash;
    for (const SValue& value : values)
        hash.Add(value);
    return hash.Value();
}

} // namespace

TEST(TableSnapshot, EqualStatesHaveNoChange)
{
    EXPECT_EQ(Change({}, {}).Count(), 0U);
    EXPECT_EQ(Change({{1, 10}, {2, 20}}, {{1, 10}, {2, 20}}).Count(), 0U);
    EXPECT_FALSE(Change({{1, 10}}, {{1, 10}}).isWhole);
}

TEST(TableSnapshot, TellsAddedChangedAndRemovedRows)
{
    const STableChange change = Change({{-5, 1}, {1, 10}, {2, 20}, {9, 90}}, {{-7, 2}, {1, 11}, {2, 20}, {3, 30}});
    EXPECT_EQ(change.added, (Ids{-7, 3}));
    EXPECT_EQ(change.changed, (Ids{1}));
    EXPECT_EQ(change.removed, (Ids{-5, 9}));
    EXPECT_FALSE(change.isWhole);
}

TEST(TableSnapshot, FromNothingAndToNothing)
{
    EXPECT_EQ(Change({}, {{1, 10}, {2, 20}}).added, (Ids{1, 2}));
    EXPECT_EQ(Change({{1, 10}, {2, 20}}, {}).removed, (Ids{1, 2}));
}

TEST(TableSnapshot, AnIdThatAnEventCannotCarryMakesItTheWholeTable)
{
    constexpr std::int64_t kTooLarge = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
    EXPECT_TRUE(Change({{1, 10}}, {{1, 10}, {kTooLarge, 20}}).isWhole);
    EXPECT_TRUE(Change({{1, 10}, {kTooLarge, 20}}, {{1, 10}}).isWhole);
    EXPECT_TRUE(Change({{1, 10}, {kTooLarge, 20}}, {{1, 10}, {kTooLarge, 21}}).isWhole);
    EXPECT_FALSE(Change({{1, 10}, {kTooLarge, 20}}, {{1, 10}, {kTooLarge, 20}}).isWhole);
    EXPECT_EQ(Change({}, {{kTooLarge - 1, 20}}).added, (Ids{std::numeric_limits<std::int32_t>::max()}));
    EXPECT_EQ(Change({}, {{-kTooLarge, 20}}).added, (Ids{std::numeric_limits<std::int32_t>::min()}));
}

TEST(TableSnapshot, RowsWithoutIdsAreComparedAsAWhole)
{
    const auto snapshot = [](const std::vector<std::uint64_t>& hashes) {
        CTableSnapshot made;
        for (const std::uint64_t hash : hashes)
            EXPECT_TRUE(made.AddRow({}, hash));
        return made;
    };
    EXPECT_FALSE(snapshot({1, 2}).ChangeSince(snapshot({1, 2})).isWhole);
    EXPECT_TRUE(snapshot({1, 2}).ChangeSince(snapshot({2, 1})).isWhole);
    EXPECT_TRUE(snapshot({1, 2}).ChangeSince(snapshot({1, 2, 0})).isWhole);
    EXPECT_TRUE(snapshot({0}).ChangeSince(snapshot({})).isWhole);
}

TEST(TableSnapshot, AColumnThatOnlyLooksLikeAnIdIsNone)
{
    CTableSnapshot then;
    CTableSnapshot now;
    for (CTableSnapshot* snapshot : {&then, &now}) {
        EXPECT_TRUE(snapshot->AddRow(Integer(1), 10));
        EXPECT_TRUE(snapshot->AddRow(Integer(1), snapshot == &now ? 11U : 10U));
    }
    EXPECT_TRUE(now.ChangeSince(then).isWhole);
}

TEST(TableSnapshot, ATableOverTheLimitMayAlwaysHaveChanged)
{
    CTableSnapshot full;
    for (std::size_t row = 0; row < CTableSnapshot::kMaxRows; ++row)
        ASSERT_TRUE(full.AddRow(Integer(static_cast<std::int64_t>(row)), row));
    CTableSnapshot large = full;
    EXPECT_FALSE(large.AddRow(Integer(std::int64_t{CTableSnapshot::kMaxRows}), 0));
    EXPECT_FALSE(full.ChangeSince(full).isWhole);
    EXPECT_TRUE(large.ChangeSince(full).isWhole);
    EXPECT_TRUE(full.ChangeSince(large).isWhole);
    EXPECT_TRUE(large.ChangeSince(large).isWhole);
}

TEST(TableSnapshot, MoreIdsThanAnEventShouldCarryAreTheWholeTable)
{
    Rows rows;
    for (std::size_t row = 0; row < CTableSnapshot::kMaxIds; ++row)
        rows.emplace_back(static_cast<std::int64_t>(row), row);
    EXPECT_EQ(Change({}, rows).added.size(), CTableSnapshot::kMaxIds);
    rows.emplace_back(std::int64_t{CTableSnapshot::kMaxIds}, 0);
    EXPECT_TRUE(Change({}, rows).isWhole);
    EXPECT_TRUE(Change({}, rows).added.empty());
}

TEST(RowHash, TellsValuesApart)
{
    EXPECT_EQ(HashOf({Text("ab"), Integer(1)}), HashOf({Text("ab"), Integer(1)}));
    EXPECT_NE(HashOf({Text("ab"), Text("c")}), HashOf({Text("a"), Text("bc")}));
    EXPECT_NE(HashOf({Text("1")}), HashOf({Integer(1)}));
    EXPECT_NE(HashOf({Integer(1)}), HashOf({{.type = eValue_Real, .real = 1.0, .bytes = {}}}));
    EXPECT_NE(HashOf({Text("")}), HashOf({SValue{}}));
    EXPECT_NE(HashOf({Text("a")}), HashOf({{.type = eValue_Blob, .bytes = "a"}}));
    EXPECT_NE(HashOf({Integer(1), Integer(2)}), HashOf({Integer(2), Integer(1)}));
}

TEST(TableSnapshot, ATableThatIsFoundTooLargeIsLeftForLongerAndLonger)
{
    CTableSnapshot old("CREATE TABLE t(a)");
    old.FindTooLarge(nullptr);
    for (const int pause : {1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024, 1024}) {
        for (int change = 0; change < pause; ++change) {
            CTableSnapshot left("CREATE TABLE t(a)");
            ASSERT_TRUE(left.IsToBeLeft(old)) << pause << " " << change;
            EXPECT_TRUE(left.ChangeSince(old).isWhole);
            old = left;
        }
        CTableSnapshot read("CREATE TABLE t(a)");
        ASSERT_FALSE(read.IsToBeLeft(old)) << pause;
        read.FindTooLarge(&old);
        old = read;
    }
}

TEST(TableSnapshot, ATableWithAnotherDefinitionIsNotLeft)
{
    CTableSnapshot old("CREATE TABLE t(a)");
    old.FindTooLarge(nullptr);
    EXPECT_FALSE(CTableSnapshot("CREATE TABLE t(a, b)").IsToBeLeft(old));
}
