#include "tests/support/TemporaryDirectory.h"

#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <gtest/gtest.h>

#include <system_error>

namespace testsupport {

CTemporaryDirectory::CTemporaryDirectory(const std::wstring& parent)
    : m_path(platform::JoinPath(parent.empty() ? platform::TemporaryDirectory() : parent, L"zel-test-" + UniqueText()))
{
    EXPECT_EQ(platform::SystemFiles().MakeDirectory(m_path), platform::eOsError_None);
}

CTemporaryDirectory::~CTemporaryDirectory()
{
    std::error_code error;
    std::filesystem::remove_all(StandardPath(m_path), error);
    EXPECT_FALSE(error) << error.message();
}

std::wstring CTemporaryDirectory::operator/(const std::wstring& name) const
{
    return platform::JoinPath(m_path, name);
}

std::wstring UniqueText()
{
    constexpr wchar_t digits[] = L"0123456789abcdef";
    std::wstring text;
    for (const std::uint8_t byte : platform::NewUniqueId()) {
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 0x0F]);
    }
    return text;
}

} // namespace testsupport
