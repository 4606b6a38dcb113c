#include "tests/library/processor/TasksFixture.h"

#include "com/ComError.h"

namespace {

using Tasks = CTasksFixture;

} // namespace

TEST_F(Tasks, AnInitialisedTaskIsHandedOut)
{
    EXPECT_TRUE(Create(L"<Request><Task Type='x'/></Request>"));
    EXPECT_TRUE(m_task);
}

TEST_F(Tasks, TextThatIsNoXmlIsShownWithTheParsersWordsAndAnExcerpt)
{
    const std::wstring xml = L"<Request><Task" + std::wstring(4000, L'z');
    EXPECT_FALSE(Create(xml));
    EXPECT_FALSE(m_task);
    const SRecordedBox box = TakeBox();
    EXPECT_EQ(box.style, 16U);
    const CWQ_SetResource resource("ZEL_Processor");
    EXPECT_EQ(box.text.find(WQ_LoadString(117) + L"\nError 0x"), 0U);
    EXPECT_EQ(box.text.substr(box.text.size() - 2048), xml.substr(0, 2048));
}

TEST_F(Tasks, AMissingTaskElementIsShownWithTheRequest)
{
    EXPECT_FALSE(Create(L"<Request/>"));
    const SRecordedBox box = TakeBox();
    EXPECT_EQ(box.style, 16U);
    EXPECT_EQ(box.text, RootApp_RSC_CStr(118, "IDS_CANT_FIND_TASK_NODE") + L"<Request/>");
}

TEST_F(Tasks, AMissingTypeIsNotAnUnknownOne)
{
    EXPECT_FALSE(Create(L"<Request><Task/></Request>"));
    const SRecordedBox box = TakeBox();
    EXPECT_EQ(box.style, 16U);
    EXPECT_EQ(box.text, RootApp_RSC_CStr(119, "IDS_CANT_FIND_TYPE_NODE"));
}

TEST_F(Tasks, ATypeThatNoFactoryServesIsAWarning)
{
    m_first.createTask = m_second.createTask = [](const std::wstring&) { return false; };
    EXPECT_FALSE(Create(L"<Request><Task Type='x'/></Request>"));
    const SRecordedBox box = TakeBox();
    EXPECT_EQ(box.style, 48U);
    EXPECT_EQ(box.text, RootApp_RSC_CStr(120, "IDS_UNKNOWN_REQUEST_TYPE"));
}

TEST_F(Tasks, ATaskThatRefusesItsElementIsShownWithTheRequest)
{
    m_first.init = [](IXMLDOMNode*) { return false; };
    EXPECT_FALSE(Create(L"<Request><Task Type='x'/></Request>"));
    EXPECT_FALSE(m_task);
    const SRecordedBox box = TakeBox();
    EXPECT_EQ(box.style, 16U);
    EXPECT_EQ(box.text, RootApp_RSC_CStr(121, "IDS_UNABLE_INIT_TASK") + L"<Request><Task Type='x'/></Request>");
}

TEST_F(Tasks, TheFirstFactoryInCategoryOrderSuppliesTheTask)
{
    int asked = 0;
    m_second.createTask = [&](const std::wstring&) {
        ++asked;
        return true;
    };
    EXPECT_TRUE(Create(L"<Request><Task Type='x'/></Request>"));
    EXPECT_EQ(asked, 0);
    m_first.createTask = [](const std::wstring&) { return false; };
    EXPECT_TRUE(Create(L"<Request><Task Type='x'/></Request>"));
    EXPECT_EQ(asked, 1);
}

TEST_F(Tasks, AFactoryThatAcceptsWithoutATaskRaisesThePointerError)
{
    m_first.givesTask = false;
    try {
        Create(L"<Request><Task Type='x'/></Request>");
        FAIL() << "nothing was thrown";
    } catch (const CComError& error) {
        EXPECT_EQ(error.Code(), E_POINTER);
    }
}
