#include "com/Guid.h"
#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "protocol/CommandFile.h"
#include "protocol/RegistrationAnswer.h"
#include "protocol/ServerInfoFile.h"
#include "protocol/ZelProcessorProgressStatusFile.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

// The small files of the protocol as others write and read them, byte for byte; nothing of this program wrote those in
// tests/golden.

namespace {

class ProtocolGoldenFiles : public testing::Test {
protected:
    ProtocolGoldenFiles() { CoInitializeSYS(nullptr); }
    ~ProtocolGoldenFiles() override { CoUninitializeSYS(); }

    static std::wstring GoldenPath(const wchar_t* name)
    {
        return platform::JoinPath(platform::FromUtf8(ZEL_GOLDEN_DIRECTORY), name);
    }
    static std::string Bytes(const std::wstring& path)
    {
        std::string bytes;
        EXPECT_TRUE(platform::Succeeded(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, 4096)));
        EXPECT_FALSE(bytes.empty());
        return bytes;
    }

    const testsupport::CTemporaryDirectory m_directory;
    const std::wstring m_path = m_directory / L"written";
};

constexpr const wchar_t* kComment = L"rows=5\r\nstep 1\nof 3";

} // namespace

TEST_F(ProtocolGoldenFiles, AStatusIsWritten)
{
    CZelProcessorProgressStatusFile file(L"ZelProcessor", m_path);
    file.SetStatusAndComment(eRequestStatus_GettingData, kComment);
    file.SetRange(0, 3);
    file.SetPos(1);
    EXPECT_EQ(platform::FromUtf16Le(Bytes(m_path)), platform::FromUtf16Le(Bytes(GoldenPath(L"running.status"))));
    EXPECT_EQ(Bytes(m_path), Bytes(GoldenPath(L"running.status")));
}

TEST_F(ProtocolGoldenFiles, AStatusIsRead)
{
    CZelProcessorRequestStatusFile file(L"ZelProcessor", GoldenPath(L"running.status"));
    CZelProcessorRequestStatusFile::SContent content;
    ASSERT_EQ(file.ReadContent(content), CZelProcessorRequestStatusFile::eRead_Ok);
    EXPECT_EQ(content.status, eRequestStatus_GettingData);
    EXPECT_TRUE(content.hasPercent);
    EXPECT_EQ(content.percent, 33);
    EXPECT_TRUE(content.hasComment);
    EXPECT_EQ(content.comment, kComment);

    eZelProcRequestStatus status = eRequestStatus_NotIntialized;
    std::int32_t percent = 0;
    CString comment;
    EXPECT_TRUE(file.ReadStatus(status));
    EXPECT_EQ(status, eRequestStatus_GettingData);
    EXPECT_TRUE(file.ReadProgressPercent(percent));
    EXPECT_EQ(percent, 33);
    EXPECT_TRUE(file.ReadProgressComment(comment));
    EXPECT_EQ(comment, kComment);
}

TEST_F(ProtocolGoldenFiles, ACommandIsWritten)
{
    HRESULT documentResult = E_FAIL;
    // The declaration's data begins with a blank, which stands behind the one that the DOM writes. Readers take both.
    ASSERT_TRUE(CommandFile::Write(m_path, eCommandType_CancelRequest, L"abc.drq", documentResult));
    EXPECT_EQ(Bytes(m_path), Bytes(GoldenPath(L"cancel.command")));
}

TEST_F(ProtocolGoldenFiles, AnAnswerToARegistrationIsRead)
{
    GUID clientId = {};
    ASSERT_EQ(RegistrationAnswer::Read(GoldenPath(L"client.answer"), clientId), platform::eOsError_None);
    EXPECT_EQ(GuidToText(clientId), L"{01234567-89AB-CDEF-0102-030405060708}");
    EXPECT_EQ(platform::ToUtf8(GuidToText(clientId)), Bytes(GoldenPath(L"client.answer"))) << "as the server writes it";
}

TEST_F(ProtocolGoldenFiles, WhatAServerTellsOfItselfIsWrittenAndRead)
{
    SZelServerInfo info;
    info.process = 4711;
    info.started = 1'700'000'000;
    info.version = L"1.2.3";
    info.requestDir = L"C:\\in\tand\nout";
    info.options = {L"--keep", L"3"};
    info.plugins = {{.name = L"Gr\u00f6\u00dfe", .module = L"/opt/a.so", .taskTypes = {L"Echo", L"Sleep"}},
                    {.name = L"none", .module = {}, .taskTypes = {}}};
    info.leftOut = {L"/opt/b.component: it names no class"};
    ASSERT_EQ(ServerInfoFile::Write(m_path, info), platform::eOsError_None);
    EXPECT_EQ(Bytes(m_path), Bytes(GoldenPath(L"running.server")));
    SZelServerInfo read;
    ASSERT_TRUE(ServerInfoFile::Read(GoldenPath(L"running.server"), read));
    EXPECT_EQ(read, info);
}
