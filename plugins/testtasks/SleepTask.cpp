#include "plugins/testtasks/SleepTask.h"

#include "plugins/common/PluginOs.h"

#include <algorithm>

using std::chrono::milliseconds;

namespace {

constexpr milliseconds kSlice(10);

/// False when the request was cancelled before the time came.
bool SleepUntil(milliseconds end, CZelProcessorContext& context)
{
    for (milliseconds now = ElapsedTime(); now < end; now = ElapsedTime()) {
        if (context.IsCanceled())
            return false;
        SleepFor(std::min(kSlice, end - now));
    }
    return !context.IsCanceled();
}

} // namespace

bool STDMETHODCALLTYPE CSleepTask::Init(IXMLDOMNode* task)
{
    const CParameters parameters(task);
    SetResponseText(parameters.Text(L"Text", L"slept"));
    m_strRecordFile = parameters.Text(L"RecordFile");
    return parameters.Number(L"Milliseconds", 100, m_nMilliseconds) && parameters.Number(L"Steps", 10, m_nSteps) &&
           m_nSteps > 0;
}

bool STDMETHODCALLTYPE CSleepTask::ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress)
{
    if (!m_strRecordFile.empty() && !CreateNumberedFile(m_strRecordFile))
        return false;
    const milliseconds start = ElapsedTime();
    progress->SetRange(0, m_nSteps);
    for (std::uint32_t step = 1; step <= m_nSteps; ++step) {
        const std::uint64_t passed = std::uint64_t{m_nMilliseconds} * step / m_nSteps;
        if (!SleepUntil(start + milliseconds(passed), *context))
            return true;
        progress->SetPos(step);
        progress->SetComment((L"step " + std::to_wstring(step) + L" of " + std::to_wstring(m_nSteps)).c_str());
    }
    return true;
}
