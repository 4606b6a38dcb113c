#include "plugins/testtasks/FireEventsTask.h"

#include "com/Guid.h"
#include "com/ZelCom.h"

#include <sstream>
#include <thread>
#include <vector>

bool STDMETHODCALLTYPE CFireEventsTask::Init(IXMLDOMNode* task)
{
    m_parameters = CParameters(task);
    SetResponseText(L"fired");
    return GuidFromText(m_parameters.Text(L"Source", L"{00000000-0000-0000-0000-000000000001}"), m_source) &&
           m_parameters.Number(L"Kind", eDsEventKind_Items, m_nKind) && m_parameters.Number(L"Times", 1, m_nTimes) &&
           m_parameters.Number(L"LockResults", 0, m_nLockResults);
}

bool STDMETHODCALLTYPE CFireEventsTask::ObtainData(CZelProcessorContext*, CZelProcessorProgress* progress)
{
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    for (std::uint32_t round = 0; round < m_nTimes; ++round)
        events.push_back(MakeEvents(round));
    HRESULT result = S_OK;
    std::thread teller([&] {
        for (const CComPtr<IWQ_DsEventsData>& each : events)
            result = SUCCEEDED(result) ? CTestEvents::Instance().TellChange(each.Get()) : result;
        if (SUCCEEDED(result) && m_nLockResults != 0)
            result = CTestEvents::Instance().TellLockResults();
    });
    teller.join();
    if (FAILED(result))
        progress->SetComment(L"the change could not be told");
    return SUCCEEDED(result);
}

CComPtr<IWQ_DsEventsData> CFireEventsTask::MakeEvents(std::uint32_t round) const
{
    CComPtr<IWQ_DsEventsData> events;
    ThrowIfFailed(CoCreateInstanceZEL(kClsidDsEventsData, nullptr, CLSCTX_INPROC_SERVER, ComIid<IWQ_DsEventsData>(),
                                      events.PutVoid()));
    ThrowIfFailed(events->PutAddedItems(MakeList(L"Added", round).Get()));
    ThrowIfFailed(events->PutChangedItems(MakeList(L"Changed", 0).Get()));
    ThrowIfFailed(events->PutRemovedItems(MakeList(L"Removed", 0).Get()));
    ThrowIfFailed(events->PutRenamedItems(MakeList(L"Renamed", 0).Get()));
    ThrowIfFailed(events->PutAffectedItems(MakeList(L"Affected", 0).Get()));
    ThrowIfFailed(events->PutChangedColumns(MakeList(L"Columns", 0).Get()));
    ThrowIfFailed(events->PutKind(static_cast<LONG>(m_nKind)));
    if (const CString text = m_parameters.Text(L"Groups"); !text.empty()) {
        const CComPtr<IWQ_DsGuidSet> sources = MakeDsGuidSet();
        std::wistringstream words(text);
        for (CString word; words >> word;) {
            GUID id{};
            static_cast<void>(GuidFromText(word, id)); // anything else is the null id
            ThrowIfFailed(sources->Add(&id));
        }
        ThrowIfFailed(events->PutChangedSources(sources.Get()));
    }
    return events;
}

CComPtr<IWQ_DsList> CFireEventsTask::MakeList(const CString& name, std::uint32_t round) const
{
    std::wistringstream numbers(m_parameters.Text(name));
    CComPtr<IWQ_DsList> list;
    for (LONG number = 0; numbers >> number;) {
        if (!list)
            list = MakeDsList();
        ThrowIfFailed(list->AddItem(&m_source, number + static_cast<LONG>(round)));
    }
    return list;
}
