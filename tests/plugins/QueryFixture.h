#pragma once

#include "platform/Text.h"
#include "tests/plugins/PluginHarness.h"
#include "tests/plugins/SampleDatabase.h"
#include "tests/support/RecordingHost.h"

#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Thread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iostream>

namespace plugintest {

/// Queries of a database named box with a table t.
class CQueryFixture : public testing::Test {
protected:
    CQueryFixture() { m_data.Make(L"box", "CREATE TABLE t(id INTEGER PRIMARY KEY, name TEXT, size REAL, bytes BLOB)"); }

    void Fill(const std::string& values) const
    {
        m_data.Make(L"box", "INSERT INTO t(id, name, size, bytes) VALUES" + values);
    }
    [[nodiscard]] SOutcome Query(const std::string& sql, const std::string& parameters = {})
    {
        return m_run.Run(QueryRequest("box", sql, parameters));
    }
    /// The element Rows of the response, with what is in it.
    [[nodiscard]] std::string Rows(const std::string& sql, const std::string& parameters = {})
    {
        const SOutcome outcome = Query(sql, parameters);
        EXPECT_EQ(outcome.stage, eStage_Done) << platform::ToUtf8(outcome.error);
        return ElementOf(outcome.response, "Rows");
    }

    /// From a cancellation in the middle of the work to its end.
    [[nodiscard]] std::chrono::microseconds DelayOfCancellation(const std::string& sql)
    {
        std::chrono::nanoseconds canceledAt{};
        platform::CThread canceler;
        m_run.context.SetCanceled(false);
        EXPECT_TRUE(canceler.Start([&]() -> unsigned {
            platform::SystemClock().SleepFor(std::chrono::milliseconds(200));
            canceledAt = platform::SystemClock().Steady();
            m_run.context.SetCanceled(true);
            return 0;
        }));
        const SOutcome outcome = Query(sql);
        const auto stoppedAt = platform::SystemClock().Steady();
        EXPECT_TRUE(canceler.Join());
        EXPECT_EQ(outcome.stage, eStage_Canceled) << sql << platform::ToUtf8(outcome.error);
        EXPECT_FALSE(outcome.leftFile);
        return std::chrono::duration_cast<std::chrono::microseconds>(stoppedAt - canceledAt);
    }

    CRecordingHost m_host;
    CComponents m_components;
    CDataFolder m_data;
    CComPtr<IWQ_ZELProcessorFactory> m_factory = m_components.MakeFactory(kDataStoreId);
    CRequestRun m_run{*m_factory};
};

} // namespace plugintest
