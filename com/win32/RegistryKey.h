#pragma once

#include "com/Com.h"
#include "com/Guid.h"

#include <string>
#include <utility>
#include <vector>

namespace com_win32 {

/// "CLSID\{id}", below the system's classes.
[[nodiscard]] inline std::wstring ClassKey(REFCLSID classId)
{
    return L"CLSID\\" + GuidToText(classId);
}

/// Owner of an open key of the registry.
class CRegistryKey {
public:
    CRegistryKey() = default;
    ~CRegistryKey() { Close(); }
    CRegistryKey(const CRegistryKey&) = delete;
    CRegistryKey& operator=(const CRegistryKey&) = delete;

    [[nodiscard]] HKEY Get() const { return m_key; }
    /// For reading; false when it is not there.
    [[nodiscard]] bool Open(HKEY root, const std::wstring& path)
    {
        Close();
        return ::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &m_key) == ERROR_SUCCESS;
    }
    /// For writing; makes what is missing of the path.
    [[nodiscard]] LSTATUS Create(HKEY root, const std::wstring& path)
    {
        Close();
        return ::RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &m_key, nullptr);
    }
    /// Text of a value, the default one for an empty name; empty when there is none.
    [[nodiscard]] std::wstring Text(const wchar_t* name) const
    {
        std::wstring text(1024, L'\0');
        for (;;) {
            auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
            const LSTATUS read = ::RegGetValueW(m_key, nullptr, name, RRF_RT_REG_SZ, nullptr, text.data(), &bytes);
            if (read == ERROR_MORE_DATA) {
                text.resize(text.size() * 2);
                continue;
            }
            text.resize(read == ERROR_SUCCESS ? bytes / sizeof(wchar_t) - 1 : 0); // without its null
            return text;
        }
    }
    [[nodiscard]] LSTATUS SetText(const wchar_t* name, const std::wstring& text)
    {
        return ::RegSetValueExW(m_key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                                static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }

    /// The names of the keys below.
    [[nodiscard]] std::vector<std::wstring> SubKeys() const
    {
        std::vector<std::wstring> names;
        for (DWORD index = 0;; ++index) {
            std::wstring name(256, L'\0'); // the system's own limit
            auto length = static_cast<DWORD>(name.size());
            if (::RegEnumKeyExW(m_key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
                ERROR_SUCCESS)
                return names;
            names.push_back(name.substr(0, length));
        }
    }

private:
    void Close()
    {
        if (const HKEY key = std::exchange(m_key, nullptr); key != nullptr)
            ::RegCloseKey(key);
    }

    HKEY m_key = nullptr;
};

} // namespace com_win32
