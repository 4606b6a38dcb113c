#pragma once

#include "tests/support/ServerKit.h"

#include <string>
#include <vector>

/// A server whose executive can be kept busy, and commands for it.
class CCommandsFixture : public CServerFixture {
protected:
    void TearDown() override { m_pServer.reset(); } // it uses what is declared here

    static std::string Xml(const std::string& type, const std::string& name)
    {
        return "<?xml version='1.0' encoding='UTF-8'?><Command Type=\"" + type + "\"><RequestName>" + name +
               "</RequestName></Command>";
    }
    /// Hands over a command file that somebody made by hand.
    void SendCommandFile(const std::string& xml, const std::wstring& name = L"x.command")
    {
        Write(In(m_clientDir, name), xml);
        ASSERT_EQ(m_client.SendRequest(In(m_clientDir, name)), eRequestStatus_Sent);
    }
    /// The command's last status, once the server has shown its box about it.
    void ExpectFailure(const std::string& xml, eZelProcRequestStatus status, const std::wstring& comment)
    {
        SendCommandFile(xml);
        m_host.ExpectBox(L"Processing of command " + In(m_requestDir, L"x.command") + L" failed");
        EXPECT_EQ(m_client.GetStatus(L"x.command", &m_additional), status);
        EXPECT_EQ(m_additional.GetProgressComment(), comment);
        EXPECT_TRUE(platform::PathExists(Queued(L"x.command"))) << "it stays where it was taken to";
    }
    /// Runs a server whose executive holds the request "first.drq" at the gate.
    void RunWithBusyExecutive()
    {
        m_script.createRequest = [this](const std::wstring& path) {
            m_served.push_back(platform::FileNameOf(path));
            return m_served.size() > 1 || m_gate.Pass();
        };
        Run();
        Send(L"first.drq");
        ASSERT_TRUE(m_gate.WaitUntilEntered());
    }
    void SendAndWaitUntilQueued(const std::wstring& name)
    {
        Send(name);
        ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(name); }));
    }
    /// Runs a server whose queue has "declined.drq", put back by its task, while the executive holds "running.drq" at
    /// the gate. The declined one is served when it is asked again.
    void RunWithARequestThatWasPutBack()
    {
        m_script.createRequest = [this](const std::wstring& path) {
            m_served.push_back(platform::FileNameOf(path));
            return true;
        };
        m_script.canProcess = [this](bool) {
            if (m_served.size() == 1)
                m_declining.Pass();
            return m_served.size() > 1;
        };
        m_script.obtainData = [this](auto*, auto*) { return m_served.back() != L"running.drq" || m_gate.Pass(); };
        Run();
        Send(L"declined.drq");
        ASSERT_TRUE(m_declining.WaitUntilEntered());
        SendAndWaitUntilQueued(L"running.drq");
        m_declining.Open();
        ASSERT_TRUE(m_gate.WaitUntilEntered());
        ASSERT_EQ(Access().QueuedNames(), std::vector<std::wstring>{L"declined.drq"});
        ASSERT_EQ(m_client.GetStatus(L"declined.drq", nullptr), eRequestStatus_GettingData);
    }
    [[nodiscard]] bool HasCommandFiles() const
    {
        for (const std::wstring& dir : {m_requestDir, m_outputDir, In(m_outputDir, L"Queue"), m_clientDir}) {
            for (const std::wstring& name : FilesIn(dir)) {
                if (name.find(L".command") != std::wstring::npos)
                    return true;
            }
        }
        return false;
    }

    CGate m_gate;
    CGate m_declining;
    std::vector<std::wstring> m_served;
};
