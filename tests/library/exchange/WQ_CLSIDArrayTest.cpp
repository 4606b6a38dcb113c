#include "ZEL_Processor/IWQ_CLSIDArray.h"

#include "tests/library/exchange/ExchangeFixture.h"

namespace {

class CLSIDArrayObject : public CExchangeTest {};

} // namespace

TEST_F(CLSIDArrayObject, IsAnArchiveObjectOfItsClass)
{
    const auto array = Create<IWQ_CLSIDArray>(CLSID_WQ_CLSIDArray);
    const auto object = array.QueryTo<IWQ_ArchiveObj>();
    ASSERT_TRUE(object);
    EXPECT_TRUE(object.QueryTo<IUnknown>() == array.QueryTo<IUnknown>());
    GUID id = {};
    EXPECT_EQ(object->GetClassId(&id), S_OK);
    EXPECT_TRUE(id == CLSID_WQ_CLSIDArray);
    EXPECT_EQ(object->GetArchiveType(&id), S_OK);
    constexpr GUID type = {0xEF8E54AF, 0x0BD3, 0x4006, {0x85, 0x4F, 0x68, 0x02, 0x18, 0xA7, 0x3A, 0x50}};
    EXPECT_TRUE(id == type);
    EXPECT_EQ(object->GetClassId(nullptr), E_POINTER);
    EXPECT_EQ(object->GetArchiveType(nullptr), E_POINTER);
}

TEST_F(CLSIDArrayObject, CanBeMadeWithoutComsHelp)
{
    CComPtr<IWQ_CLSIDArray> array;
    EXPECT_EQ(CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), array.PutVoid()), S_OK);
    EXPECT_TRUE(array);
    EXPECT_EQ(CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), nullptr), E_POINTER);
    void* none = &none;
    EXPECT_EQ(CreateWQ_CLSIDArray(kFirstId, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
}
