#pragma once

#include "com/Bstr.h"
#include "com/Com.h"

#include <string>
#include <string_view>

/// Owner of a VARIANT. Move-only.
class CVariant {
public:
    CVariant() noexcept { VariantInit(&m_variant); }
    /// A BSTR copy of the text; throws CComError(E_OUTOFMEMORY).
    explicit CVariant(std::wstring_view text) : CVariant(CBstr(text)) {}
    /// Takes the text over.
    explicit CVariant(CBstr text) noexcept : CVariant()
    {
        m_variant.vt = VT_BSTR;
        m_variant.bstrVal = text.Detach();
    }
    /// VT_I4.
    [[nodiscard]] static CVariant FromLong(LONG value) noexcept
    {
        CVariant variant;
        variant.m_variant.vt = VT_I4;
        variant.m_variant.lVal = value;
        return variant;
    }
    /// VT_BOOL.
    [[nodiscard]] static CVariant FromBool(bool value) noexcept
    {
        CVariant variant;
        variant.m_variant.vt = VT_BOOL;
        variant.m_variant.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
        return variant;
    }
    CVariant(CVariant&& other) noexcept : m_variant(other.m_variant) { VariantInit(&other.m_variant); }
    CVariant& operator=(CVariant&& other) noexcept
    {
        if (this != &other) {
            Clear();
            m_variant = other.m_variant;
            VariantInit(&other.m_variant);
        }
        return *this;
    }
    CVariant(const CVariant&) = delete;
    CVariant& operator=(const CVariant&) = delete;
    ~CVariant() { Clear(); }

    /// For parameters of type VARIANT: the callee borrows it.
    [[nodiscard]] const VARIANT& Get() const noexcept { return m_variant; }
    [[nodiscard]] VARTYPE Type() const noexcept { return m_variant.vt; }
    /// Empties this and gives the address, for a call that hands a value out.
    [[nodiscard]] VARIANT* Put() noexcept
    {
        Clear();
        return &m_variant;
    }
    void Clear() noexcept
    {
        // What this owns was made by the system or by us, so its type is one that can be cleared.
        static_cast<void>(VariantClear(&m_variant));
        VariantInit(&m_variant);
    }
    /// The text of a VT_BSTR; empty for every other type.
    [[nodiscard]] std::wstring_view Text() const noexcept
    {
        if (m_variant.vt != VT_BSTR || m_variant.bstrVal == nullptr)
            return {};
        return {m_variant.bstrVal, SysStringLen(m_variant.bstrVal)};
    }

private:
    VARIANT m_variant;
};
