#pragma once

#include <ZEL_Processor/ZelPlugin.h>

#include <cstdint>

/// The parameters of a test task, read from its "Task" element: a child element of the name, else an attribute of the
/// name.
class CParameters {
public:
    CParameters() = default;
    explicit CParameters(IXMLDOMNode* task) : m_pTask(task) {}

    [[nodiscard]] CString Text(const CString& name, const CString& missing = {}) const;
    /// False when there is a value that is no number from 0 to a million.
    [[nodiscard]] bool Number(const CString& name, std::uint32_t missing, std::uint32_t& value) const;

private:
    CComPtr<IXMLDOMNode> m_pTask;
};
