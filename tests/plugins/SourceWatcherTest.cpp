#include "platform/Text.h"
#include "tests/plugins/SourceWatcherFixture.h"

using namespace plugintest;

namespace {

int EditDatabase(const std::vector<std::wstring>& arguments)
{
    CConnection(arguments.at(0)).Execute(platform::ToUtf8(arguments.at(1)));
    return 0;
}
const testsupport::CChildPart kEditPart(L"edit-database", &EditDatabase);

using SourceWatcher = CSourceWatcherFixture;

} // namespace

TEST_F(SourceWatcher, TellsWhichRowsCameChangedAndWent)
{
    Start();
    m_data.Make(L"box", "BEGIN; INSERT INTO birds VALUES(4, 'tit'), (5, 'jay'); UPDATE birds SET name = 'egret' WHERE "
                        "id = 7; DELETE FROM birds WHERE id = 9; COMMIT");
    EXPECT_EQ(Next(), "items added box/birds 4 5 changed box/birds 7 removed box/birds 9");
    m_data.Make(L"box", "DELETE FROM birds WHERE id = 4");
    EXPECT_EQ(Next(), "items removed box/birds 4");
}

TEST_F(SourceWatcher, AnotherProcessCounts)
{
    Start();
    auto child = testsupport::StartChild(L"edit-database",
                                         {m_data.PathOf(L"box"), L"UPDATE birds SET name = 'egret' WHERE id = 7"});
    EXPECT_EQ(Next(), "items changed box/birds 7");
    EXPECT_EQ(testsupport::FinishChild(child), 0);
}

TEST_F(SourceWatcher, AWriteAheadLogCounts)
{
    CConnection writer(m_data.PathOf(L"box"));
    writer.Execute("PRAGMA journal_mode = WAL; INSERT INTO birds VALUES(1, 'a')");
    Start();
    for (int round = 0; round < 3; ++round) {
        writer.Execute("UPDATE birds SET name = name || 'x' WHERE id = 7");
        EXPECT_EQ(Next(), "items changed box/birds 7");
    }
    writer.Execute("PRAGMA wal_checkpoint(TRUNCATE); DELETE FROM birds WHERE id = 1");
    EXPECT_EQ(Next(), "items removed box/birds 1");
}

TEST_F(SourceWatcher, WhatChangesNoValueIsNotTold)
{
    Start();
    m_data.Make(L"box", "UPDATE birds SET name = name");
    m_data.Make(L"box", "BEGIN; DELETE FROM birds; ROLLBACK");
    m_data.Make(L"box", "UPDATE birds SET name = 'egret' WHERE id = 7");
    EXPECT_EQ(Next(), "items changed box/birds 7");
}

TEST_F(SourceWatcher, TablesThatComeGoOrGetColumnsAreSources)
{
    Start();
    m_data.Make(L"box", "CREATE TABLE fish(x)");
    EXPECT_EQ(Next(), "sources box/fish");
    m_data.Make(L"box", "ALTER TABLE birds ADD COLUMN size REAL");
    EXPECT_EQ(Next(), "sources box/birds");
    m_data.Make(L"box", "INSERT INTO fish VALUES('eel')");
    EXPECT_EQ(Next(), "items added box/fish 1");
    m_data.Make(L"box", "DROP TABLE fish");
    EXPECT_EQ(Next(), "sources box/fish");
}

TEST_F(SourceWatcher, ANewDataSourceIsWatched)
{
    Start();
    m_data.Make(L"crate", "CREATE TABLE boats(name TEXT)");
    EXPECT_EQ(Next(), "sources crate/boats");
    m_data.Make(L"crate", "INSERT INTO boats VALUES('kayak')");
    EXPECT_EQ(Next(), "items added crate/boats 1");
}

TEST_F(SourceWatcher, ADataSourceMayVanishAndComeBack)
{
    Start();
    std::error_code error;
    std::filesystem::remove(m_data.PathOf(L"box"), error);
    if (error)
        return ExpectStillWatched();
    EXPECT_EQ(Next(), "sources box/birds");
    m_data.Make(L"box", "BEGIN; CREATE TABLE birds(id INTEGER PRIMARY KEY, name TEXT);"
                        "INSERT INTO birds VALUES(1, 'tern'); COMMIT");
    EXPECT_EQ(Next(), "sources box/birds");
    m_data.Make(L"box", "INSERT INTO birds VALUES(2, 'gull')");
    EXPECT_EQ(Next(), "items added box/birds 2");
}

TEST_F(SourceWatcher, ADataSourceThatIsReplacedIsComparedWithTheOldOne)
{
    m_data.Make(L"other", "CREATE TABLE birds(id INTEGER PRIMARY KEY, name TEXT);"
                          "INSERT INTO birds VALUES(3, 'wren'), (7, 'egret')");
    std::filesystem::rename(m_data.PathOf(L"other"), m_data.PathOf(L"other") + L".new");
    Start();
    std::error_code error;
    std::filesystem::rename(m_data.PathOf(L"other") + L".new", m_data.PathOf(L"box"), error);
    if (error)
        return ExpectStillWatched();
    EXPECT_EQ(Next(), "items changed box/birds 7 removed box/birds 9");
}

