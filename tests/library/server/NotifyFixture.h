#pragma once

#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "com/CreateInstance.h"
#include "tests/support/ManualClock.h"
#include "tests/support/NotifyDoubles.h"
#include "tests/support/ServerKit.h"

#include <memory>
#include <vector>

/// A running server with a palette; clients that listen.
class CNotifyFixture : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        m_pPalette = MakeComObject<CTestPalette>();
        m_pServer->SetPalette(m_pPalette.Get());
        Run();
    }
    void TearDown() override
    {
        m_others.clear(); // while the server can answer
        static_cast<void>(m_client.StopListeningDsEvents());
        m_pServer.reset(); // before the clock
    }
    /// The server anew, with these options.
    void RunAgain(const SZelServerOptions& options)
    {
        m_pServer.reset();
        Make(options);
        m_pServer->SetPalette(m_pPalette.Get());
        Run();
    }
    /// A registration without a client.
    GUID Register()
    {
        EXPECT_TRUE(Access().RegisterNewClient(L"RegisterClient__" + std::to_wstring(++m_registrations)));
        return Access().Clients().back();
    }
    /// The kinds of the events in a file.
    static std::vector<LONG> EventsIn(const std::wstring& path)
    {
        CDsEventsDataVector events;
        EXPECT_TRUE(CZELEnvFileDsEventsFile::ReadDsEventsFile(path, events));
        return KindsOf(events);
    }
    /// One more client that listens.
    CZelProcessorClient& AddListener()
    {
        m_others.push_back(std::make_unique<CZelProcessorClient>());
        m_others.back()->Init(m_requestDir, m_outputDir, m_clientDir);
        m_others.back()->SetSyncing(false);
        EXPECT_TRUE(m_others.back()->ListenDsEvents());
        return *m_others.back();
    }
    static CComPtr<IWQ_DsEventsData> Event(LONG number)
    {
        auto event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
        EXPECT_EQ(event->PutKind(number), S_OK);
        return event;
    }
    static std::vector<LONG> Take(CZelProcessorClient& client)
    {
        std::vector<CComPtr<IWQ_DsEventsData>> events;
        EXPECT_TRUE(client.GetDsEvents(events));
        return KindsOf(events);
    }
    static std::vector<LONG> KindsOf(const CDsEventsDataVector& events)
    {
        std::vector<LONG> numbers;
        for (const auto& event : events) {
            LONG number = 0;
            EXPECT_EQ(event->GetKind(&number), S_OK);
            numbers.push_back(number);
        }
        return numbers;
    }
    static std::vector<GUID> TakeGroups(CZelProcessorClient& client)
    {
        CComPtr<IWQ_CLSIDArray> groups;
        EXPECT_TRUE(client.GetChangedInsertableItemsGroups(groups.Put()));
        std::vector<GUID> ids;
        ULONGLONG count = 0;
        EXPECT_TRUE(groups && SUCCEEDED(groups->GetCount(&count)));
        ids.resize(count);
        for (ULONGLONG index = 0; index < count; ++index)
            EXPECT_EQ(groups->GetAt(index, &ids[index]), S_OK);
        return ids;
    }

    /// An event with such items among the added ones.
    static CComPtr<IWQ_DsEventsData> BadEvent(HRESULT result)
    {
        auto event = Event(99);
        EXPECT_EQ(event->PutAddedItems(ListOf(MakeComObject<CBadItems>(result).Get()).Get()), S_OK);
        return event;
    }
    static CComPtr<IWQ_DsEventsData> LargeEvent(std::size_t items = 0)
    {
        auto event = Event(1);
        const auto all = MakeDsItems();
        for (std::size_t count = 0; count < items + 100; ++count)
            static_cast<void>(all->Add(1));
        EXPECT_EQ(event->PutAddedItems(ListOf(all.Get()).Get()), S_OK);
        return event;
    }
    static CComPtr<IWQ_DsList> ListOf(IWQ_DsItems* items)
    {
        auto list = MakeDsList();
        EXPECT_EQ(list->Put(&kFirstGroup, items), S_OK);
        return list;
    }
    /// What OnChangedDs throws; S_OK when it does not.
    HRESULT Tell(LONG number)
    {
        try {
            m_pServer->OnChangedDs(Event(number).Get());
        } catch (const CComError& error) {
            return error.Code();
        }
        return S_OK;
    }

    CComPtr<CTestPalette> m_pPalette;
    std::vector<std::unique_ptr<CZelProcessorClient>> m_others;
    int m_registrations = 0;
    /// Waiting does not move it: who waits for 2 seconds waits until the test lets them pass.
    testsupport::CManualClock m_stillClock{std::chrono::nanoseconds(0)};
    /// Each wait takes 10 ms of it. Here, for the server's threads ask the time as well, and outlive a test's own
    /// clock.
    testsupport::CManualClock m_fastClock{std::chrono::milliseconds(10)};
};
