#include "framework/Archive.h"

#include "com/OsResult.h"
#include "tests/library/exchange/ExchangeFixture.h"
#include "tests/support/FaultyFiles.h"

namespace {

class FileArchive : public CExchangeTest {
protected:
    const CComPtr<IWQ_FileArchive> m_file = Create<IWQ_FileArchive>(kClsidFileArchive);
    const CComPtr<IWQ_Archive> m_archive = m_file.QueryTo<IWQ_Archive>();
    const std::wstring m_path = m_directory / L"values";
};

} // namespace

TEST_F(FileArchive, IsOneObjectWithTwoInterfaces)
{
    EXPECT_TRUE(m_archive);
    const auto first = m_file.QueryTo<IUnknown>();
    const auto second = m_archive.QueryTo<IUnknown>();
    EXPECT_TRUE(first == second);
}

TEST_F(FileArchive, BeforeItIsOpenNothingWorks)
{
    LONG number = 0;
    EXPECT_FALSE(m_archive->IsLoading());
    EXPECT_FALSE(m_archive->IsStoring());
    EXPECT_EQ(m_archive->ReadLong(&number), E_UNEXPECTED);
    EXPECT_EQ(m_archive->WriteLong(1), E_UNEXPECTED);
    EXPECT_EQ(m_file->Close(), S_FALSE);
    EXPECT_EQ(m_file->OpenForReading(nullptr), E_POINTER);
    EXPECT_EQ(m_file->OpenForWriting(nullptr), E_POINTER);
}

TEST_F(FileArchive, WhatWasStoredIsInTheFileAfterTheClose)
{
    ASSERT_EQ(m_file->OpenForWriting(m_path.c_str()), S_OK);
    EXPECT_EQ(m_archive->WriteLong(0x04030201), S_OK);
    EXPECT_EQ(m_file->Close(), S_OK);
    EXPECT_EQ(m_file->Close(), S_FALSE);
    EXPECT_EQ(ReadBytes(m_path), "\x01\x02\x03\x04");
    ASSERT_EQ(m_file->OpenForReading(m_path.c_str()), S_OK);
    LONG number = 0;
    EXPECT_EQ(m_archive->ReadLong(&number), S_OK);
    EXPECT_EQ(number, 0x04030201);
    EXPECT_EQ(m_file->Close(), S_OK);
    EXPECT_EQ(m_archive->ReadLong(&number), E_UNEXPECTED);
}

TEST_F(FileArchive, AShorterContentReplacesALongerOne)
{
    WriteBytes(m_path, std::string(100, 'x'));
    ASSERT_EQ(m_file->OpenForWriting(m_path.c_str()), S_OK);
    EXPECT_EQ(m_archive->WriteUChar('y'), S_OK);
    EXPECT_EQ(m_file->Close(), S_OK);
    EXPECT_EQ(ReadBytes(m_path), "y");
}

TEST_F(FileArchive, KeepsEverybodyOutWhileItStores)
{
    ASSERT_EQ(m_file->OpenForWriting(m_path.c_str()), S_OK);
    const auto other = Create<IWQ_FileArchive>(kClsidFileArchive);
    EXPECT_EQ(other->OpenForReading(m_path.c_str()), OsResult(platform::eOsError_SharingViolation));
    EXPECT_EQ(other->OpenForWriting(m_path.c_str()), OsResult(platform::eOsError_SharingViolation));
    EXPECT_EQ(m_file->Close(), S_OK);
    EXPECT_EQ(other->OpenForReading(m_path.c_str()), S_OK);
}

TEST_F(FileArchive, AMissingFileIsNotRead)
{
    EXPECT_EQ(m_file->OpenForReading(m_path.c_str()), OsResult(platform::eOsError_FileNotFound));
    EXPECT_FALSE(m_archive->IsLoading());
    EXPECT_FALSE(platform::PathExists(m_path));
}

TEST_F(FileArchive, AFileThatIsNotClosedIsLeftEmpty)
{
    WriteBytes(m_path, "old content");
    {
        const auto file = Create<IWQ_FileArchive>(kClsidFileArchive);
        ASSERT_EQ(file->OpenForWriting(m_path.c_str()), S_OK);
        EXPECT_EQ(file.QueryTo<IWQ_Archive>()->WriteLong(1), S_OK);
    }
    EXPECT_EQ(ReadBytes(m_path), "");
}

TEST_F(FileArchive, AFileThatCannotBeWrittenIsLeftEmpty)
{
    WriteBytes(m_path, "old content");
    testsupport::CFaultyFiles files;
    const platform::CScopedOs scope(&files, nullptr);
    ASSERT_EQ(m_file->OpenForWriting(m_path.c_str()), S_OK);
    EXPECT_EQ(m_archive->WriteLong(1), S_OK);
    files.FailCall(testsupport::eFileCall_Write, 1, platform::eOsError_DiskFull);
    EXPECT_EQ(m_file->Close(), OsResult(platform::eOsError_DiskFull));
    EXPECT_FALSE(m_archive->IsStoring());
    EXPECT_EQ(ReadBytes(m_path), "");
}

TEST_F(FileArchive, AFailingCloseIsAFailure)
{
    testsupport::CFaultyFiles files;
    const platform::CScopedOs scope(&files, nullptr);
    ASSERT_EQ(m_file->OpenForWriting(m_path.c_str()), S_OK);
    EXPECT_EQ(m_archive->WriteLong(1), S_OK);
    files.FailCall(testsupport::eFileCall_Close, 1, platform::eOsError_IoError);
    EXPECT_EQ(m_file->Close(), OsResult(platform::eOsError_IoError));
    EXPECT_EQ(ReadBytes(m_path), "");
}

TEST_F(FileArchive, AFileThatCannotBeReadIsAFailure)
{
    WriteBytes(m_path, "content");
    testsupport::CFaultyFiles files;
    const platform::CScopedOs scope(&files, nullptr);
    files.FailCall(testsupport::eFileCall_Read, 1, platform::eOsError_IoError);
    EXPECT_EQ(m_file->OpenForReading(m_path.c_str()), OsResult(platform::eOsError_IoError));
    EXPECT_FALSE(m_archive->IsLoading());
}
