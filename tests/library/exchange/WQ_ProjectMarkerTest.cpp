#include "ZEL_Processor/IWQ_ProjectMarker.h"

#include "tests/library/exchange/ExchangeFixture.h"

namespace {

class ProjectMarker : public CExchangeTest {
protected:
    HRESULT Load(std::string_view bytes) const
    {
        return m_marker.QueryTo<IWQ_ArchiveObj>()->Serialize(Loading(bytes).Get());
    }
    VARIANT_BOOL Value() const
    {
        VARIANT_BOOL value = 5;
        EXPECT_EQ(m_marker->GetValue(&value), S_OK);
        return value;
    }

    const CComPtr<IWQ_ProjectMarker> m_marker = Create<IWQ_ProjectMarker>(CLSID_WQ_ProjectMarker);
};

} // namespace

TEST_F(ProjectMarker, IsAPlainYesOrNo)
{
    EXPECT_EQ(Value(), VARIANT_FALSE);
    EXPECT_EQ(m_marker->PutValue(1), S_OK);
    EXPECT_EQ(Value(), VARIANT_TRUE);
    EXPECT_EQ(m_marker->PutValue(VARIANT_FALSE), S_OK);
    EXPECT_EQ(Value(), VARIANT_FALSE);
    EXPECT_EQ(m_marker->GetValue(nullptr), E_POINTER);
}

TEST_F(ProjectMarker, IsWrittenAsItsVersionAndItsValue)
{
    for (const VARIANT_BOOL value : {VARIANT_TRUE, VARIANT_FALSE}) {
        EXPECT_EQ(m_marker->PutValue(value), S_OK);
        const CComPtr<IWQ_Archive> written = Storing();
        EXPECT_EQ(m_marker.QueryTo<IWQ_ArchiveObj>()->Serialize(written.Get()), S_OK);
        EXPECT_EQ(Hex(BytesOf(written)), value == VARIANT_TRUE ? "0100000001000000" : "0100000000000000");
        EXPECT_EQ(m_marker->PutValue(value == VARIANT_TRUE ? VARIANT_FALSE : VARIANT_TRUE), S_OK);
        EXPECT_EQ(Load(BytesOf(written)), S_OK);
        EXPECT_EQ(Value(), value);
    }
}

TEST_F(ProjectMarker, WhatIsNoneLeavesTheValue)
{
    EXPECT_EQ(m_marker->PutValue(VARIANT_TRUE), S_OK);
    EXPECT_EQ(m_marker.QueryTo<IWQ_ArchiveObj>()->Serialize(nullptr), E_POINTER);
    EXPECT_EQ(Load({"\2\0\0\0\0\0\0\0", 8}), E_FAIL) << "another version";
    EXPECT_EQ(Load({"\1\0\0\0\2\0\0\0", 8}), E_FAIL) << "neither yes nor no";
    EXPECT_EQ(Load({"\1\0\0\0\377\377\377\377", 8}), E_FAIL);
    EXPECT_EQ(Load({"\1\0\0\0\0\0\0", 7}), kArchiveEnd);
    EXPECT_EQ(Value(), VARIANT_TRUE);
}
