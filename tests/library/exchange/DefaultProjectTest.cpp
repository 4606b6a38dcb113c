#include "exchange/DefaultProject.h"

#include "ZEL_Processor/IWQ_ProjectMarker.h"
#include "com/Bstr.h"
#include "com/OsResult.h"
#include "platform/Path.h"
#include "tests/library/exchange/ExchangeFixture.h"
#include "tests/support/FaultyFiles.h"

namespace {

class DefaultProject : public CExchangeTest {
protected:
    CComPtr<IWQ_Project> Open() const
    {
        CComPtr<IWQ_Project> project;
        EXPECT_EQ(CreateWQ_Project(m_path, project.Put()), S_OK);
        return project;
    }
    static CComPtr<IWQ_ArchiveObj> Marker(VARIANT_BOOL value)
    {
        const auto marker = Create<IWQ_ProjectMarker>(CLSID_WQ_ProjectMarker);
        EXPECT_EQ(marker->PutValue(value), S_OK);
        return marker.QueryTo<IWQ_ArchiveObj>();
    }
    /// What is stored under a name; 99 when nothing is.
    static int MarkerOf(const CComPtr<IWQ_Project>& project, const wchar_t* name)
    {
        CComPtr<IWQ_ArchiveObj> object;
        if (project->GetStorageObject(name, object.Put()) != S_OK)
            return 99;
        VARIANT_BOOL value = 5;
        EXPECT_EQ(object.QueryTo<IWQ_ProjectMarker>()->GetValue(&value), S_OK);
        return value;
    }
    static LONG CountOf(const CComPtr<IWQ_Project>& project)
    {
        LONG count = -1;
        EXPECT_EQ(project->GetStorageObjectsCount(&count), S_OK);
        return count;
    }
    static GUID IdOf(const CComPtr<IWQ_Project>& project)
    {
        GUID id = {};
        EXPECT_EQ(project->GetProjectId(&id), S_OK);
        return id;
    }
    static std::wstring ErrorOf(const CComPtr<IWQ_Project>& project)
    {
        CBstr text;
        EXPECT_EQ(project->GetErrorMessage(text.Put()), S_OK);
        return text.Text();
    }
    HRESULT OpenFailure() const
    {
        CComPtr<IWQ_Project> project;
        const HRESULT result = CreateWQ_Project(m_path, project.Put());
        EXPECT_FALSE(project);
        return result;
    }

    const std::wstring m_path = m_directory / L"my.project";
};

} // namespace

TEST_F(DefaultProject, ANewOneHasAnIdAndNothingElse)
{
    const auto project = Open();
    EXPECT_FALSE(IdOf(project) == GUID_NULL);
    EXPECT_EQ(CountOf(project), 0);
    LONG fence = 9;
    EXPECT_EQ(project->GetFence(&fence), S_OK);
    EXPECT_EQ(fence, 0);
    EXPECT_EQ(ErrorOf(project), L"");
    EXPECT_EQ(MarkerOf(project, L"ProjectNeedUpdatePalette"), 99);
}

TEST_F(DefaultProject, KeepsWhatItWasGiven)
{
    GUID id = {};
    {
        const auto project = Open();
        id = IdOf(project);
        EXPECT_EQ(project->PutFence(7), S_OK);
        EXPECT_EQ(project->PutStorageObject(L"one", Marker(VARIANT_TRUE).Get()), S_OK);
        EXPECT_EQ(project->PutStorageObject(L"two", Marker(VARIANT_FALSE).Get()), S_OK);
    }
    const auto project = Open();
    EXPECT_TRUE(IdOf(project) == id);
    LONG fence = 0;
    EXPECT_EQ(project->GetFence(&fence), S_OK);
    EXPECT_EQ(fence, 7);
    EXPECT_EQ(CountOf(project), 2);
    EXPECT_EQ(MarkerOf(project, L"one"), VARIANT_TRUE);
    EXPECT_EQ(MarkerOf(project, L"two"), VARIANT_FALSE);
    EXPECT_EQ(MarkerOf(project, L"One"), 99);
    EXPECT_FALSE(platform::PathExists(m_path + L".new"));
}

