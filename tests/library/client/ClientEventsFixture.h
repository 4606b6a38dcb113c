#pragma once

#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "com/CreateInstance.h"
#include "com/Guid.h"
#include "tests/support/ServerKit.h"

#include <string>

/// A client that is registered with a running server. The tests write its files themselves.
class CClientEventsFixture : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        Run();
    }
    void TearDown() override { static_cast<void>(m_client.StopListeningDsEvents()); }

    void Listen() { ASSERT_TRUE(m_client.ListenDsEvents()); }
    void WriteEvents(std::size_t count) const
    {
        CDsEventsDataVector events;
        while (events.size() < count)
            events.push_back(CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData));
        ASSERT_TRUE(WriteDsEventsFile(m_client.GetDsEventsFileFullPath(), events));
    }
    /// The ids of the group file as text; "null" for a null array.
    std::string TakeGroups()
    {
        CComPtr<IWQ_CLSIDArray> groups;
        EXPECT_TRUE(m_client.GetChangedInsertableItemsGroups(groups.Put()));
        if (!groups)
            return "null";
        std::string text;
        ULONGLONG count = 0;
        EXPECT_EQ(groups->GetCount(&count), S_OK);
        for (ULONGLONG index = 0; index < count; ++index) {
            GUID id{};
            EXPECT_EQ(groups->GetAt(index, &id), S_OK);
            text += std::to_string(id.Data1) + " ";
        }
        return text;
    }
    void WriteGroups(const std::string& content) const
    {
        Write(m_client.GetInsertableItemsChangeFile(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Archive version=\"1\">" + content + "</Archive>");
    }
    static std::string Id(int number) { return "{0000000" + std::to_string(number) + "-0000-0000-0000-000000000000}"; }
};
