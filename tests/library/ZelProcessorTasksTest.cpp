#include "ZEL_Processor/ZelProcessor.h"

#include "com/ComError.h"
#include "com/ZelCom.h"
#include "framework/Exceptions.h"
#include "processor/ZelProcessorFactories.h"
#include "tests/library/ScriptedPlugin.h"
#include "tests/support/RecordingHost.h"

#include <gtest/gtest.h>

namespace {

class Tasks : public testing::Test {
protected:
    Tasks()
    {
        CoInitializeSYS(nullptr);
        CoInitializeZEL(nullptr);
    }
    ~Tasks() override
    {
        CoUninitializeZEL();
        CoUninitializeSYS();
    }

    bool Create(const std::wstring& xml)
    {
        CZelProcessor processor;
        return processor.CreateAndInitTask(xml, m_task.Put());
    }
    /// The one box that was shown.
    SRecordedBox TakeBox()
    {
        const auto boxes = m_host.TakeBoxes();
        EXPECT_EQ(boxes.size(), 1U);
        return boxes.empty() ? SRecordedBox() : boxes[0];
    }

    CRecordingHost m_host;
    SPluginScript m_first;
    SPluginScript m_second;
    CScriptedPlugin m_plugin{m_first, &m_second};
    CComPtr<IWQ_ZELProcessorTask> m_task;
};

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

TEST_F(Tasks, ACategoryWithoutItemsIsShownAndNoProcessorIsMade)
{
    CZelProcessorFactories::ForgetCategory();
    CScriptedPlugin::SetListed(false);
    EXPECT_THROW(CZelProcessor(), CUserException);
    CScriptedPlugin::SetListed(true);
    const SRecordedBox box = TakeBox();
    EXPECT_EQ(box.text, L"Unable to create Zel Processor Factory");
    EXPECT_EQ(box.style, 16U);
    EXPECT_NO_THROW(CZelProcessor()) << "an empty category is looked at again";
}

TEST_F(Tasks, WithoutAnyFactoryAProcessorCanNotBeMade)
{
    CZelProcessorFactories::ForgetCategory();
    CScriptedPlugin::SetInstalled(false);
    EXPECT_THROW(CZelProcessor(), CUserException);
    CScriptedPlugin::SetInstalled(true);
    for (int classes = 0; classes < 2; ++classes)
        m_host.ExpectLogLine(L"A plug-in was left out: class {1F3A6C10-");
    const SRecordedBox box = TakeBox();
    EXPECT_EQ(box.text, L"Unable to create Zel Processor Factory");
    EXPECT_EQ(box.style, 16U);
}

TEST_F(Tasks, AComponentThatCanNotBeMadeIsLeftOutWithOneWarning)
{
    CZelProcessorFactories::ForgetCategory();
    CZelProcessorFactories factories;
    EXPECT_TRUE(factories.LoadFactories());
    EXPECT_EQ(factories.GetArray().GetCount(), 2U);
    CScriptedPlugin::SetInstalled(false);
    EXPECT_FALSE(factories.LoadFactories());
    EXPECT_TRUE(factories.GetArray().IsEmpty());
    EXPECT_FALSE(factories.LoadFactories());
    CScriptedPlugin::SetInstalled(true);
    for (int classes = 0; classes < 2; ++classes)
        m_host.ExpectLogLine(L"A plug-in was left out: class {1F3A6C10-");
}
