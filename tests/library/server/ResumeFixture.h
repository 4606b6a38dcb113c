#pragma once

#include "platform/Text.h"
#include "protocol/StatusFileText.h"
#include "server/Resume.h"
#include "tests/library/server/ListenerFixture.h"

/// A start that takes over what lies in the directories of an earlier server.
class ResumeTest : public CListenerFixture {
protected:
    ResumeTest() { m_settings.m_options = {.syncing = false, .requestsOnly = true, .resume = true}; }

    void Resume(const std::wstring& told)
    {
        EXPECT_EQ(CResume(m_settings, m_requests, m_statuses, m_registry).Run(), platform::eOsError_None);
        m_host.ExpectLogLine(L"Resumed: " + told);
    }
    void WriteStatus(const std::wstring& name, eZelProcRequestStatus status) const
    {
        Write(m_settings.m_paths.Status(name), platform::ToUtf16Le(StatusFileText::StatusLine(status)));
    }
    [[nodiscard]] std::wstring Output(const std::wstring& name) const { return In(m_outputDir, name); }
    [[nodiscard]] std::wstring Lost(const std::wstring& name) const
    {
        return m_settings.m_paths.InOwnFolder(platform::JoinPath(L"lost+found", name));
    }
    [[nodiscard]] std::wstring Record(const std::wstring& name) const
    {
        return m_settings.m_paths.InOwnFolder(platform::JoinPath(L"attempts", name));
    }
    void WriteRecord(const std::wstring& name, const std::string& bytes) const
    {
        for (const std::wstring& folder : {m_settings.m_paths.InOwnFolder({}), Record({})})
            static_cast<void>(platform::Files().MakeDirectory(folder));
        Write(Record(name), bytes);
    }
    /// What waits, in its order.
    std::vector<std::wstring> TakeAll(std::vector<unsigned>* attempts = nullptr)
    {
        std::vector<std::wstring> names;
        bool isLast = false;
        for (TSRequestItem item; m_requests.TakeRequest(item, isLast, [] {});) {
            names.push_back(platform::FileNameOf(item.m_strFile));
            if (attempts)
                attempts->push_back(item.m_nAttempts);
        }
        return names;
    }
    /// Each later file arrives later: the clock of the file system has coarse ticks.
    void Arrive(const std::wstring& name)
    {
        platform::FileTimeNs time = 0;
        do {
            static_cast<void>(platform::Files().Remove(Queued(name)));
            Write(Queued(name));
            EXPECT_EQ(platform::Files().GetChangeTime(Queued(name), time), platform::eOsError_None);
        } while (time <= m_lastArrival);
        m_lastArrival = time;
    }

    platform::FileTimeNs m_lastArrival = 0;
};
