#pragma once

#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/IWQ_Palette.h"
#include "com/ComObject.h"
#include "com/ComPtr.h"
#include "com/ZelCom.h"
#include "framework/DsEventsData.h"
#include "platform/Thread.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <utility>
#include <vector>

inline constexpr GUID kFirstGroup = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
inline constexpr GUID kSecondGroup = {0xFFFFFFFF, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

/// A palette that answers as it is told.
class CTestPalette final : public CComObject<IWQ_Palette> {
public:
    HRESULT STDMETHODCALLTYPE GetChangedGroups(IWQ_DsEventsData*, IWQ_Project*, VARIANT_BOOL* groupsChanged,
                                               IWQ_CLSIDArray** groups, VARIANT_BOOL* projectNeedsUpdate) override
    {
        *groupsChanged = m_groups.empty() && !m_array ? VARIANT_FALSE : VARIANT_TRUE;
        *projectNeedsUpdate = m_needsUpdate ? VARIANT_TRUE : VARIANT_FALSE;
        *groups = nullptr;
        if (m_array)
            return m_array.CopyTo(groups);
        if (m_groups.empty())
            return m_result;
        CComPtr<IWQ_CLSIDArray> array;
        const HRESULT made = CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), array.PutVoid());
        for (const GUID& group : m_groups)
            EXPECT_EQ(array->Add(&group), S_OK);
        *groups = array.Detach();
        return made;
    }

    std::vector<GUID> m_groups;
    CComPtr<IWQ_CLSIDArray> m_array; ///< in place of one with the groups
    bool m_needsUpdate = false;
    HRESULT m_result = S_OK; ///< when there are no groups
};

/// A list that says that it has an element and does not give it.
class CFailingArray final : public CComObject<IWQ_CLSIDArray> {
public:
    HRESULT STDMETHODCALLTYPE Add(const GUID*) override { return E_NOTIMPL; }
    BOOL STDMETHODCALLTYPE Contains(const GUID*) override { return 0; }
    HRESULT STDMETHODCALLTYPE ContainsVB(const GUID*, VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Remove(const GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RemoveAll() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCount(ULONGLONG* count) override
    {
        *count = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetAt(ULONGLONG, GUID*) override { return E_ABORT; }
    HRESULT STDMETHODCALLTYPE CopyTo(IWQ_CLSIDArray*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetAt(ULONGLONG, const GUID*) override { return E_NOTIMPL; }
};

/// Items that announce so many and answer with this result instead of the first.
class CBadItems final : public CComObject<IWQ_DsItems> {
public:
    explicit CBadItems(HRESULT result, LONG announced = 3) : m_result(result), m_announced(announced) {}

    HRESULT STDMETHODCALLTYPE GetCount(LONG* count) override
    {
        *count = m_announced;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetItem(LONG, LONG*) override { return m_result; }
    HRESULT STDMETHODCALLTYPE Add(LONG) override { return E_NOTIMPL; }

private:
    const HRESULT m_result;
    const LONG m_announced;
};

/// Runs beside the test, which looks whether it has ended. Whatever it waits for must be given before this object ends.
class CBeside {
public:
    explicit CBeside(std::function<void()> body)
    {
        EXPECT_TRUE(m_thread.Start([body = std::move(body)] {
            CoInitializeSYS(nullptr);
            CoInitializeZEL(nullptr);
            body();
            CoUninitializeZEL();
            CoUninitializeSYS();
            return 0U;
        }));
    }
    [[nodiscard]] bool EndsInTime() { return m_thread.WaitFor(std::chrono::seconds(20)); }

private:
    platform::CThread m_thread;
};
