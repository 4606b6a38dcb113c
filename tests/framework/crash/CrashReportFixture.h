#pragma once

#include "framework/CrashReport.h"

#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/framework/ScratchFolder.h"
#include "tests/support/RecordingHost.h"

#include <gtest/gtest.h>

/// In CrashReportTest.cpp, where a report must find it.
void FaultForTheReport();

inline constexpr wchar_t kDirectoryVariable[] = L"ZEL_CRASH_DIR";

class CScopedReportDirectory {
public:
    explicit CScopedReportDirectory(const std::wstring& path) : m_strOld(platform::Environment(kDirectoryVariable))
    {
        platform::SetEnvironment(kDirectoryVariable, path);
    }
    ~CScopedReportDirectory() { platform::SetEnvironment(kDirectoryVariable, m_strOld); }
    CScopedReportDirectory(const CScopedReportDirectory&) = delete;
    CScopedReportDirectory& operator=(const CScopedReportDirectory&) = delete;

private:
    std::wstring m_strOld;
};

inline platform::SFaultRecord RealFault()
{
    platform::SFaultRecord fault;
    EXPECT_FALSE(platform::RunContained([] { FaultForTheReport(); }, fault));
    return fault;
}

inline SMOXCrashRecord RecordOf(const platform::SFaultRecord* fault)
{
    SMOXCrashRecord record;
    record.size = sizeof record;
    record.exceptionPointers = fault;
    return record;
}

/// Real reports into a folder of their own; the lines that tell of them are the tests' to take.
class CCrashReportFixture : public testing::Test {
protected:
    CCrashReportFixture() { m_host.WriteCrashReports(); }

    [[nodiscard]] std::string OnlyReport() const
    {
        const auto names = m_folder.Names();
        EXPECT_EQ(names.size(), 1U);
        return names.empty() ? "" : m_folder.Content(names[0]);
    }

    CScratchFolder m_folder;
    CScopedReportDirectory m_directory{m_folder.Path()};
    CRecordingHost m_host;
};
