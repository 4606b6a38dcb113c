#include "framework/Archive.h"

#include "com/Components.h"
#include "tests/library/exchange/ExchangeFixture.h"

#include <functional>

namespace {

constexpr CLSID kProbeClass = {0x5D1C0A77, 0x20B4, 0x4E0E, {0x9A, 0x15, 0x3C, 0x88, 0x41, 0x0B, 0xD2, 0x6F}};

/// What the objects of a test do and see.
struct SProbe {
    std::function<HRESULT(IWQ_Archive*)> serialize;
    GUID type = kFirstId;
};

class CProbeObject final : public CComObject<IWQ_ArchiveObj> {
public:
    explicit CProbeObject(SProbe& probe) : m_probe(probe) {}

    HRESULT STDMETHODCALLTYPE GetClassId(CLSID* classId) override
    {
        *classId = kProbeClass;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetArchiveType(GUID* type) override
    {
        *type = m_probe.type;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Serialize(IWQ_Archive* archive) override { return m_probe.serialize(archive); }

private:
    SProbe& m_probe;
};

class MemoryArchive : public CExchangeTest {
protected:
    MemoryArchive()
    {
        m_probe.serialize = [](IWQ_Archive* archive) {
            LONG number = 0;
            return archive->IsStoring() ? archive->WriteLong(7) : archive->ReadLong(&number);
        };
        EXPECT_EQ(RegisterComponentClass(kProbeClass,
                                         [this](REFIID iid, void** object) {
                                             const auto made = MakeComObject<CProbeObject>(m_probe);
                                             return made->QueryInterface(iid, object);
                                         },
                                         {}),
                  S_OK);
    }
    ~MemoryArchive() override { EXPECT_EQ(RevokeComponentClass(kProbeClass), S_OK); }

    CComPtr<IWQ_ArchiveObj> Probe()
    {
        return AttachComPtr<IWQ_ArchiveObj>(MakeComObject<CProbeObject>(m_probe).Detach());
    }
    std::string Stored(const wchar_t* name = L"n", SHORT version = 1)
    {
        const auto archive = Storing();
        EXPECT_EQ(archive->PutName(name), S_OK);
        EXPECT_EQ(archive->PutFlags(5), S_OK);
        EXPECT_EQ(archive->PutVersion(version), S_OK);
        EXPECT_EQ(archive->WriteObject(Probe().Get()), S_OK);
        return BytesOf(archive);
    }
    static HRESULT Load(const CComPtr<IWQ_Archive>& archive)
    {
        CComPtr<IWQ_ArchiveObj> object;
        const HRESULT result = archive->ReadObject(object.Put());
        EXPECT_EQ(SUCCEEDED(result), static_cast<bool>(object));
        return result;
    }
    static LONG Validity(const CComPtr<IWQ_Archive>& archive)
    {
        LONG valid = 9;
        EXPECT_EQ(archive.QueryTo<IWQ_MemoryArchive>()->IsValid(&valid), S_OK);
        return valid;
    }

    SProbe m_probe;
};

} // namespace

TEST_F(MemoryArchive, IsEmptyAtFirst)
{
    const auto memory = Create<IWQ_MemoryArchive>(kClsidMemoryArchive);
    const void* data = &memory;
    ULONG count = 9;
    EXPECT_EQ(memory->GetData(&data, &count), S_OK);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(memory->GetData(nullptr, &count), E_POINTER);
    EXPECT_EQ(memory->GetData(&data, nullptr), E_POINTER);
    EXPECT_EQ(memory->PutData(nullptr, 1), E_POINTER);
    EXPECT_EQ(memory->IsValid(nullptr), E_POINTER);
    EXPECT_EQ(memory->PutData(nullptr, 0), S_OK);
    EXPECT_TRUE(memory.QueryTo<IWQ_Archive>()->IsLoading());
}

TEST_F(MemoryArchive, AnObjectIsStoredWithItsClassAndLength)
{
    EXPECT_EQ(Hex(Stored()), "5751414f"
                             "0100"
                             "0100"
                             "05000000"
                             "010000006e00"
                             "770a1c5db4200e4e9a153c88410bd26f"
                             "67452301ab89efcd0102030405060708"
                             "04000000"
                             "07000000");
}

TEST_F(MemoryArchive, AnObjectSeesTheSettingsThatItWasStoredWith)
{
    const std::string bytes = Stored();
    SHORT version = 0;
    ULONG flags = 0;
    ULONGLONG left = 0;
    m_probe.serialize = [&](IWQ_Archive* archive) {
        LONG number = 0;
        EXPECT_EQ(archive->GetVersion(&version), S_OK);
        EXPECT_EQ(archive->GetFlags(&flags), S_OK);
        EXPECT_EQ(archive->GetRemaining(&left), S_OK);
        return archive->ReadLong(&number);
    };
    const auto archive = Loading(bytes + "behind");
    EXPECT_EQ(archive->PutVersion(3), S_OK);
    EXPECT_EQ(Load(archive), S_OK);
    EXPECT_EQ(version, 1);
    EXPECT_EQ(flags, 5U);
    EXPECT_EQ(left, 4U);
    EXPECT_EQ(archive->GetVersion(&version), S_OK);
    EXPECT_EQ(version, 3);
    BYTE next = 0;
    EXPECT_EQ(archive->ReadUChar(&next), S_OK);
    EXPECT_EQ(next, 'b');
}

TEST_F(MemoryArchive, AnObjectOfAnotherNameIsRefused)
{
    const auto archive = Loading(Stored(L"one"));
    EXPECT_EQ(archive->PutVersion(1), S_OK);
    EXPECT_EQ(archive->PutName(L"two"), S_OK);
    EXPECT_EQ(Validity(archive), 0);
    EXPECT_EQ(Load(archive), E_FAIL);
}

TEST_F(MemoryArchive, ValidityIsAboutTheNextObject)
{
    const std::string bytes = Stored(L"one");
    const auto archive = Loading(bytes);
    EXPECT_EQ(Validity(archive), 1); // any name will do
    EXPECT_EQ(archive->PutName(L"one"), S_OK);
    EXPECT_EQ(Validity(archive), 1);
    EXPECT_EQ(Validity(archive), 1); // asking moves nothing
    EXPECT_EQ(archive->PutVersion(1), S_OK);
    EXPECT_EQ(Load(archive), S_OK);
    EXPECT_EQ(Validity(archive), 0);
    EXPECT_EQ(Validity(Storing()), 0);
    for (std::size_t length = 0; length < bytes.size(); ++length)
        EXPECT_EQ(Validity(Loading(std::string_view(bytes).substr(0, length))), 0) << length;
}

TEST_F(MemoryArchive, AnObjectOfALaterVersionIsRefused)
{
    const auto archive = Loading(Stored(L"n", 2));
    EXPECT_EQ(archive->PutVersion(1), S_OK);
    EXPECT_EQ(Load(archive), E_FAIL);
}

TEST_F(MemoryArchive, AnObjectOfAnUnknownClassIsRefused)
{
    std::string bytes = Stored();
    bytes[18] = '\x00'; // the first byte of the class
    const auto archive = Loading(bytes);
    EXPECT_EQ(archive->PutVersion(1), S_OK);
    EXPECT_EQ(Load(archive), REGDB_E_CLASSNOTREG);
}

TEST_F(MemoryArchive, AnObjectOfAnotherTypeIsRefused)
{
    const std::string bytes = Stored();
    m_probe.type = kSecondId;
    const auto archive = Loading(bytes);
    EXPECT_EQ(archive->PutVersion(1), S_OK);
    EXPECT_EQ(Load(archive), E_FAIL);
}

TEST_F(MemoryArchive, AnObjectTakesExactlyItsContent)
{
    const std::string bytes = Stored() + "more bytes";
    const auto tryWith = [&](const std::function<HRESULT(IWQ_Archive*)>& serialize) {
        m_probe.serialize = serialize;
        const auto archive = Loading(bytes);
        EXPECT_EQ(archive->PutVersion(1), S_OK);
        return Load(archive);
    };
    EXPECT_EQ(tryWith([](IWQ_Archive*) { return S_OK; }), E_FAIL);
    EXPECT_EQ(tryWith([](IWQ_Archive* archive) {
                  LONGLONG number = 0;
                  return archive->ReadInt64(&number);
              }),
              kArchiveEnd);
    EXPECT_EQ(tryWith([](IWQ_Archive*) { return E_ABORT; }), E_ABORT);
}

TEST_F(MemoryArchive, AnObjectThatFailsLeavesNothingBehind)
{
    m_probe.serialize = [](IWQ_Archive* archive) {
        EXPECT_EQ(archive->WriteLong(1), S_OK);
        return E_ABORT;
    };
    const auto archive = Storing();
    EXPECT_EQ(archive->WriteUChar(1), S_OK);
    EXPECT_EQ(archive->WriteObject(Probe().Get()), E_ABORT);
    EXPECT_EQ(BytesOf(archive), "\x01");
}

TEST_F(MemoryArchive, ObjectsNestUpToALimit)
{
    unsigned depth = 0;
    m_probe.serialize = [&](IWQ_Archive* archive) { return --depth == 0 ? S_OK : archive->WriteObject(Probe().Get()); };
    depth = 32;
    EXPECT_EQ(Storing()->WriteObject(Probe().Get()), S_OK);
    depth = 33;
    EXPECT_EQ(Storing()->WriteObject(Probe().Get()), E_FAIL);
}
