#pragma once

#include "platform/Mutex.h"
#include "plugins/datastore/SourceId.h"

#include "com/ComObject.h"
#include "com/Guid.h"
#include "platform/Text.h"
#include "tests/support/RecordingHost.h"

#include <ZEL_Processor/IWQ_DsEventSource.h>

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <string>

namespace plugintest {

/// Keeps what it is told as text: "items added box/birds 4 5 removed box/birds 9", "sources box/fish", "reload
/// box/birds", "locks". The tables are those that the tests use.
class CRecordingSink final : public CComObject<IWQ_DsEventSink> {
public:
    HRESULT STDMETHODCALLTYPE OnChangedDs(IWQ_DsEventsData* events) override
    {
        Keep(TextOf(*events));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnChangedLockResults() override
    {
        Keep("locks");
        return S_OK;
    }

    /// Called, on the thread of the source, with all that is told from now on. Before the source is started.
    void OnTold(std::function<void()> hook) { m_hook = std::move(hook); }

    /// Waits for the next and takes it; a test failure, and empty, when none comes.
    [[nodiscard]] std::string Next()
    {
        platform::CMutexLock lock(m_mutex);
        if (!m_changed.WaitFor(lock, CRecordingHost::kPatience,
                               [&]() ZEL_REQUIRES(m_mutex) { return !m_told.empty(); })) {
            ADD_FAILURE() << "Nothing was told.";
            return {};
        }
        std::string text = std::move(m_told.front());
        m_told.pop_front();
        return text;
    }
    [[nodiscard]] std::size_t Count()
    {
        const platform::CMutexLock guard(m_mutex);
        return m_told.size();
    }

private:
    using GetList = HRESULT (STDMETHODCALLTYPE IWQ_DsEventsData::*)(IWQ_DsList**);

    static std::string NameOf(const GUID& table)
    {
        for (const char* name : {"birds", "fish", "codes"}) {
            if (TableId("box", name) == table)
                return std::string("box/") + name;
        }
        for (const char* source : {"crate", "CRATE"}) {
            if (TableId(source, "boats") == table)
                return std::string(source) + "/boats";
        }
        for (const char* source : {"junk", "started"}) {
            if (TableId(source, "t") == table)
                return std::string(source) + "/t";
        }
        return platform::ToUtf8(GuidToText(table));
    }
    static std::string ListText(IWQ_DsEventsData& events, const std::string& word, GetList getList)
    {
        CComPtr<IWQ_DsList> list;
        if ((events.*getList)(list.Put()) != S_OK)
            return {};
        std::string text = " " + word;
        GUID table = {};
        for (LONG place = 0; list->GetKey(place, &table) == S_OK; ++place) {
            text += " " + NameOf(table);
            CComPtr<IWQ_DsItems> items;
            EXPECT_EQ(list->GetItemsAt(place, items.Put()), S_OK);
            LONG item = 0;
            for (LONG index = 0; items->GetItem(index, &item) == S_OK; ++index)
                text += " " + std::to_string(item);
        }
        return text;
    }
    static std::string TextOf(IWQ_DsEventsData& events)
    {
        LONG kind = eDsEventKind_Unknown;
        EXPECT_EQ(events.GetKind(&kind), S_OK);
        std::string text = kind == eDsEventKind_Items     ? "items"
                           : kind == eDsEventKind_Sources ? "sources"
                           : kind == eDsEventKind_Reload  ? "reload"
                                                          : "unknown";
        text += ListText(events, "added", &IWQ_DsEventsData::GetAddedItems);
        text += ListText(events, "changed", &IWQ_DsEventsData::GetChangedItems);
        text += ListText(events, "removed", &IWQ_DsEventsData::GetRemovedItems);
        CComPtr<IWQ_DsGuidSet> sources;
        if (events.GetChangedSources(sources.Put()) != S_OK)
            return text;
        GUID table = {};
        for (LONG index = 0; sources->GetAt(index, &table) == S_OK; ++index)
            text += " " + NameOf(table);
        return text;
    }
    void Keep(std::string text)
    {
        if (m_hook)
            m_hook();
        const platform::CMutexLock guard(m_mutex);
        m_told.push_back(std::move(text));
        m_changed.NotifyAll();
    }

    std::function<void()> m_hook;
    platform::CMutex m_mutex;
    platform::CCondition m_changed;
    std::deque<std::string> m_told ZEL_GUARDED_BY(m_mutex);
};

} // namespace plugintest
