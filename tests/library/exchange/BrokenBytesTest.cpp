#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/XMLTools.h"

#include "com/Bstr.h"
#include "com/Variant.h"
#include "exchange/ProjectContent.h"
#include "framework/HeapMemFile.h"
#include "framework/XMLArchive.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/library/exchange/AllocationWatch.h"
#include "tests/library/exchange/SampleEvents.h"

#include <functional>

// Every reader over every truncated length of a good file and over every single bit of it turned: a clear answer, no
// crash, and never memory for what the bytes only promise.

namespace {

/// What a reader of a few hundred bytes has reason to ask for in one piece, the parser's and the file layer's buffers
/// included.
constexpr std::size_t kLargestPiece = 64 * 1024;

class BrokenBytes : public CExchangeTest {
protected:
    using CReader = std::function<bool(const std::string& bytes)>;

    static std::string Golden(const wchar_t* name)
    {
        return ReadBytes(platform::JoinPath(platform::FromUtf8(ZEL_GOLDEN_DIRECTORY), name));
    }
    static bool ReadWatched(const CReader& read, const std::string& bytes)
    {
        const CAllocationWatch watch;
        const bool result = read(bytes);
        EXPECT_LE(watch.Largest(), kLargestPiece) << Hex(bytes);
        return result;
    }
    /// Only lengths in between are cut: what an empty file means is the reader's own.
    static void CutAtEveryLength(const std::string& bytes, const CReader& read)
    {
        ASSERT_TRUE(read(bytes));
        for (std::size_t length = 1; length < bytes.size(); ++length)
            EXPECT_FALSE(ReadWatched(read, bytes.substr(0, length))) << length;
        EXPECT_FALSE(ReadWatched(read, bytes + '\0'));
    }
    /// Turned bits in values go unnoticed, so only the reader's behaviour is looked at. Gives how many were refused.
    static unsigned TurnEveryBit(const std::string& bytes, const CReader& read)
    {
        unsigned refused = 0;
        for (std::size_t i = 0; i < bytes.size() * 8; ++i) {
            std::string turned = bytes;
            turned[i / 8] = static_cast<char>(turned[i / 8] ^ static_cast<char>(1 << (i % 8)));
            refused += ReadWatched(read, turned) ? 0U : 1U;
        }
        return refused;
    }

    CReader EventsReader()
    {
        return [this](const std::string& bytes) {
            WriteBytes(m_path, bytes);
            CDsEventsDataVector events;
            const bool read = CZELEnvFileDsEventsFile::ReadDsEventsFile(m_path, events);
            for (const auto& event : events)
                static_cast<void>(SampleEvents::Describe(event)); // whole objects only
            m_eventsRead = events.size();
            return read;
        };
    }
    static bool ReadObject(const std::string& bytes)
    {
        CHeapMemFile file;
        EXPECT_TRUE(file.Write(std::as_bytes(std::span(bytes))));
        CComPtr<IWQ_ArchiveObj> object;
        const HRESULT result = CXMLTools::LoadWQ_ArchiveObjFromBinaryData(file, L"Groups", object.Put());
        EXPECT_TRUE(result == S_OK || result == E_FAIL);
        EXPECT_EQ(result == S_OK, static_cast<bool>(object));
        return result == S_OK;
    }
    static bool ReadArray(const std::string& bytes)
    {
        const auto array = Create<IWQ_CLSIDArray>(CLSID_WQ_CLSIDArray);
        const auto archive = Loading(bytes);
        const HRESULT result = array.QueryTo<IWQ_ArchiveObj>()->Serialize(archive.Get());
        ULONGLONG count = 0;
        ULONGLONG remaining = 0;
        EXPECT_EQ(array->GetCount(&count), S_OK);
        EXPECT_TRUE(SUCCEEDED(result) || count == 0);
        EXPECT_EQ(archive->GetRemaining(&remaining), S_OK);
        return SUCCEEDED(result) && remaining == 0;
    }
    static bool ReadProject(const std::string& bytes)
    {
        try {
            static_cast<void>(SProjectContent::FromBytes(bytes));
            return true;
        } catch (const CComError&) {
            return false;
        }
    }
    bool ReadXml(const std::string& bytes)
    {
        WriteBytes(m_path, bytes);
        CWQ_XMLArchive archive;
        if (!archive.Open(m_path, CWQ_XMLArchive::eDirection_Load))
            return false;
        m_ids = 0;
        if (archive.EnterElement(L"Group") && archive.EnterElement(L"RevisionID")) {
            do {
                GUID id = {};
                m_ids += archive.GetText(id) ? 1U : 0U;
            } while (archive.NextSibling(L"RevisionID"));
        }
        return archive.Close();
    }

    const std::wstring m_path = m_directory / L"broken";
    std::size_t m_eventsRead = 0;
    unsigned m_ids = 0;
};

} // namespace

TEST_F(BrokenBytes, EventsFileCut)
{
    const std::string bytes = Golden(L"events.bin");
    CutAtEveryLength(bytes, EventsReader());
    // What is whole before the end is there all the same.
    EXPECT_FALSE(EventsReader()(bytes.substr(0, bytes.size() - 1)));
    EXPECT_EQ(m_eventsRead, 1U);
}

TEST_F(BrokenBytes, EventsFileTurned)
{
    EXPECT_GT(TurnEveryBit(Golden(L"events.bin"), EventsReader()), 1000U);
}

