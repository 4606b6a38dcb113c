#include "processor/ZelProcessorFactories.h"

#include "framework/Exceptions.h"
#include "tests/library/processor/TasksFixture.h"

#include <functional>
#include <vector>

namespace {

using Factories = CTasksFixture;

} // namespace

TEST_F(Factories, ACategoryWithoutItemsIsShownAndNoProcessorIsMade)
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

TEST_F(Factories, WithoutAnyFactoryAProcessorCanNotBeMade)
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

TEST_F(Factories, AComponentThatCanNotBeMadeIsLeftOutWithOneWarning)
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

TEST_F(Factories, OneThatWasAddedIsDescribedWithoutAName)
{
    CZelProcessorFactories loaded;
    ASSERT_TRUE(loaded.LoadFactories());
    CZelProcessorFactories factories;
    factories.Add(*CComPtr<IWQ_ZELProcessorFactory>(loaded.GetArray().GetAt(0)));
    const std::vector<SZelServerPlugin> added = factories.Describe();
    ASSERT_EQ(added.size(), 1U);
    EXPECT_EQ(added[0].name, L"");
    EXPECT_EQ(added[0].module, L"");
    ASSERT_TRUE(factories.LoadFactories());
    EXPECT_EQ(factories.Describe().size(), 2U) << "and nothing of it stays";
}

namespace {

/// Two threads' factories, the first of which in their order serves one request at a time.
class FactoriesAtAGate : public CTasksFixture {
protected:
    FactoriesAtAGate()
    {
        EXPECT_TRUE(m_loaded.LoadFactories());
        for (CZelProcessorFactories* factories : {&m_one, &m_other}) {
            factories->Add(*CComPtr<IWQ_ZELProcessorFactory>(m_loaded.GetArray().GetAt(0)), true);
            factories->Add(*CComPtr<IWQ_ZELProcessorFactory>(m_loaded.GetArray().GetAt(1)));
            factories->SetGate(&m_gate, [this](const void* who) {
                ++m_waits;
                return m_whileWaiting && (m_whileWaiting(), m_gate.TryEnter(who));
            });
        }
    }

    CZelProcessorFactories m_loaded;
    CCallGate m_gate;
    CZelProcessorFactories m_one;
    CZelProcessorFactories m_other;
    std::function<void()> m_whileWaiting; ///< without one the wait is given up
    int m_waits = 0;
};

} // namespace

TEST_F(FactoriesAtAGate, OfThoseThatServeOneRequestAtATimeOneThreadUsesOne)
{
    const CComPtr<IWQ_ZELProcessorRequest> request = m_one.FindRequest(L"a.drq");
    EXPECT_TRUE(request);
    CComPtr<IWQ_ZELProcessorTask> task;
    EXPECT_TRUE(m_one.FindTask(L"Scripted", task)) << "who uses it goes on";
    EXPECT_EQ(m_waits, 0);
    EXPECT_FALSE(m_other.FindRequest(L"b.drq"));
    EXPECT_TRUE(m_other.HasGivenUp());
    EXPECT_EQ(m_waits, 1);
    EXPECT_FALSE(m_other.FindResponse(request.Get(), [] { return false; })) << "somebody wants it to stop";
    m_other.EndUse();
    EXPECT_FALSE(m_other.FindRequest(L"b.drq")) << "the one that uses it ends that alone";
    m_one.EndUse();
    EXPECT_TRUE(m_other.FindRequest(L"b.drq"));
    EXPECT_FALSE(m_other.HasGivenUp());
    EXPECT_FALSE(m_one.FindRequest(L"c.drq"));
    m_other.EndUse();
}

TEST_F(FactoriesAtAGate, OneThatServesOneRequestAtATimeIsWaitedForAndKeepsItsPlaceBeforeOthers)
{
    std::vector<int> asked;
    m_first.createTask = [&](const std::wstring&) {
        asked.push_back(1);
        return true;
    };
    m_second.createTask = [&](const std::wstring&) {
        asked.push_back(2);
        return true;
    };
    EXPECT_TRUE(m_one.FindRequest(L"a.drq"));
    m_whileWaiting = [&] { m_one.EndUse(); };
    CComPtr<IWQ_ZELProcessorTask> task;
    EXPECT_TRUE(m_other.FindTask(L"Scripted", task));
    EXPECT_EQ(asked, std::vector<int>{1}) << "whoever else would take it";
    EXPECT_EQ(m_waits, 1);
    m_other.EndUse();
}

TEST_F(FactoriesAtAGate, OneThatDeclinesIsFreeForAll)
{
    m_first.createTask = [](const std::wstring&) { return false; };
    CComPtr<IWQ_ZELProcessorTask> task;
    EXPECT_TRUE(m_one.FindTask(L"Scripted", task)) << "of the second one";
    EXPECT_FALSE(m_one.HasGivenUp());
    EXPECT_TRUE(m_gate.TryEnter(&m_gate));
}
