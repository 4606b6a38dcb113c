#include "tests/face/FaceFixture.h"

#include "framework/DefaultHost.h"
#include "framework/Services.h"

namespace {

class FaceReports : public CFaceFixture {
protected:
    [[nodiscard]] zel::Code SendMissing() const { return m_face->send(PathOf(In(m_clientDir, L"missing.drq"))).code(); }
};

void Report(const wchar_t* text)
{
    WQ_ReportErrorNow(L"face/ReportsTest", 7, L"Report", text);
}

} // namespace

TEST_F(FaceReports, WhatACallReportsReachesNobody)
{
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_AccessDenied, 1, L"a.drq");
    const zel::Result<zel::Request> sent = m_face->send(zel::Text{"<Request/>"}, "a.drq");
    EXPECT_NE(sent.reason().find("a.drq"), std::string::npos) << sent.reason();
    EXPECT_TRUE(m_host.TakeReports().empty());
}

TEST_F(FaceReports, WhatOthersReportReachesTheHostThatWasThere)
{
    Report(L"outside");
    m_host.ExpectReport(7, L"outside");
    const zel::detail::Reports inside;
    Report(L"inside\r\nof a call");
    WQ_MessageBox(L"a box", eMessageStyle_Error);
    EXPECT_EQ(inside.text(), "inside of a call; a box");
    std::thread thread([] { Report(L"another thread"); });
    thread.join();
    m_host.ExpectReport(7, L"another thread");
}

TEST_F(FaceReports, TextThatHasNoEndIsCut)
{
    const zel::detail::Reports reports;
    for (int count = 0; count < 10000; ++count)
        Report(L"0123456789");
    EXPECT_LT(reports.text().size(), 5000U);
}

TEST_F(FaceReports, TheHostThatWasThereIsBackAfterTheLastClient)
{
    IWQ_Host* const before = &static_cast<IWQ_Host&>(m_host);
    EXPECT_NE(&WQ_Host(), before);
    {
        const zel::Client second(Options());
        m_face.reset();
        EXPECT_NE(&WQ_Host(), before) << "there is one left";
    }
    EXPECT_EQ(&WQ_Host(), before);
}

TEST_F(FaceReports, AHostThatCameLaterStays)
{
    CRecordingHost later;
    EXPECT_EQ(SendMissing(), zel::Code::fileError);
    m_face.reset();
    EXPECT_EQ(&WQ_Host(), static_cast<IWQ_Host*>(&later));
}

TEST_F(FaceReports, AClientAfterTheLastOneFindsItsWayBelowAHostThatCameBetween)
{
    {
        // Hands on what it is asked for, as those of the system do.
        class CLater final : public CWQ_DefaultHost {
        public:
            CLater() : m_pPrevious(SetWQ_Host(this)) {}
            ~CLater() override { SetWQ_Host(m_pPrevious); }
            void ReportError(const SWQ_ErrorReport& report) override { m_pPrevious->ReportError(report); }

        private:
            IWQ_Host* const m_pPrevious;
        };
        const CLater later;
        m_face.reset();
        m_face.emplace(Options());
        Report(L"through both");
        m_host.ExpectReport(7, L"through both");
        EXPECT_EQ(SendMissing(), zel::Code::fileError);
        m_face.reset();
    }
    Report(L"afterwards");
    m_host.ExpectReport(7, L"afterwards");
}
