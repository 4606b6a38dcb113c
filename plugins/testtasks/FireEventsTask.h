#pragma once

#include "plugins/testtasks/TestEvents.h"
#include "plugins/testtasks/TestTask.h"

/// "FireEvents": tells of changes that the request makes up, on a thread of its own without COM, as a plug-in may.
class CFireEventsTask : public CTestTask {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override;

private:
    [[nodiscard]] CComPtr<IWQ_DsEventsData> MakeEvents(std::uint32_t round) const;
    [[nodiscard]] CComPtr<IWQ_DsList> MakeList(const CString& name, std::uint32_t round) const;

    CParameters m_parameters;
    GUID m_source{};
    std::uint32_t m_nKind = 0;
    std::uint32_t m_nTimes = 0;
    std::uint32_t m_nLockResults = 0;
};
