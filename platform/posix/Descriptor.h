#pragma once

#include <utility>

namespace platform::posix {

/// Owner of a file descriptor.
class CDescriptor {
public:
    CDescriptor() = default;
    explicit CDescriptor(int descriptor) : m_descriptor(descriptor) {}
    ~CDescriptor() { Reset(); }
    CDescriptor(CDescriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    CDescriptor& operator=(CDescriptor&& other) noexcept
    {
        Reset(std::exchange(other.m_descriptor, -1));
        return *this;
    }

    [[nodiscard]] int Get() const { return m_descriptor; }
    [[nodiscard]] explicit operator bool() const { return m_descriptor >= 0; }
    [[nodiscard]] int Release() { return std::exchange(m_descriptor, -1); }
    /// Closes what was held, keeping errno, then takes the new one.
    void Reset(int descriptor = -1);

private:
    int m_descriptor = -1;
};

} // namespace platform::posix