TEST_F(BrokenBytes, EventsFileThatPromisesTooMuch)
{
    const std::string count("\x00\x94\x35\x77", 4); // 2,000,000,000
    const auto read = EventsReader();
    EXPECT_FALSE(ReadWatched(read, count + std::string(36, '\0')));
    EXPECT_FALSE(ReadWatched(read, std::string("\xFF\xFF\xFF\xFF", 4)));
    const std::string bytes = Golden(L"events.bin");
    // Every number of the file in its turn: counts of events, keys, items, GUIDs and indexes are among them.
    for (std::size_t i = 0; i + 4 <= bytes.size(); ++i)
        static_cast<void>(ReadWatched(read, bytes.substr(0, i) + count + bytes.substr(i + 4)));
}

TEST_F(BrokenBytes, EventsFileWithAKeyTwice)
{
    const auto out = Storing();
    _ar::archive archive(out.Get());
    const unsigned char present = 1;
    const unsigned char absent = 0;
    archive << 1 << 4 << 1 << 0 << present << 3 << 1 << 2 << kFirstId << 0 << kFirstId << 0;
    archive << absent << absent << absent << absent << absent;
    EXPECT_FALSE(EventsReader()(BytesOf(out)));
}

TEST_F(BrokenBytes, ObjectInMemoryCut)
{
    // What stands behind the object is not the reader's concern.
    const std::string bytes = Golden(L"clsid-array.bin");
    ASSERT_TRUE(ReadObject(bytes));
    for (std::size_t length = 0; length < bytes.size(); ++length)
        EXPECT_FALSE(ReadWatched(ReadObject, bytes.substr(0, length))) << length;
}

TEST_F(BrokenBytes, ObjectInMemoryTurned)
{
    EXPECT_GT(TurnEveryBit(Golden(L"clsid-array.bin"), ReadObject), 500U);
}

TEST_F(BrokenBytes, ClsidArrayCut)
{
    const std::string golden = Golden(L"clsid-array.bin");
    CutAtEveryLength(golden.substr(golden.size() - 40), ReadArray);
}

TEST_F(BrokenBytes, ClsidArrayTurned)
{
    const std::string golden = Golden(L"clsid-array.bin");
    EXPECT_GE(TurnEveryBit(golden.substr(golden.size() - 40), ReadArray), 60U);
    EXPECT_FALSE(ReadWatched(ReadArray, std::string("\x02\0\0\0\x00\x94\x35\x77", 8) + std::string(32, '\0')));
}

TEST_F(BrokenBytes, ProjectCut)
{
    CutAtEveryLength(Golden(L"project.bin"), ReadProject);
}

TEST_F(BrokenBytes, ProjectTurned)
{
    EXPECT_GT(TurnEveryBit(Golden(L"project.bin"), ReadProject), 100U);
}

TEST_F(BrokenBytes, ProjectThatPromisesTooMuch)
{
    const std::string count("\x00\x94\x35\x77", 4); // 2,000,000,000
    const std::string bytes = Golden(L"project.bin");
    EXPECT_FALSE(ReadWatched(ReadProject, bytes.substr(0, 24) + count + bytes.substr(28)));
    for (std::size_t i = 0; i + 4 <= bytes.size(); ++i)
        static_cast<void>(ReadWatched(ReadProject, bytes.substr(0, i) + count + bytes.substr(i + 4)));
}

TEST_F(BrokenBytes, XmlArchiveCut)
{
    const std::string bytes = Golden(L"groups.xml");
    ASSERT_TRUE(ReadXml(bytes));
    EXPECT_EQ(m_ids, 2U);
    // The line end behind the frame may be missing.
    for (std::size_t length = 0; length + 1 < bytes.size(); ++length)
        EXPECT_FALSE(ReadWatched([this](const std::string& cut) { return ReadXml(cut); }, bytes.substr(0, length)))
            << length;
}

TEST_F(BrokenBytes, XmlArchiveTurned)
{
    EXPECT_GT(TurnEveryBit(Golden(L"groups.xml"), [this](const std::string& bytes) { return ReadXml(bytes); }), 500U);
}

TEST_F(BrokenBytes, ValuesCutAndTurned)
{
    const std::string bytes = Golden(L"values.bin");
    const CReader read = [](const std::string& broken) {
        const auto archive = Loading(broken);
        BYTE octet = 0;
        SHORT word = 0;
        LONG number = 0;
        ULONG unsignedNumber = 0;
        float single = 0;
        double real = 0;
        GUID guid = {};
        CBstr text;
        wchar_t* wide = nullptr;
        CVariant first;
        CVariant second;
        LONGLONG large = 0;
        ULONGLONG unsignedLarge = 0;
        ULONGLONG remaining = 0;
        const bool all = SUCCEEDED(archive->ReadUChar(&octet)) && SUCCEEDED(archive->ReadShort(&word)) &&
                         SUCCEEDED(archive->ReadLong(&number)) && SUCCEEDED(archive->ReadULong(&unsignedNumber)) &&
                         SUCCEEDED(archive->ReadFloat(&single)) && SUCCEEDED(archive->ReadDouble(&real)) &&
                         SUCCEEDED(archive->ReadGuid(&guid)) && SUCCEEDED(archive->ReadString(text.Put())) &&
                         SUCCEEDED(archive->ReadWideString(&wide)) && SUCCEEDED(archive->ReadVariant(first.Put())) &&
                         SUCCEEDED(archive->ReadVariant(second.Put())) && SUCCEEDED(archive->ReadInt64(&large)) &&
                         SUCCEEDED(archive->ReadUInt64(&unsignedLarge)) &&
                         SUCCEEDED(archive->GetRemaining(&remaining)) && remaining == 0;
        CoTaskMemFree(wide);
        return all;
    };
    CutAtEveryLength(bytes, read);
    EXPECT_GT(TurnEveryBit(bytes, read), 50U);
}
