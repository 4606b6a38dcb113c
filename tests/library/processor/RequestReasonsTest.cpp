#include "processor/RequestReasons.h"

#include "processor/ZelProcessorFactories.h"
#include "tests/library/processor/TasksFixture.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"

#include "platform/Os.h"

namespace {

class RequestReasons : public CTasksFixture {
protected:
    RequestReasons()
    {
        CZelProcessorFactories::ForgetCategory(); // with what an earlier test left out
        EXPECT_TRUE(m_factories.LoadFactories());
    }

    CString WhyNot(const std::string& content)
    {
        EXPECT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_folder / L"a.drq", content)));
        return WhyNotTaken(m_folder / L"a.drq", m_factories);
    }

    testsupport::CTemporaryDirectory m_folder;
    CZelProcessorFactories m_factories;
};

TEST_F(RequestReasons, AnEmptyFileIsCalledSo)
{
    EXPECT_EQ(WhyNot(""), RootApp_RSC_CStr(160, "IDS_REASON_EMPTY"));
}

TEST_F(RequestReasons, WhatIsNoXmlIsToldWithItsPlace)
{
    const CString reason = WhyNot("<Request>\n  <Task Type='x'>\n</Request>");
    const std::wstring_view general = L"The request is not well-formed XML.\n";
    EXPECT_TRUE(reason.starts_with(general)) << reason.size();
    EXPECT_GT(reason.size(), general.size()) << "the parser's words, or its number";
    EXPECT_EQ(reason.find(L"row="), CString::npos);
    if (!testsupport::IsWine()) { // its parser does not tell every place
        EXPECT_TRUE(reason.substr(general.size()).starts_with(L"Line 3, column "));
    }
}

TEST_F(RequestReasons, WhatTheTaskLacksIsNamed)
{
    EXPECT_EQ(WhyNot("<Request/>"), RootApp_RSC_CStr(118, "IDS_CANT_FIND_TASK_NODE"));
    EXPECT_EQ(WhyNot("<Request><Task/></Request>"), RootApp_RSC_CStr(119, "IDS_CANT_FIND_TYPE_NODE"));
}

TEST_F(RequestReasons, AnUnknownTypeIsNamedCutShort)
{
    EXPECT_EQ(WhyNot("<Request><Task Type='Qurey'/></Request>"),
              L"No component on the server does tasks of the type \"Qurey\".");
    const CString reason = WhyNot("<Request><Task Type='" + std::string(5000, 'x') + "'/></Request>");
    EXPECT_LT(reason.size(), 200U);
    EXPECT_NE(reason.find(L"xxx...\""), CString::npos);
}

TEST_F(RequestReasons, WhatTheHostLeftOutIsNamedToo)
{
    const CString path = m_folder / L"a.drq";
    EXPECT_TRUE(platform::Succeeded(platform::WriteWholeFile(path, "<Request><Task Type='x'/></Request>")));
    EXPECT_EQ(WhyNotTaken(path, m_factories, {L"/a: others may write to it", L"/b.component: it names no class"}),
              L"No component on the server does tasks of the type \"x\".\n"
              L"A component was left out: /a: others may write to it\n"
              L"A component was left out: /b.component: it names no class");
    EXPECT_LT(WhyNotTaken(path, m_factories, std::vector<CString>(1000, L"/a: others may write to it")).size(), 2100U);
}

TEST_F(RequestReasons, PluginsThatWereLeftOutAreNamedWithTheirReason)
{
    CZelProcessorFactories::ForgetCategory();
    CScriptedPlugin::SetInstalled(false);
    EXPECT_FALSE(m_factories.LoadFactories());
    const CString reason = WhyNot("<Request><Task Type='x'/></Request>");
    CScriptedPlugin::SetInstalled(true);
    EXPECT_NE(reason.find(L"\nA component was left out: class {1F3A6C10-"), CString::npos);
    for (int classes = 0; classes < 2; ++classes)
        m_host.ExpectLogLine(L"A plug-in was left out: class {1F3A6C10-");
    CZelProcessorFactories::ForgetCategory();
}

} // namespace
