#pragma once

#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "com/ComObject.h"
#include "com/CreateInstance.h"
#include "com/Guid.h"
#include "framework/DsEventsData.h"
#include "tests/library/ServerFixture.h"
#include "tests/support/ManualClock.h"

#include <functional>
#include <memory>
#include <vector>

inline constexpr GUID kFirstGroup = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
inline constexpr GUID kSecondGroup = {0xFFFFFFFF, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

/// A palette that answers as it is told.
class CTestPalette final : public CComObject<IWQ_Palette> {
public:
    HRESULT STDMETHODCALLTYPE GetChangedGroups(IWQ_DsEventsData*, IWQ_Project*, VARIANT_BOOL* groupsChanged,
                                               IWQ_CLSIDArray** groups, VARIANT_BOOL* projectNeedsUpdate) override
    {
        *groupsChanged = m_groups.empty() && !m_array ? VARIANT_FALSE : VARIANT_TRUE;
        *projectNeedsUpdate = m_needsUpdate ? VARIANT_TRUE : VARIANT_FALSE;
        *groups = nullptr;
        if (m_array)
            return m_array.CopyTo(groups);
        if (m_groups.empty())
            return m_result;
        CComPtr<IWQ_CLSIDArray> array;
        const HRESULT made = CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), array.PutVoid());
        for (const GUID& group : m_groups)
            EXPECT_EQ(array->Add(&group), S_OK);
        *groups = array.Detach();
        return made;
    }

    std::vector<GUID> m_groups;
    CComPtr<IWQ_CLSIDArray> m_array; ///< in place of one with the groups
    bool m_needsUpdate = false;
    HRESULT m_result = S_OK; ///< when there are no groups
};

/// A list that says that it has an element and does not give it.
class CFailingArray final : public CComObject<IWQ_CLSIDArray> {
public:
    HRESULT STDMETHODCALLTYPE Add(const GUID*) override { return E_NOTIMPL; }
    BOOL STDMETHODCALLTYPE Contains(const GUID*) override { return 0; }
    HRESULT STDMETHODCALLTYPE ContainsVB(const GUID*, VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Remove(const GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RemoveAll() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCount(ULONGLONG* count) override
    {
        *count = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetAt(ULONGLONG, GUID*) override { return E_ABORT; }
    HRESULT STDMETHODCALLTYPE CopyTo(IWQ_CLSIDArray*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetAt(ULONGLONG, const GUID*) override { return E_NOTIMPL; }
};

/// Items that announce so many and answer with this result instead of the first.
class CBadItems final : public CComObject<IWQ_DsItems> {
public:
    explicit CBadItems(HRESULT result, LONG announced = 3) : m_result(result), m_announced(announced) {}

    HRESULT STDMETHODCALLTYPE GetCount(LONG* count) override
    {
        *count = m_announced;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetItem(LONG, LONG*) override { return m_result; }
    HRESULT STDMETHODCALLTYPE Add(LONG) override { return E_NOTIMPL; }

private:
    const HRESULT m_result;
    const LONG m_announced;
};

/// Runs beside the test, which looks whether it has ended. Whatever it waits for must be given before this object ends.
class CBeside {
public:
    explicit CBeside(std::function<void()> body)
    {
        EXPECT_TRUE(m_thread.Start([body = std::move(body)] {
            CoInitializeSYS(nullptr);
            CoInitializeZEL(nullptr);
            body();
            CoUninitializeZEL();
            CoUninitializeSYS();
            return 0U;
        }));
    }
    [[nodiscard]] bool EndsInTime() { return m_thread.WaitFor(std::chrono::seconds(20)); }

private:
    platform::CThread m_thread;
};

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
};
