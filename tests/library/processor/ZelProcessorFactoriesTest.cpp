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
