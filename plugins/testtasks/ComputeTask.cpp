#include "plugins/testtasks/ComputeTask.h"

#include "plugins/testtasks/Computing.h"

namespace {

/// Between two looks whether the request is cancelled, which is some hundred microseconds.
constexpr std::uint32_t kRoundsAtOnce = 100;

} // namespace

bool STDMETHODCALLTYPE CComputeTask::Init(IXMLDOMNode* task)
{
    return CParameters(task).Number(L"Rounds", 1000, m_nRounds);
}

bool STDMETHODCALLTYPE CComputeTask::ObtainData(CZelProcessorContext* context, CZelProcessorProgress*)
{
    std::uint64_t number = 1;
    for (std::uint32_t round = 0; m_nRounds == 0 || round < m_nRounds; ++round) {
        if (round % kRoundsAtOnce == 0 && context->IsCanceled())
            return true;
        number = ComputeRound(number);
    }
    SetResponseText(std::to_wstring(number)); // also for the work to be done at all
    return true;
}
