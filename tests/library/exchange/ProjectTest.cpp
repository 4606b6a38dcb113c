#include "ZEL_Processor/Project.h"

#include "com/Bstr.h"
#include "com/ComObject.h"
#include "tests/library/exchange/ExchangeFixture.h"

namespace {

class Project : public CExchangeTest {};

class CTestProject final : public CComObject<IWQ_Project> {
public:
    HRESULT STDMETHODCALLTYPE GetErrorMessage(BSTR* message) override
    {
        *message = CBstr(L"out of paper").Detach();
        return m_result;
    }
    HRESULT STDMETHODCALLTYPE GetFence(LONG* fence) override
    {
        *fence = m_fence;
        return m_result;
    }
    HRESULT STDMETHODCALLTYPE PutFence(LONG fence) override
    {
        m_fence = fence;
        return m_result;
    }
    HRESULT STDMETHODCALLTYPE GetProjectId(GUID* id) override
    {
        *id = kFirstId;
        return m_result;
    }
    HRESULT STDMETHODCALLTYPE GetStorageObjectsCount(LONG* count) override
    {
        *count = 12;
        return m_result;
    }

    HRESULT STDMETHODCALLTYPE GetStorageObject(const wchar_t*, IWQ_ArchiveObj**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutStorageObject(const wchar_t*, IWQ_ArchiveObj*) override { return E_NOTIMPL; }

    LONG m_fence = 1;
    HRESULT m_result = S_OK;
};

} // namespace

TEST_F(Project, IsReadThroughTheWrapper)
{
    const CComPtr<CTestProject> object = MakeComObject<CTestProject>();
    _ar::project project(object.Get());
    EXPECT_EQ(project.GetErrorMessage(), L"out of paper");
    EXPECT_EQ(project.GetFence(), 1);
    project.SetFence(2);
    EXPECT_EQ(project.GetFence(), 2);
    EXPECT_TRUE(project.GetProjectId() == kFirstId);
    EXPECT_EQ(project.GetStorageObjectsCount(), 12);
    object->m_result = E_ABORT;
    EXPECT_EQ(Thrown([&] { static_cast<void>(project.GetErrorMessage()); }), E_ABORT);
    EXPECT_EQ(Thrown([&] { project.SetFence(3); }), E_ABORT);
    EXPECT_EQ(Thrown([&] { static_cast<void>(_ar::project().GetFence()); }), E_POINTER);
}
