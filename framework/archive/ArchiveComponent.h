#pragma once

#include "com/Bstr.h"
#include "com/ComObject.h"
#include "com/ComObjectPair.h"
#include "framework/Archive.h"
#include "framework/archive/ArchiveBuffer.h"
#include "framework/archive/ArchiveObject.h"
#include "framework/archive/ArchiveVariant.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

/// Base of the archive components: the archive interface over a buffer, and a second interface that tells where the
/// bytes come from and go to.
template <class Component>
class CArchiveComponent : public CComObjectPair<IWQ_Archive, Component> {
public:
    bool STDMETHODCALLTYPE IsLoading() override { return m_buffer.IsLoading(); }
    bool STDMETHODCALLTYPE IsStoring() override { return m_buffer.IsStoring(); }

    HRESULT STDMETHODCALLTYPE ReadBytes(void* buffer, ULONG count, ULONG* read) override
    {
        return Out(read, [&] {
            if (buffer == nullptr && count > 0)
                throw CComError(E_POINTER);
            const auto available = static_cast<ULONG>(std::min<std::size_t>(count, m_buffer.Remaining()));
            m_buffer.Read(buffer, available);
            return available;
        });
    }
    HRESULT STDMETHODCALLTYPE WriteBytes(const void* buffer, ULONG count) override
    {
        if (buffer == nullptr && count > 0)
            return E_POINTER;
        return In([&] { m_buffer.Write(buffer, count); });
    }
    HRESULT STDMETHODCALLTYPE ReadUChar(BYTE* value) override { return ReadNumber(value); }
    HRESULT STDMETHODCALLTYPE WriteUChar(BYTE value) override { return WriteNumber(value); }
    HRESULT STDMETHODCALLTYPE ReadShort(SHORT* value) override { return ReadNumber(value); }
    HRESULT STDMETHODCALLTYPE WriteShort(SHORT value) override { return WriteNumber(value); }
    HRESULT STDMETHODCALLTYPE ReadLong(LONG* value) override { return ReadNumber(value); }
    HRESULT STDMETHODCALLTYPE WriteLong(LONG value) override { return WriteNumber(value); }
    HRESULT STDMETHODCALLTYPE ReadFloat(float* value) override
    {
        return Out(value, [&] { return m_buffer.ReadFloat(); });
    }
    HRESULT STDMETHODCALLTYPE WriteFloat(float value) override
    {
        return In([&] { m_buffer.WriteFloat(value); });
    }
    HRESULT STDMETHODCALLTYPE ReadDouble(double* value) override
    {
        return Out(value, [&] { return m_buffer.ReadDouble(); });
    }
    HRESULT STDMETHODCALLTYPE WriteDouble(double value) override
    {
        return In([&] { m_buffer.WriteDouble(value); });
    }
    HRESULT STDMETHODCALLTYPE ReadString(BSTR* text) override
    {
        return Out(text, [&] { return CBstr(m_buffer.ReadText()).Detach(); });
    }
    HRESULT STDMETHODCALLTYPE WriteString(BSTR text) override
    {
        return In([&] {
            m_buffer.WriteText(text == nullptr ? std::wstring_view() : std::wstring_view(text, SysStringLen(text)));
        });
    }
    HRESULT STDMETHODCALLTYPE WriteULong(ULONG value) override { return WriteNumber(value); }
    HRESULT STDMETHODCALLTYPE ReadULong(ULONG* value) override { return ReadNumber(value); }
    HRESULT STDMETHODCALLTYPE ReadVariant(VARIANT* value) override
    {
        if (value == nullptr)
            return E_POINTER;
        VariantInit(value);
        return In([&] { ReadArchiveVariant(m_buffer, *value); });
    }
    HRESULT STDMETHODCALLTYPE WriteVariant(const VARIANT* value) override
    {
        if (value == nullptr)
            return E_POINTER;
        return In([&] { WriteArchiveVariant(m_buffer, *value); });
    }
    HRESULT STDMETHODCALLTYPE ReadObject(IWQ_ArchiveObj** object) override
    {
        return Out(object, [&] { return ArchiveObject::Load(*this, m_buffer, m_settings).Detach(); });
    }
    HRESULT STDMETHODCALLTYPE WriteObject(IWQ_ArchiveObj* object) override
    {
        if (object == nullptr)
            return E_POINTER;
        return In([&] { ArchiveObject::Store(*this, m_buffer, m_settings, *object); });
    }
    HRESULT STDMETHODCALLTYPE GetName(BSTR* name) override
    {
        return Out(name, [&] { return CBstr(std::wstring_view(m_settings.name)).Detach(); });
    }
    HRESULT STDMETHODCALLTYPE PutName(const wchar_t* name) override
    {
        return In([&] { m_settings.name = name == nullptr ? L"" : name; });
    }
    HRESULT STDMETHODCALLTYPE GetFlags(ULONG* flags) override
    {
        return Out(flags, [&] { return m_settings.flags; });
    }
    HRESULT STDMETHODCALLTYPE PutFlags(ULONG flags) override
    {
        m_settings.flags = flags;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetVersion(SHORT* version) override
    {
        return Out(version, [&] { return m_settings.version; });
    }
    HRESULT STDMETHODCALLTYPE PutVersion(SHORT version) override
    {
        m_settings.version = version;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE ReadGuid(GUID* value) override
    {
        return Out(value, [&] { return m_buffer.ReadGuid(); });
    }
    HRESULT STDMETHODCALLTYPE WriteGuid(const GUID* value) override
    {
        if (value == nullptr)
            return E_POINTER;
        return In([&] { m_buffer.WriteGuid(*value); });
    }
    HRESULT STDMETHODCALLTYPE GetPosition(ULONGLONG* bytes) override
    {
        return Out(bytes, [&] { return ULONGLONG{m_buffer.Position()}; });
    }
    HRESULT STDMETHODCALLTYPE GetRemaining(ULONGLONG* bytes) override
    {
        return Out(bytes, [&] { return ULONGLONG{m_buffer.Remaining()}; });
    }
    HRESULT STDMETHODCALLTYPE ReadWideString(wchar_t** text) override
    {
        return Out(text, [&] { return CopyForTask(m_buffer.ReadText()); });
    }
    HRESULT STDMETHODCALLTYPE WriteWideString(const wchar_t* text) override
    {
        return In([&] { m_buffer.WriteText(text == nullptr ? L"" : text); });
    }
    HRESULT STDMETHODCALLTYPE ReadInt64(LONGLONG* value) override { return ReadNumber(value); }
    HRESULT STDMETHODCALLTYPE WriteInt64(LONGLONG value) override { return WriteNumber(value); }
    HRESULT STDMETHODCALLTYPE ReadUInt64(ULONGLONG* value) override { return ReadNumber(value); }
    HRESULT STDMETHODCALLTYPE WriteUInt64(ULONGLONG value) override { return WriteNumber(value); }

protected:
    CArchiveBuffer m_buffer;
    SArchiveSettings m_settings;

private:
    template <class Value, class Get>
    static HRESULT Out(Value* value, const Get& get)
    {
        if (value == nullptr)
            return E_POINTER;
        *value = {};
        return ComGuard([&] {
            *value = get();
            return S_OK;
        });
    }
    template <class Put>
    static HRESULT In(const Put& put)
    {
        return ComGuard([&] {
            put();
            return S_OK;
        });
    }
    template <class Number>
    HRESULT ReadNumber(Number* value)
    {
        return Out(value, [&] { return m_buffer.ReadInteger<Number>(); });
    }
    template <class Number>
    HRESULT WriteNumber(Number value)
    {
        return In([&] { m_buffer.WriteInteger(value); });
    }
    static wchar_t* CopyForTask(const std::wstring& text)
    {
        const std::size_t bytes = (std::wcslen(text.c_str()) + 1) * sizeof(wchar_t);
        void* memory = CoTaskMemAlloc(bytes);
        if (memory == nullptr)
            throw CComError(E_OUTOFMEMORY);
        std::memcpy(memory, text.c_str(), bytes);
        static_cast<wchar_t*>(memory)[bytes / sizeof(wchar_t) - 1] = L'\0';
        return static_cast<wchar_t*>(memory);
    }
};
