#include "tests/support/Predicates.h"
#include "tests/support/ServerKit.h"

#include <array>
#include <functional>

namespace {

constexpr const char* kResponse = "its response";

/// A client and a server on one layer, through which nothing reaches the disk from one call on: that is how a disk
/// looks when both were killed there. Afterwards another server takes over, and another client asks.
class ServerCutOff : public CServerFixture {
protected:
    static inline const SZelServerOptions kOptions{.syncing = true,
                                                   .cancelByName = true,
                                                   .pausedStatus = true,
                                                   .retryLastStatus = true,
                                                   .resume = true,
                                                   .patience = std::chrono::milliseconds(20)};
    /// Calls that are left out between two cases: processes of Wine take their time for each.
    static unsigned Step() { return testsupport::IsWine() ? 11 : 1; }

    void SetUp() override
    {
        CServerFixture::SetUp();
        m_script.obtainData = [this](auto*, auto*) { return ++m_nRuns > 0; };
        m_script.save = [](const std::wstring& path) {
            return platform::Succeeded(platform::WriteWholeFile(path, kResponse));
        };
        m_pServer.reset();
    }

    /// Whether the server runs. Cut off, it may say that it cannot.
    bool Start()
    {
        m_pServer = std::make_unique<CZelProcessorServer>();
        m_pServer->SetOptions(kOptions);
        m_pServer->SetZelProcessorContext(&m_context);
        return m_pServer->SetDirs(m_requestDir, m_outputDir) && m_pServer->Run();
    }
    void End()
    {
        m_pWatch.reset();
        if (m_pServer)
            m_pServer->Stop(true);
        m_pServer.reset();
    }
    [[nodiscard]] std::wstring Target() const { return In(m_clientDir, L"target"); }
    [[nodiscard]] bool HasResponse() const { return platform::PathExists(Target()); }

    /// The life of a request, as far as it comes. True when its hand-over returned.
    bool Live()
    {
        const bool isUp = Start();
        const bool isHanded = m_client.SendRequest(In(m_clientDir, L"a.drq")) == eRequestStatus_Sent;
        if (isUp && isHanded) {
            EXPECT_TRUE(WaitUntil([&] { return m_files.HasFailed() || HasEnd(); })) << "no end";
            static_cast<void>(m_client.ReceiveOutput(L"a.drq", Target()));
        }
        End();
        return isHanded;
    }
    /// A status that was made and never written, which a kill leaves, is no end.
    bool HasEnd()
    {
        const eZelProcRequestStatus status = m_client.GetStatus(L"a.drq", &m_additional);
        return status != eRequestStatus_ClientError && CZelRequestWatch::IsFinal(status);
    }

    /// The same while one call fails. Whoever is told a failure tries once more; the server goes on.
    bool LiveOn()
    {
        const bool isUp = Start() || Start();
        EXPECT_TRUE(isUp) << "one failure, and no server";
        const bool isHanded = m_client.SendRequest(In(m_clientDir, L"a.drq")) == eRequestStatus_Sent;
        if (isUp && isHanded) {
            EXPECT_TRUE(WaitUntil([&] { return HasEnd(); })) << "no end";
            static_cast<void>(m_client.ReceiveOutput(L"a.drq", Target()));
        }
        if (isUp && m_files.HasFailed())
            ServeAnother();
        End();
        return isHanded;
    }
    void ServeAnother()
    {
        Write(In(m_clientDir, L"b.drq"), "<Request/>");
        EXPECT_EQ(m_client.SendRequest(In(m_clientDir, L"b.drq")), eRequestStatus_Sent);
        EXPECT_TRUE(WaitUntil([&] { return m_client.GetStatus(L"b.drq", nullptr) == eRequestStatus_Done; }))
            << "the next request is not answered";
        EXPECT_TRUE(m_client.ReceiveOutput(L"b.drq", In(m_clientDir, L"next")));
        EXPECT_EQ(Read(In(m_clientDir, L"next")), kResponse);
    }

    /// What was promised of a request that was handed over, or may have been.
    void Check(bool isHanded)
    {
        ASSERT_TRUE(Start()) << "the next server does not start";
        if (!HasResponse())
            Settle(isHanded);
        if (HasResponse()) {
            EXPECT_EQ(Read(Target()), kResponse);
            EXPECT_GE(m_nRuns, 1);
        }
        EXPECT_FALSE(platform::PathExists(Queued(L"a.drq")));
        EXPECT_FALSE(platform::PathExists(In(m_requestDir, L"a.drq")));
        End();
    }
    void Settle(bool isHanded)
    {
        const auto isKnown = [&] { return m_client.GetStatus(L"a.drq", nullptr) != eRequestStatus_NotRequested; };
        if (!isKnown()) {
            EXPECT_FALSE(isHanded) << "lost";
            return;
        }
        EXPECT_TRUE(WaitUntil([&] { return HasEnd(); })) << "no end";
        if (m_client.GetStatus(L"a.drq", &m_additional) == eRequestStatus_Done)
            EXPECT_TRUE(m_client.ReceiveOutput(L"a.drq", Target()));
        else
            EXPECT_FALSE(m_additional.GetProgressComment().empty()) << "failed without a reason";
    }
    /// One life after the other, each with the next call of all that fails, until a life comes to its end before that.
    void FailEachCall(const std::function<void(unsigned number, unsigned tried)>& fail,
                      const std::function<bool()>& live)
    {
        unsigned tried = 0;
        for (unsigned number = 1; !HasFailure(); number += Step(), ++tried) {
            SCOPED_TRACE("call " + std::to_string(number));
            bool isHanded = false;
            Write(In(m_clientDir, L"a.drq"), "<Request/>");
            {
                const platform::CScopedOs os(&m_files, nullptr);
                fail(number, tried);
                isHanded = live();
                if (!m_files.HasFailed())
                    break;
            }
            m_files.StopFailing();
            Check(isHanded);
            Forget();
        }
        m_files.StopFailing();
        Forget();
        EXPECT_GE(tried, 30 / Step());
    }
    void Forget()
    {
        for (const std::wstring& dir : {m_requestDir, m_outputDir, m_clientDir}) {
            for (const std::wstring& name : FilesIn(dir))
                static_cast<void>(platform::Files().Remove(In(dir, name)));
        }
        static_cast<void>(m_host.TakeReports());
        static_cast<void>(m_host.TakeBoxes());
        static_cast<void>(m_host.TakeLogLines());
        m_nRuns = 0;
    }
    std::atomic<int> m_nRuns = 0;
};

} // namespace

TEST_F(ServerCutOff, OneCallThatFailsLosesNothingAndStopsNothing)
{
    static constexpr std::array errors = {platform::eOsError_DiskFull, platform::eOsError_IoError,
                                          platform::eOsError_AccessDenied, platform::eOsError_TooManyOpenFiles,
                                          platform::eOsError_OutOfMemory};
    FailEachCall(
        [this](unsigned number, unsigned tried) { m_files.FailAnyCall(number, errors[tried % errors.size()]); },
        [this] { return LiveOn(); });
}

TEST_F(ServerCutOff, NothingIsLostAtAnyCall)
{
    FailEachCall([this](unsigned number, unsigned) { m_files.FailAnyCall(number, platform::eOsError_IoError, ~0U); },
                 [this] { return Live(); });
}
