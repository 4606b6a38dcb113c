#pragma once

#include "com/Com.h"
#include "com/ComError.h"

#include <limits>
#include <string>
#include <string_view>
#include <utility>

/// Owner of a BSTR; null is an empty text. Move-only: whoever needs a second one makes it from View().
class CBstr {
public:
    CBstr() noexcept = default;
    /// Copies the text, zeros inside included. Throws CComError(E_OUTOFMEMORY) when there is no memory.
    explicit CBstr(std::wstring_view text) : m_bstr(Allocate(text)) {}
    CBstr(CBstr&& other) noexcept : m_bstr(other.Detach()) {}
    CBstr& operator=(CBstr&& other) noexcept
    {
        if (this != &other)
            Attach(other.Detach());
        return *this;
    }
    CBstr(const CBstr&) = delete;
    CBstr& operator=(const CBstr&) = delete;
    ~CBstr() { SysFreeString(m_bstr); }

    [[nodiscard]] BSTR Get() const noexcept { return m_bstr; }
    [[nodiscard]] UINT Length() const noexcept { return SysStringLen(m_bstr); }
    [[nodiscard]] bool IsEmpty() const noexcept { return Length() == 0; }
    /// Valid until the text is changed or freed.
    [[nodiscard]] std::wstring_view View() const noexcept
    {
        return m_bstr == nullptr ? std::wstring_view() : std::wstring_view(m_bstr, Length());
    }
    [[nodiscard]] std::wstring Text() const { return std::wstring(View()); }

    /// Empties this and gives the address, for a call that hands a text out.
    [[nodiscard]] BSTR* Put() noexcept
    {
        Attach(nullptr);
        return &m_bstr;
    }
    void Attach(BSTR text) noexcept
    {
        SysFreeString(m_bstr);
        m_bstr = text;
    }
    [[nodiscard]] BSTR Detach() noexcept { return std::exchange(m_bstr, nullptr); }

private:
    static BSTR Allocate(std::wstring_view text)
    {
        BSTR copy = nullptr;
        if (text.size() < std::numeric_limits<UINT>::max() / sizeof(wchar_t) - 2)
            copy = SysAllocStringLen(text.empty() ? L"" : text.data(), static_cast<UINT>(text.size()));
        if (copy == nullptr)
            throw CComError(E_OUTOFMEMORY);
        return copy;
    }

    BSTR m_bstr = nullptr;
};
