#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/IWQ_ProjectMarker.h"
#include "ZEL_Processor/Project.h"
#include "ZEL_Processor/XMLTools.h"

#include "exchange/ProjectContent.h"
#include "framework/HeapMemFile.h"
#include "framework/XMLArchive.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/library/exchange/SampleEvents.h"

// The files in tests/golden are what the described forms look like; nothing of this program wrote them. Each system
// must write the same bytes and read them, and so each reads what the other wrote.

namespace {

class GoldenFiles : public CExchangeTest {
protected:
    static std::wstring GoldenPath(const wchar_t* name)
    {
        return platform::JoinPath(platform::FromUtf8(ZEL_GOLDEN_DIRECTORY), name);
    }
    static std::string Golden(const wchar_t* name)
    {
        const std::string bytes = ReadBytes(GoldenPath(name));
        EXPECT_FALSE(bytes.empty());
        return bytes;
    }

    const std::wstring m_path = m_directory / L"written";
};

} // namespace

TEST_F(GoldenFiles, Values)
{
    const auto file = Create<IWQ_FileArchive>(kClsidFileArchive);
    _ar::archive archive(file.QueryTo<IWQ_Archive>().Get());
    ASSERT_EQ(file->OpenForWriting(m_path.c_str()), S_OK);
    const unsigned char octet = 200;
    const short word = -300;
    archive << octet << word << -70000 << 4000000000UL << 1.5F << -2.5 << kFirstId << CString(L"t\u00e4xt \U0001F600")
            << L"" << CVariant::FromLong(-7) << CVariant(std::wstring_view(L"v")) << -5000000000LL
            << 10000000000000000000ULL;
    ASSERT_EQ(file->Close(), S_OK);
    EXPECT_EQ(Hex(ReadBytes(m_path)), Hex(Golden(L"values.bin")));

    ASSERT_EQ(file->OpenForReading(GoldenPath(L"values.bin").c_str()), S_OK);
    unsigned char readByte = 0;
    short readWord = 0;
    int readInt = 0;
    unsigned long readUnsigned = 0;
    float readFloat = 0;
    double readDouble = 0;
    GUID readGuid = {};
    CString readText;
    CString readEmpty = L"before";
    _ar::_variant_t readNumber;
    _ar::_variant_t readVariant;
    long long readLong = 0;
    unsigned long long readULong = 0;
    archive >> readByte >> readWord >> readInt >> readUnsigned >> readFloat >> readDouble >> readGuid >> readText >>
        readEmpty >> readNumber >> readVariant >> readLong >> readULong;
    EXPECT_EQ(readByte, 200);
    EXPECT_EQ(readWord, -300);
    EXPECT_EQ(readInt, -70000);
    EXPECT_EQ(readUnsigned, 4000000000UL);
    EXPECT_EQ(readFloat, 1.5F);
    EXPECT_EQ(readDouble, -2.5);
    EXPECT_TRUE(readGuid == kFirstId);
    EXPECT_EQ(readText, L"t\u00e4xt \U0001F600");
    EXPECT_EQ(readEmpty, L"");
    EXPECT_EQ(readNumber.Get().lVal, -7);
    EXPECT_EQ(readVariant.Text(), L"v");
    EXPECT_EQ(readLong, -5000000000LL);
    EXPECT_EQ(readULong, 10000000000000000000ULL);
}

TEST_F(GoldenFiles, Events)
{
    WriteBytes(m_path, "");
    ASSERT_TRUE(WriteDsEventsFile(m_path, {SampleEvents::Full(), SampleEvents::Small()}));
    EXPECT_EQ(Hex(ReadBytes(m_path)), Hex(Golden(L"events.bin")));
    CDsEventsDataVector events;
    ASSERT_TRUE(CZELEnvFileDsEventsFile::ReadDsEventsFile(GoldenPath(L"events.bin"), events));
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(SampleEvents::Describe(events[0]), SampleEvents::Describe(SampleEvents::Full()));
    EXPECT_EQ(SampleEvents::Describe(events[1]), SampleEvents::Describe(SampleEvents::Small()));
}