TEST_F(SourceWatcher, ALockTableIsNoEvent)
{
    m_data.Make(L"box", "CREATE TABLE zel_locks(item INTEGER, owner TEXT)");
    Start();
    m_data.Make(L"box", "INSERT INTO zel_locks VALUES(7, 'me')");
    EXPECT_EQ(Next(), "locks");
    m_data.Make(L"box", "BEGIN; DELETE FROM zel_locks; DELETE FROM birds WHERE id = 7; COMMIT");
    EXPECT_EQ(Next(), "items removed box/birds 7");
    EXPECT_EQ(Next(), "locks");
    m_data.Make(L"box", "DROP TABLE zel_locks");
    EXPECT_EQ(Next(), "locks");
}

TEST_F(SourceWatcher, ALockedSourceIsReadWhenItIsFree)
{
    Start();
    {
        CExclusiveWriter writer(m_data.PathOf(L"box"));
        writer.Execute("DELETE FROM birds WHERE id = 3");
        // The other source is told while this one is locked.
        m_data.Make(L"crate", "CREATE TABLE boats(name TEXT)");
        EXPECT_EQ(Next(), "sources crate/boats");
        writer.Execute("COMMIT");
    }
    EXPECT_EQ(Next(), "items removed box/birds 3");
}

TEST_F(SourceWatcher, ASourceThatIsLockedAtTheStartComesLater)
{
    {
        CExclusiveWriter writer(m_data.PathOf(L"box"));
        Start();
        writer.Execute("COMMIT");
    }
    // Nobody wrote anything, so there is nothing to tell; and it may not have been read yet.
    m_data.Make(L"box", "DELETE FROM birds WHERE id = 3");
    const std::string told = Next();
    EXPECT_TRUE(told == "items removed box/birds 3" || told == "sources box/birds") << told;
}

TEST_F(SourceWatcher, WhatIsWrittenBeforeItWasReadIsToldAsAWhole)
{
    CExclusiveWriter writer(m_data.PathOf(L"box"));
    Start(); // which can't read this one
    writer.Execute("DELETE FROM birds WHERE id = 3; COMMIT");
    EXPECT_EQ(Next(), "sources box/birds");
    writer.Execute("DELETE FROM birds WHERE id = 7");
    EXPECT_EQ(Next(), "items removed box/birds 7");
}

TEST_F(SourceWatcher, OfATableNoMoreIsReadThanItsBudget)
{
    // 68 MB in 68 rows.
    m_data.Make(L"box", "CREATE TABLE fish(id INTEGER PRIMARY KEY, x);"
                        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 68)"
                        "INSERT INTO fish SELECT i, zeroblob(1000000) FROM n");
    Start();
    m_host.ExpectLogLine(L"Data source \"box\": table \"fish\" is too large to be watched row by row");
    for (int round = 0; round < 3; ++round) {
        m_data.Make(L"box", "UPDATE birds SET name = name || 'x' WHERE id = 7");
        EXPECT_EQ(Next(), "reload box/fish");
        EXPECT_EQ(Next(), "items changed box/birds 7");
    }
    // It is tried again, later and later: the first time at the second change, then at the fifth.
    m_data.Make(L"box", "DELETE FROM fish WHERE id > 2");
    std::string told = Next();
    for (int round = 0; round < 8 && told == "reload box/fish"; ++round) {
        m_data.Make(L"box", "UPDATE fish SET x = " + std::to_string(round));
        told = Next();
    }
    EXPECT_EQ(told, "items changed box/fish 1 2");
}

TEST_F(SourceWatcher, WhatIsTooMuchForOneLookIsReadAtTheNext)
{
    m_data.Make(L"crate", "CREATE TABLE boats(name TEXT)");
    bool isFirst = true;
    m_sink->OnTold([&] { // on the thread that looks, so that both are there at its next look
        if (!std::exchange(isFirst, false))
            return;
        m_data.Make(L"box", "UPDATE birds SET name = 'egret' WHERE id = 7");
        m_data.Make(L"crate", "INSERT INTO boats VALUES('tug')");
    });
    CSourceWatcher watcher(1); // a row is more than that
    ASSERT_EQ(watcher.Start(m_sink.Get()), S_OK);
    m_data.Make(L"started", "CREATE TABLE t(x)");
    EXPECT_EQ(Next(), "sources started/t");
    const std::set<std::string> told = {Next(), Next()}; // whose turn it is depends on how many looks there were
    EXPECT_EQ(told, (std::set<std::string>{"items changed box/birds 7", "items added crate/boats 1"}));
    EXPECT_EQ(watcher.StopTelling(), S_OK);
}