TEST_F(DefaultProject, AnObjectIsReplacedAndTakenAway)
{
    const auto project = Open();
    EXPECT_EQ(project->PutStorageObject(L"n", Marker(VARIANT_FALSE).Get()), S_OK);
    EXPECT_EQ(project->PutStorageObject(L"n", Marker(VARIANT_TRUE).Get()), S_OK);
    EXPECT_EQ(CountOf(project), 1);
    EXPECT_EQ(MarkerOf(project, L"n"), VARIANT_TRUE);
    EXPECT_EQ(project->PutStorageObject(L"n", nullptr), S_OK);
    EXPECT_EQ(project->PutStorageObject(L"n", nullptr), S_OK);
    EXPECT_EQ(CountOf(project), 0);
    EXPECT_EQ(CountOf(Open()), 0);
}

TEST_F(DefaultProject, HandsOutCopies)
{
    const auto project = Open();
    const auto marker = Marker(VARIANT_TRUE);
    EXPECT_EQ(project->PutStorageObject(L"n", marker.Get()), S_OK);
    EXPECT_EQ(marker.QueryTo<IWQ_ProjectMarker>()->PutValue(VARIANT_FALSE), S_OK);
    CComPtr<IWQ_ArchiveObj> read;
    EXPECT_EQ(project->GetStorageObject(L"n", read.Put()), S_OK);
    EXPECT_EQ(read.QueryTo<IWQ_ProjectMarker>()->PutValue(VARIANT_FALSE), S_OK);
    EXPECT_EQ(MarkerOf(project, L"n"), VARIANT_TRUE);
}

TEST_F(DefaultProject, AChangeThatCannotBeWrittenIsNone)
{
    const auto project = Open();
    EXPECT_EQ(project->PutFence(1), S_OK);
    const std::string before = ReadBytes(m_path);
    testsupport::CFaultyFiles files;
    const platform::CScopedOs scope(&files, nullptr);
    for (const auto call : {testsupport::eFileCall_Open, testsupport::eFileCall_Write, testsupport::eFileCall_Close,
                            testsupport::eFileCall_Move}) {
        files.FailCall(call, 1, platform::eOsError_DiskFull);
        EXPECT_EQ(project->PutStorageObject(L"n", Marker(VARIANT_TRUE).Get()), OsResult(platform::eOsError_DiskFull));
        EXPECT_EQ(CountOf(project), 0);
        EXPECT_EQ(ErrorOf(project), L"The project file " + m_path + L" cannot be written: " +
                                        platform::OsErrorText(platform::eOsError_DiskFull));
        EXPECT_EQ(ReadBytes(m_path), before);
    }
    EXPECT_EQ(project->PutFence(2), S_OK);
    EXPECT_EQ(ErrorOf(project), L"");
}

TEST_F(DefaultProject, AFileThatIsNoProjectStaysAsItIs)
{
    for (const std::string& bytes : {std::string(), std::string("no project"), std::string(40, '\0')}) {
        WriteBytes(m_path, bytes);
        EXPECT_TRUE(FAILED(OpenFailure()));
        EXPECT_EQ(ReadBytes(m_path), bytes);
    }
}

TEST_F(DefaultProject, AMissingFolderIsAFailure)
{
    CComPtr<IWQ_Project> project;
    EXPECT_EQ(CreateWQ_Project(platform::JoinPath(m_path, L"project"), project.Put()),
              OsResult(platform::eOsError_PathNotFound));
    EXPECT_EQ(CreateWQ_Project(m_path, nullptr), E_POINTER);
}

TEST_F(DefaultProject, WrongArgumentsAreNamed)
{
    const auto project = Open();
    CComPtr<IWQ_ArchiveObj> object;
    EXPECT_EQ(project->GetErrorMessage(nullptr), E_POINTER);
    EXPECT_EQ(project->GetFence(nullptr), E_POINTER);
    EXPECT_EQ(project->GetProjectId(nullptr), E_POINTER);
    EXPECT_EQ(project->GetStorageObjectsCount(nullptr), E_POINTER);
    EXPECT_EQ(project->GetStorageObject(nullptr, object.Put()), E_POINTER);
    EXPECT_EQ(project->GetStorageObject(L"n", nullptr), E_POINTER);
    EXPECT_EQ(project->PutStorageObject(nullptr, Marker(VARIANT_TRUE).Get()), E_POINTER);
    EXPECT_EQ(project->PutStorageObject(L"", Marker(VARIANT_TRUE).Get()), E_INVALIDARG);
}
