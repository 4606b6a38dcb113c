#include "plugins/testtasks/LeaveTask.h"

#include "platform/Process.h"

#include <chrono>
#include <memory>

bool STDMETHODCALLTYPE CLeaveTask::Init(IXMLDOMNode* task)
{
    const CParameters parameters(task);
    SetResponseText(L"left");
    m_strProgram = parameters.Text(L"Program");
    for (int number = 1;; ++number) {
        const CString argument = parameters.Text(L"Argument" + std::to_wstring(number));
        if (argument.empty())
            return !m_strProgram.empty();
        m_arguments.push_back(argument);
    }
}

bool STDMETHODCALLTYPE CLeaveTask::ObtainData(CZelProcessorContext*, CZelProcessorProgress*)
{
    platform::SProcessOptions options;
    options.pipeInput = true;
    options.pipeOutput = true;
    // Never destroyed, for that would end the program.
    platform::CProcess& left = *std::make_unique<platform::CProcess>().release();
    CString line;
    return platform::Succeeded(left.Start(m_strProgram, m_arguments, options)) &&
           left.ReadLine(line, std::chrono::minutes(1));
}
