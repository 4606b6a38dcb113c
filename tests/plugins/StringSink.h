#pragma once

#include <ZEL_Processor/ZelPluginWriter.h>

#include <string>

namespace testsupport {

/// Keeps what it is given. After a number of calls it refuses one, so that its user is seen to remember that.
class CStringSink final : public IZelByteSink {
public:
    explicit CStringSink(unsigned calls = ~0U) : m_nCalls(calls) {}
    bool Write(std::string_view bytes) override
    {
        m_strAll.append(bytes);
        return m_nCalls-- != 0;
    }
    [[nodiscard]] const std::string& All() const { return m_strAll; }

private:
    unsigned m_nCalls;
    std::string m_strAll;
};

} // namespace testsupport
