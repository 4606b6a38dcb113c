#pragma once

#include "plugins/testtasks/TestTask.h"

/// "Compute": keeps a processor busy with a given amount of work.
class CComputeTask : public CTestTask {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override;

private:
    std::uint32_t m_nRounds = 0;
};
