#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/XMLTools.h"

#include "framework/Exceptions.h"
#include "framework/HeapMemFile.h"
#include "tests/library/exchange/ExchangeFixture.h"

namespace {

class XMLToolsBinary : public CExchangeTest {
protected:
    XMLToolsBinary()
    {
        const auto array = m_object.QueryTo<IWQ_CLSIDArray>();
        EXPECT_EQ(array->Add(&kFirstId), S_OK);
        EXPECT_EQ(array->Add(&kSecondId), S_OK);
    }
    HRESULT Store(CHeapMemFile& target, bool rewind, const wchar_t* name = L"Groups")
    {
        return CXMLTools::StoreWQ_ArchiveObjIntoBinaryData(m_object.Get(), name, target, rewind);
    }
    static HRESULT Load(CHeapMemFile& source, CComPtr<IWQ_ArchiveObj>& object, const wchar_t* name = L"Groups")
    {
        return CXMLTools::LoadWQ_ArchiveObjFromBinaryData(source, name, object.Put());
    }

    const CComPtr<IWQ_ArchiveObj> m_object = Create<IWQ_ArchiveObj>(CLSID_WQ_CLSIDArray);
};

/// An object that fails.
class CFailingObject final : public CComObject<IWQ_ArchiveObj> {
public:
    HRESULT STDMETHODCALLTYPE GetClassId(CLSID* classId) override
    {
        *classId = CLSID_WQ_CLSIDArray;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetArchiveType(GUID* type) override
    {
        *type = kFirstId;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Serialize(IWQ_Archive*) override { return E_ABORT; }
};

} // namespace

TEST_F(XMLToolsBinary, AnObjectComesBack)
{
    CHeapMemFile file;
    ASSERT_EQ(Store(file, true), S_OK);
    EXPECT_EQ(file.GetPosition(), 0U);
    CComPtr<IWQ_ArchiveObj> object;
    ASSERT_EQ(Load(file, object), S_OK);
    const auto array = object.QueryTo<IWQ_CLSIDArray>();
    ASSERT_TRUE(array);
    ULONGLONG count = 0;
    GUID second = {};
    EXPECT_EQ(array->GetCount(&count), S_OK);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(array->GetAt(1, &second), S_OK);
    EXPECT_TRUE(second == kSecondId);
}

TEST_F(XMLToolsBinary, WithoutRewindThePositionIsAtTheEnd)
{
    CHeapMemFile file;
    ASSERT_EQ(Store(file, false), S_OK);
    EXPECT_GT(file.GetLength(), 0U);
    EXPECT_EQ(file.GetPosition(), file.GetLength());
    CComPtr<IWQ_ArchiveObj> object;
    EXPECT_EQ(Load(file, object), S_OK); // the whole buffer, wherever the position is
}

TEST_F(XMLToolsBinary, StoringReplacesWhatWasThere)
{
    CHeapMemFile first;
    ASSERT_EQ(Store(first, true), S_OK);
    CHeapMemFile second;
    ASSERT_TRUE(second.SetLength(5000));
    ASSERT_EQ(Store(second, true), S_OK);
    EXPECT_EQ(second.GetLength(), first.GetLength());
}

TEST_F(XMLToolsBinary, MissingArgumentsAreThrown)
{
    CHeapMemFile file;
    CComPtr<IWQ_ArchiveObj> object;
    EXPECT_THROW(static_cast<void>(CXMLTools::StoreWQ_ArchiveObjIntoBinaryData(nullptr, L"n", file, true)),
                 CInvalidArgException);
    EXPECT_THROW(static_cast<void>(Store(file, true, nullptr)), CInvalidArgException);
    EXPECT_THROW(static_cast<void>(Load(file, object, nullptr)), CInvalidArgException);
    EXPECT_THROW(static_cast<void>(CXMLTools::LoadWQ_ArchiveObjFromBinaryData(file, L"n", nullptr)),
                 CInvalidArgException);
}

TEST_F(XMLToolsBinary, StoringFailsPlainly)
{
    CHeapMemFile file;
    CComPtr<IWQ_ArchiveObj> failing;
    failing.Attach(MakeComObject<CFailingObject>().Detach());
    ASSERT_TRUE(file.SetLength(10));
    EXPECT_EQ(CXMLTools::StoreWQ_ArchiveObjIntoBinaryData(failing.Get(), L"n", file, true), E_FAIL);
    EXPECT_EQ(file.GetLength(), 0U) << "what was there is gone, for nobody may take it for the object";
    CHeapMemFile tooSmall(20);
    EXPECT_EQ(Store(tooSmall, true), E_FAIL);
    CoUninitializeZEL();
    EXPECT_EQ(Store(file, true), E_FAIL);
    EXPECT_EQ(CoInitializeZEL(nullptr), S_OK);
}

TEST_F(XMLToolsBinary, WhatIsNoObjectOfThisNameIsNotLoaded)
{
    CHeapMemFile file;
    CComPtr<IWQ_ArchiveObj> object;
    EXPECT_EQ(Load(file, object), E_FAIL);
    EXPECT_FALSE(object);
    ASSERT_EQ(Store(file, true), S_OK);
    EXPECT_EQ(Load(file, object, L"groups"), E_FAIL);
    EXPECT_FALSE(object);
    ASSERT_TRUE(file.SetLength(file.GetLength() - 1));
    EXPECT_EQ(Load(file, object), E_FAIL);
    EXPECT_FALSE(object);
}
