#include "TestComponent.h"
#include "com/ComObject.h"

namespace {

class CAnswer final : public CComObject<ITestAnswer> {
public:
    explicit CAnswer(LONG answer) : m_nAnswer(answer) {}
    LONG STDMETHODCALLTYPE Answer() override { return m_nAnswer; }

private:
    const LONG m_nAnswer;
};

class CAnswerFactory final : public CComObject<IClassFactory> {
public:
    explicit CAnswerFactory(LONG answer) : m_nAnswer(answer) {}
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override
    {
        *object = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        return ComGuard([&] { return MakeComObject<CAnswer>(m_nAnswer)->QueryInterface(iid, object); });
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    const LONG m_nAnswer;
};

} // namespace

ZEL_COM_ENTRY DllGetClassObject(REFCLSID classId, REFIID iid, void** object)
{
    *object = nullptr;
    if (classId != kTestClassOne && classId != kTestClassTwo)
        return CLASS_E_CLASSNOTAVAILABLE;
    return ComGuard([&] { return MakeComObject<CAnswerFactory>(classId.Data4[7])->QueryInterface(iid, object); });
}
