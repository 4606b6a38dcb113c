#pragma once

#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <string>
#include <vector>

/// Listeners of the real tool.
class CListenTest : public CProgramTest {
protected:
    static constexpr const char* kSource = "{00000000-0000-0000-0000-000000000001}";
    static constexpr const char* kGroup = "{11111111-2222-3333-4444-555555555555}";

    /// A listener that is registered when this returns.
    [[nodiscard]] CRunningProgram Listen(const std::vector<std::wstring>& options = {L"--json"}) const
    {
        std::vector<std::wstring> arguments = {L"listen"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        CRunningProgram listener = StartZel(arguments);
        EXPECT_TRUE(listener.WaitForErrors("listening")) << listener.Errors();
        return listener;
    }

    /// Lets the plug-in tell changes.
    void Fire(const std::wstring& attributes)
    {
        const std::wstring name = L"fire-" + std::to_wstring(++m_nFired) + L".drq";
        const SProgramResult result =
            Zel({L"send", MakeRequest(name, L"Type=\"FireEvents\" " + attributes), L"--wait"});
        ASSERT_EQ(result.code, 0) << result.errors;
    }

    [[nodiscard]] static nlohmann::json Next(CRunningProgram& listener)
    {
        std::wstring line;
        EXPECT_TRUE(listener.Process().ReadLine(line, kPatience)) << listener.Errors();
        return nlohmann::json::parse(platform::ToUtf8(line), nullptr, false);
    }

    static void End(CRunningProgram& listener)
    {
        listener.Process().RequestStop();
        const SProgramResult result = listener.Finish();
        EXPECT_EQ(result.code, 0) << result.errors;
        EXPECT_EQ(result.output, "");
    }

    [[nodiscard]] std::size_t Registrations() const
    {
        std::size_t count = 0;
        for (const std::wstring& name : FilesIn(m_strOutput))
            count += name.starts_with(L"DsEvents_") && !name.ends_with(L".lock") ? 1U : 0U;
        return count;
    }

    /// Of all clients, without the locks that come and go.
    [[nodiscard]] std::size_t FilesOfClients() const
    {
        std::size_t count = 0;
        for (const std::wstring& name : FilesIn(m_strOutput)) {
            const bool isPresence = name.starts_with(L"Presence_");
            count += isPresence || (name.ends_with(L"}") && !name.starts_with(L"{")) ? 1U : 0U;
        }
        return count;
    }

    void RemoveRegistrations() const
    {
        for (const std::wstring& name : FilesIn(m_strOutput)) {
            if (name.starts_with(L"DsEvents_")) {
                EXPECT_EQ(platform::Files().Remove(InOutput(name)), platform::eOsError_None);
            }
        }
    }

    /// As if a host of its own had been there, of which nobody can tell whether it still is.
    void KillAndHide(CRunningProgram& server) const
    {
        server.Process().Kill();
        static_cast<void>(server.Finish());
        for (const std::wstring& name : FilesIn(InOutput(L".zel-server")))
            static_cast<void>(platform::Files().Remove(InOutput(L".zel-server/" + name)));
    }

    /// One that makes no claim: nobody can tell whether it is there.
    void MakeQueueOfAnotherHost() const
    {
        ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    }

    [[nodiscard]] static int CountIn(const std::string& text, const std::string& part)
    {
        int count = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++count;
        return count;
    }

    static constexpr const char* kNoServer = "zel: no server serves '";
    static constexpr const char* kNoneCame = "no server came in time (--server-timeout), so nothing can be heard";

    int m_nFired = 0;
};
