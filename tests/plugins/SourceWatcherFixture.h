#pragma once

#include "plugins/datastore/SourceWatcher.h"

#include "plugins/datastore/SourceId.h"
#include "plugins/datastore/TableSnapshot.h"
#include "tests/plugins/PluginHarness.h"
#include "tests/plugins/RecordingSink.h"
#include "tests/plugins/SampleDatabase.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/RecordingHost.h"

#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

namespace plugintest {

/// Watches a folder with one database.
class CSourceWatcherFixture : public testing::Test {
protected:
    CSourceWatcherFixture()
    {
        m_data.Make(L"box", "CREATE TABLE birds(id INTEGER PRIMARY KEY, name TEXT);"
                            "INSERT INTO birds VALUES(3, 'wren'), (7, 'heron'), (9, 'owl')");
    }
    /// Returns when all sources have been read, so that changes are told row by row from now on: a source that came
    /// after the start is told, and the others were read before it or with it.
    void Start()
    {
        ASSERT_EQ(m_source->Start(m_sink.Get()), S_OK);
        m_data.Make(L"started", "CREATE TABLE t(x)");
        ASSERT_EQ(Next(), "sources started/t");
    }
    /// What is told next. Nothing is left out: what was told twice or wrongly comes up at the next call.
    [[nodiscard]] std::string Next() { return m_sink->Next(); }
    /// Where a file that is open can't be taken away it must be as it was, and be free after Stop.
    void ExpectStillWatched()
    {
        m_data.Make(L"box", "UPDATE birds SET name = 'egret' WHERE id = 3");
        EXPECT_EQ(Next(), "items changed box/birds 3");
        EXPECT_EQ(m_source->Stop(), S_OK);
        std::error_code error;
        EXPECT_TRUE(std::filesystem::remove(m_data.PathOf(L"box"), error)) << error.message();
    }
    void Write(const std::wstring& name, const std::string& bytes)
    {
        platform::eOsError error = platform::eOsError_SharingViolation;
        while (error == platform::eOsError_SharingViolation) // the watcher may be looking at it
            error = platform::WriteWholeFile(m_data.PathOf(name), bytes);
        ASSERT_EQ(error, platform::eOsError_None);
    }
    /// As many rows as the numbers say.
    static std::string RowsFrom(std::size_t first, std::size_t last)
    {
        return "WITH RECURSIVE n(i) AS (SELECT " + std::to_string(first) + " UNION ALL SELECT i + 1 FROM n WHERE i < " +
               std::to_string(last) + ") INSERT INTO birds SELECT i, 'b' || i FROM n;";
    }

    CRecordingHost m_host;
    CComponents m_components;
    CDataFolder m_data;
    CComPtr<CRecordingSink> m_sink = MakeComObject<CRecordingSink>();
    CComPtr<IWQ_DsEventSource> m_source = m_components.MakeFactory(kDataStoreId).QueryTo<IWQ_DsEventSource>();
};

} // namespace plugintest