TEST_F(SourceWatcher, WhatIsNoDatabaseIsLoggedAndTriedAgain)
{
    Write(L"junk", std::string(2000, 'x'));
    Start();
    m_host.ExpectLogLine(L"Data source \"junk\": can't be watched: file is not a database");
    m_data.Make(L"box", "DELETE FROM birds WHERE id = 3");
    EXPECT_EQ(Next(), "items removed box/birds 3");
    Write(L"junk", "");
    m_data.Make(L"junk", "CREATE TABLE t(x)");
    EXPECT_EQ(Next(), "sources junk/t");
}

TEST_F(SourceWatcher, ATableThatCannotBeReadIsLoggedOnce)
{
    const std::wstring fish = L"table \"fish\" can't be watched row by row: string or blob too big";
    const std::wstring codes = L"table \"codes\" can't be watched row by row: string or blob too big";
    m_data.Make(L"box", "CREATE TABLE fish(x); INSERT INTO fish VALUES(zeroblob(17000000));"
                        "CREATE TABLE codes(x); INSERT INTO codes VALUES(zeroblob(17000000))");
    Start();
    m_host.ExpectLogLine(fish);
    m_host.ExpectLogLine(codes);
    for (int round = 0; round < 2; ++round) {
        m_data.Make(L"box", "UPDATE birds SET name = name || 'x' WHERE id = 7");
        EXPECT_EQ(Next(), "reload box/codes box/fish");
        EXPECT_EQ(Next(), "items changed box/birds 7");
    }
    // Again when it could be read in between.
    m_data.Make(L"box", "UPDATE fish SET x = 1");
    EXPECT_EQ(Next(), "reload box/codes box/fish");
    m_data.Make(L"box", "UPDATE fish SET x = zeroblob(17000000)");
    EXPECT_EQ(Next(), "reload box/codes box/fish");
    m_host.ExpectLogLine(fish);
}

TEST_F(SourceWatcher, WhatARequestCanOpenIsWatchedHoweverItIsSpelled)
{
    Start();
    const std::wstring file = platform::DirectoryOf(m_data.PathOf(L"box")) + L"/CRATE.SQLITE";
    CConnection(file).Execute("CREATE TABLE boats(name TEXT)");
    const auto factory = m_components.MakeFactory(kDataStoreId);
    if (CRequestRun(*factory).Run(QueryRequest("CRATE", "SELECT * FROM boats")).stage == eStage_Done) {
        EXPECT_EQ(Next(), "sources CRATE/boats");
    }
    m_data.Make(L"box", "DELETE FROM birds WHERE id = 3");
    EXPECT_EQ(Next(), "items removed box/birds 3");
}

TEST_F(SourceWatcher, OtherFilesAndNamesAreNoSources)
{
    Start();
    m_data.Make(L"no name", "CREATE TABLE t(x)");
    ASSERT_EQ(platform::WriteWholeFile(m_data.PathOf(L"box") + L".txt", "text"), platform::eOsError_None);
    m_data.Make(L"box", "DELETE FROM birds WHERE id = 3");
    EXPECT_EQ(Next(), "items removed box/birds 3");
}

TEST_F(SourceWatcher, TablesWithoutRowIdsAreReloaded)
{
    m_data.Make(L"box", "CREATE TABLE codes(code TEXT PRIMARY KEY, x) WITHOUT ROWID");
    Start();
    m_data.Make(L"box", "INSERT INTO codes VALUES('q', 1)");
    EXPECT_EQ(Next(), "reload box/codes");
    m_data.Make(L"box", "DELETE FROM birds WHERE id = 3");
    EXPECT_EQ(Next(), "items removed box/birds 3");
}

TEST_F(SourceWatcher, ATableOverTheLimitIsReloaded)
{
    m_data.Make(L"box", "DELETE FROM birds;" + RowsFrom(1, CTableSnapshot::kMaxRows));
    Start();
    m_data.Make(L"box", "UPDATE birds SET name = 'egret' WHERE id = 7");
    EXPECT_EQ(Next(), "items changed box/birds 7");
    m_data.Make(L"box", RowsFrom(CTableSnapshot::kMaxRows + 1, CTableSnapshot::kMaxRows + 1));
    EXPECT_EQ(Next(), "reload box/birds");
    m_host.ExpectLogLine(L"Data source \"box\": table \"birds\" is too large to be watched row by row");
    m_data.Make(L"box", "UPDATE birds SET name = 'heron' WHERE id = 7");
    EXPECT_EQ(Next(), "reload box/birds");
}

TEST_F(SourceWatcher, FullTextTablesDoNotDisturb)
{
    m_data.Make(L"box", "CREATE VIRTUAL TABLE texts USING fts5(body); INSERT INTO texts VALUES('a b c')");
    Start();
    m_data.Make(L"box", "INSERT INTO texts VALUES('d e f'); DELETE FROM birds WHERE id = 3");
    EXPECT_EQ(Next(), "items removed box/birds 3");
}
