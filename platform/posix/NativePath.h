#pragma once

#include "platform/OsError.h"
#include "platform/Text.h"

#include <string>
#include <string_view>

namespace platform::posix {

/// A path as system calls take it.
class CNativePath {
public:
    explicit CNativePath(std::wstring_view path) : m_bytes(ToUtf8(path)) {}

    /// None, or what is wrong with a text that no path can be: an empty one, or one that the system would read to its
    /// first null character only.
    [[nodiscard]] eOsError Check() const
    {
        if (m_bytes.empty()) {
            return eOsError_PathNotFound;
        }
        return m_bytes.find('\0') == std::string::npos ? eOsError_None : eOsError_InvalidParameter;
    }
    [[nodiscard]] const char* c_str() const { return m_bytes.c_str(); }
    /// The directory that holds the last component: "." for a bare name.
    [[nodiscard]] std::string Parent() const
    {
        const std::size_t slash = m_bytes.find_last_of('/');
        return slash == std::string::npos ? "." : m_bytes.substr(0, slash == 0 ? 1 : slash);
    }

private:
    std::string m_bytes;
};

} // namespace platform::posix
