#include "processor/ZelProcessorFactories.h"

#include "framework/Exceptions.h"
#include "tests/library/processor/TasksFixture.h"

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

TEST_F(Factories, OfThoseThatServeOneRequestAtATimeOneThreadUsesOne)
{
    CZelProcessorFactories loaded;
    ASSERT_TRUE(loaded.LoadFactories());
    const CComPtr<IWQ_ZELProcessorFactory> factory(loaded.GetArray().GetAt(0));
    CCallGate gate;
    CZelProcessorFactories one;
    CZelProcessorFactories other;
    for (CZelProcessorFactories* factories : {&one, &other}) {
        factories->Add(*factory.Get(), true);
        factories->SetGate(&gate);
    }
    CComPtr<IWQ_ZELProcessorRequest> request = one.FindRequest(L"a.drq");
    EXPECT_TRUE(request);
    CComPtr<IWQ_ZELProcessorTask> task;
    EXPECT_TRUE(one.FindTask(L"Scripted", task)) << "who uses it goes on";
    EXPECT_FALSE(other.FindRequest(L"b.drq"));
    EXPECT_TRUE(other.WasBusy());
    EXPECT_FALSE(other.FindResponse(request.Get(), [] { return false; })) << "somebody wants it to stop";
    other.EndUse();
    EXPECT_FALSE(other.FindRequest(L"b.drq")) << "the one that uses it ends that alone";
    one.EndUse();
    EXPECT_TRUE(other.FindRequest(L"b.drq"));
    EXPECT_FALSE(other.WasBusy());
    EXPECT_FALSE(one.FindRequest(L"c.drq"));
    other.EndUse();
}

TEST_F(Factories, OneThatServesOneRequestAtATimeKeepsNobodyFromOthersAndIsFreeWhenItDeclines)
{
    CZelProcessorFactories loaded;
    ASSERT_TRUE(loaded.LoadFactories());
    const CComPtr<IWQ_ZELProcessorFactory> factory(loaded.GetArray().GetAt(0));
    CCallGate gate;
    ASSERT_TRUE(gate.TryEnter(&gate));
    CZelProcessorFactories factories;
    factories.Add(*factory.Get(), true);
    factories.Add(*factory.Get());
    factories.SetGate(&gate);
    EXPECT_TRUE(factories.FindRequest(L"a.drq")) << "the second one takes it";
    EXPECT_FALSE(factories.WasBusy());
    gate.Leave(&gate);
    m_first.createTask = [](const std::wstring&) { return false; };
    CComPtr<IWQ_ZELProcessorTask> task;
    EXPECT_FALSE(factories.FindTask(L"unknown", task));
    EXPECT_FALSE(factories.WasBusy());
    EXPECT_TRUE(gate.TryEnter(&gate)) << "who declines is not used";
}
