#include "protocol/RegistrationAnswer.h"

#include "com/Guid.h"
#include "platform/Os.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cctype>

namespace {

constexpr GUID kId = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr const char* kText = "{01234567-89AB-CDEF-0102-030405060708}";

class RegistrationAnswerFile : public testing::Test {
protected:
    std::string Content() const
    {
        std::string bytes;
        EXPECT_EQ(platform::ReadWholeFile(m_path, platform::eOpenMode_ReadShared, bytes, 1000),
                  platform::eOsError_None);
        return bytes;
    }

    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_path = m_dir / L"answer";
    testsupport::CFaultyFiles m_files;
    testsupport::CManualClock m_clock;
};

} // namespace

TEST_F(RegistrationAnswerFile, HasTheIdAndNothingElse)
{
    ASSERT_EQ(RegistrationAnswer::Write(m_path, kId, {}), platform::eOsError_None);
    EXPECT_EQ(Content(), kText);
}

TEST_F(RegistrationAnswerFile, IsWrittenOverNothing)
{
    ASSERT_EQ(platform::WriteWholeFile(m_path, "another's"), platform::eOsError_None);
    EXPECT_EQ(RegistrationAnswer::Write(m_path, kId, {}), platform::eOsError_AlreadyExists);
    EXPECT_EQ(Content(), "another's");
}

TEST_F(RegistrationAnswerFile, IsWaitedForAsLongAsItsWriterWants)
{
    m_files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_SharingViolation, 3);
    const platform::CScopedOs os(&m_files, &m_clock);
    int asked = 0;
    EXPECT_EQ(RegistrationAnswer::Write(m_path, kId, [&] { return ++asked < 3; }), platform::eOsError_SharingViolation);
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(RegistrationAnswer::Write(m_path, kId, [] { return true; }), platform::eOsError_None);
}

TEST_F(RegistrationAnswerFile, IsAnIdOnItsFirstLine)
{
    const std::string text = kText;
    const auto read = [&](const std::string& bytes) {
        EXPECT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_path, bytes)));
        GUID clientId = {9, 9, 9, {}};
        EXPECT_EQ(RegistrationAnswer::Read(m_path, clientId), platform::eOsError_None);
        return clientId;
    };
    for (const char* end : {"", "\r\n", "\n", "\r\nmore"})
        EXPECT_TRUE(IsEqualGUID(read(text + end), kId));
    for (std::size_t length = 0; length < text.size(); ++length)
        EXPECT_TRUE(IsEqualGUID(read(text.substr(0, length)), GUID{})) << length;
    for (std::size_t bit = 0; bit < text.size() * 8; ++bit) {
        std::string flipped = text;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        // Another digit is another id, and a letter in the other case is the same; all else is none.
        const GUID clientId = read(flipped);
        const bool isDigit = std::isxdigit(static_cast<unsigned char>(flipped[bit / 8])) != 0 &&
                             std::isxdigit(static_cast<unsigned char>(text[bit / 8])) != 0;
        EXPECT_EQ(IsEqualGUID(clientId, GUID{}) != 0, !isDigit) << flipped;
    }
    GUID clientId = kId;
    EXPECT_EQ(RegistrationAnswer::Read(m_dir / L"missing", clientId), platform::eOsError_FileNotFound);
    EXPECT_TRUE(IsEqualGUID(clientId, GUID{}));
    EXPECT_TRUE(platform::Succeeded(platform::WriteWholeFile(m_path, std::string(1 << 20, '{'))));
    EXPECT_NE(RegistrationAnswer::Read(m_path, clientId), platform::eOsError_None) << "no answer is so long";
}