TEST_F(GoldenFiles, ClsidArray)
{
    const auto array = Create<IWQ_CLSIDArray>(CLSID_WQ_CLSIDArray);
    EXPECT_EQ(array->Add(&kFirstId), S_OK);
    EXPECT_EQ(array->Add(&kSecondId), S_OK);
    CHeapMemFile file;
    ASSERT_EQ(CXMLTools::StoreWQ_ArchiveObjIntoBinaryData(array.QueryTo<IWQ_ArchiveObj>().Get(), L"Groups", file, true),
              S_OK);
    const std::string golden = Golden(L"clsid-array.bin");
    const auto bytes = file.GetReadBuffer();
    EXPECT_EQ(Hex({reinterpret_cast<const char*>(bytes.data()), bytes.size()}), Hex(golden));

    CHeapMemFile source;
    ASSERT_TRUE(source.Write(std::as_bytes(std::span(golden))));
    CComPtr<IWQ_ArchiveObj> object;
    ASSERT_EQ(CXMLTools::LoadWQ_ArchiveObjFromBinaryData(source, L"Groups", object.Put()), S_OK);
    const auto loaded = object.QueryTo<IWQ_CLSIDArray>();
    ULONGLONG count = 0;
    EXPECT_EQ(loaded->GetCount(&count), S_OK);
    EXPECT_EQ(count, 2U);
    GUID id = {};
    EXPECT_EQ(loaded->GetAt(1, &id), S_OK);
    EXPECT_TRUE(id == kSecondId);
}

TEST_F(GoldenFiles, XmlArchive)
{
    CWQ_XMLArchive archive;
    ASSERT_TRUE(archive.Open(m_path, CWQ_XMLArchive::eDirection_Store));
    EXPECT_TRUE(archive.EnterElement(L"Group"));
    for (const GUID& id : {kFirstId, kSecondId}) {
        EXPECT_TRUE(archive.EnterElement(L"RevisionID"));
        EXPECT_TRUE(archive.PutText(id));
        EXPECT_TRUE(archive.LeaveElement());
    }
    ASSERT_TRUE(archive.Close());
    EXPECT_EQ(ReadBytes(m_path), Golden(L"groups.xml"));

    ASSERT_TRUE(archive.Open(GoldenPath(L"groups.xml"), CWQ_XMLArchive::eDirection_Load));
    ASSERT_TRUE(archive.EnterElement(L"Group"));
    ASSERT_TRUE(archive.EnterElement(L"RevisionID"));
    GUID id = {};
    EXPECT_TRUE(archive.GetText(id));
    EXPECT_TRUE(id == kFirstId);
    ASSERT_TRUE(archive.NextSibling(L"RevisionID"));
    EXPECT_TRUE(archive.GetText(id));
    EXPECT_TRUE(id == kSecondId);
    EXPECT_FALSE(archive.NextSibling(L"RevisionID"));
}

TEST_F(GoldenFiles, Project)
{
    constexpr const wchar_t* name = L"ProjectNeedUpdatePalette";
    const auto marker = Create<IWQ_ProjectMarker>(CLSID_WQ_ProjectMarker);
    EXPECT_EQ(marker->PutValue(VARIANT_TRUE), S_OK);
    const std::string golden = Golden(L"project.bin");
    SProjectContent content;
    content.id = kFirstId;
    WriteBytes(m_path, content.ToBytes());
    CComPtr<IWQ_Project> written;
    ASSERT_EQ(CreateWQ_Project(m_path, written.Put()), S_OK);
    EXPECT_EQ(written->PutFence(7), S_OK);
    EXPECT_EQ(written->PutStorageObject(name, marker.QueryTo<IWQ_ArchiveObj>().Get()), S_OK);
    EXPECT_EQ(Hex(ReadBytes(m_path)), Hex(golden));

    CComPtr<IWQ_Project> read;
    ASSERT_EQ(CreateWQ_Project(GoldenPath(L"project.bin"), read.Put()), S_OK);
    _ar::project project(read.Get());
    EXPECT_TRUE(project.GetProjectId() == kFirstId);
    EXPECT_EQ(project.GetFence(), 7);
    EXPECT_EQ(project.GetStorageObjectsCount(), 1);
    CComPtr<IWQ_ArchiveObj> object;
    ASSERT_EQ(read->GetStorageObject(name, object.Put()), S_OK);
    VARIANT_BOOL value = VARIANT_FALSE;
    EXPECT_EQ(object.QueryTo<IWQ_ProjectMarker>()->GetValue(&value), S_OK);
    EXPECT_EQ(value, VARIANT_TRUE);
}
