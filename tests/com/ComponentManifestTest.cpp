#include "TestComponent.h"
#include "com/Components.h"
#include "com/Guid.h"
#include "platform/FileSystem.h"
#include "platform/Path.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const std::string kGood = "<component>\n"
                          "  <!-- two classes -->\n"
                          "  <module>sub/foo.so</module>\n"
                          "  <class id=\"{6A0E3D12-5C1B-4B0E-8E55-112233445501}\" name=\"One\">\n"
                          "    <category id=\"{6A0E3D13-5C1B-4B0E-8E55-112233445566}\"/>\n"
                          "    <category id=\"{6A0E3D14-5C1B-4B0E-8E55-112233445566}\"/>\n"
                          "  </class>\n"
                          "  <class id=\"{6A0E3D12-5C1B-4B0E-8E55-112233445502}\" name=\"Zw\xC3\xB6lf\"/>\n"
                          "</component>\n";

class CComponentManifestTest : public testing::Test {
protected:
    bool Read(const std::string& bytes)
    {
        EXPECT_EQ(platform::WriteWholeFile(m_sPath, bytes), platform::eOsError_None);
        m_sError.clear();
        return ReadComponentManifest(m_sPath, m_manifest, m_sError);
    }
    /// Refused, with a text that names the file and this.
    void ExpectRefused(const std::string& bytes, const std::wstring& reason)
    {
        EXPECT_FALSE(Read(bytes)) << bytes;
        EXPECT_TRUE(m_sError.starts_with(m_sPath + L": ")) << bytes;
        EXPECT_NE(m_sError.find(reason), std::wstring::npos) << bytes;
        EXPECT_TRUE(m_manifest.classes.empty());
    }

    testsupport::CTemporaryDirectory m_folder;
    std::wstring m_sPath = m_folder / L"x.component";
    SComponentManifest m_manifest;
    std::wstring m_sError;
};

std::string With(const std::string& inner)
{
    return "<component><module>a.so</module>" + inner + "</component>";
}

TEST_F(CComponentManifestTest, IsReadWhole)
{
    ASSERT_TRUE(Read(kGood));
    const std::wstring separator(1, platform::kPathSeparator);
    EXPECT_EQ(m_manifest.modulePath, m_folder.Path() + separator + L"sub" + separator + L"foo.so");
    ASSERT_EQ(m_manifest.classes.size(), 2U);
    EXPECT_EQ(m_manifest.classes[0].id, kTestClassOne);
    EXPECT_EQ(m_manifest.classes[0].name, L"One");
    EXPECT_EQ(m_manifest.classes[0].categories, (std::vector<CATID>{kTestCategory, kOtherCategory}));
    EXPECT_EQ(m_manifest.classes[1].id, kTestClassTwo);
    EXPECT_EQ(m_manifest.classes[1].name, L"Zw\u00F6lf");
    EXPECT_TRUE(m_manifest.classes[1].categories.empty());
}

TEST_F(CComponentManifestTest, WhatIsWrittenIsReadBack)
{
    SComponentManifest written;
    written.modulePath = L"a & <b>.so";
    written.classes = {{kTestClassOne, L"\"quoted\" & <more>", {kTestCategory}}, {kTestClassTwo, L"", {}}};
    ASSERT_TRUE(WriteComponentManifest(m_sPath, written, m_sError)) << m_sError.size();
    ASSERT_TRUE(ReadComponentManifest(m_sPath, m_manifest, m_sError));
    EXPECT_EQ(platform::FileNameOf(m_manifest.modulePath), L"a & <b>.so");
    ASSERT_EQ(m_manifest.classes.size(), 2U);
    EXPECT_EQ(m_manifest.classes[0].name, written.classes[0].name);
    EXPECT_EQ(m_manifest.classes[0].categories, written.classes[0].categories);
}

TEST_F(CComponentManifestTest, AFullPathStaysAsItIs)
{
    SComponentManifest written;
    written.modulePath = m_folder / L"far.so";
    written.classes = {{kTestClassOne, L"One", {}}};
    ASSERT_TRUE(WriteComponentManifest(m_sPath, written, m_sError));
    ASSERT_TRUE(ReadComponentManifest(m_sPath, m_manifest, m_sError));
    EXPECT_EQ(m_manifest.modulePath, written.modulePath);
}

TEST_F(CComponentManifestTest, AManifestIsReplacedAsAWholeOrNotAtAll)
{
    SComponentManifest manifest;
    manifest.modulePath = L"old.so";
    manifest.classes = {{kTestClassOne, L"Old", {}}};
    ASSERT_TRUE(WriteComponentManifest(m_sPath, manifest, m_sError));
    manifest.classes = {{kTestClassTwo, L"New", {}}};
    for (const auto call : {testsupport::eFileCall_Open, testsupport::eFileCall_Write, testsupport::eFileCall_Close,
                            testsupport::eFileCall_Move}) {
        testsupport::CFaultyFiles files;
        files.FailAlways(call, platform::eOsError_DiskFull);
        {
            const platform::CScopedOs faulty(&files, nullptr);
            EXPECT_FALSE(WriteComponentManifest(m_sPath, manifest, m_sError)) << call;
            EXPECT_TRUE(m_sError.starts_with(m_sPath + L": ")) << call;
        }
        SComponentManifest read;
        ASSERT_TRUE(ReadComponentManifest(m_sPath, read, m_sError)) << call;
        EXPECT_EQ(read.classes[0].name, L"Old") << call;
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_EQ(platform::Files().List(m_folder.Path(), entries), platform::eOsError_None);
        EXPECT_EQ(entries.size(), 1U) << call;
    }
    EXPECT_EQ(platform::WriteWholeFile(m_sPath + L".new", "left by a crash"), platform::eOsError_None);
    ASSERT_TRUE(WriteComponentManifest(m_sPath, manifest, m_sError));
    ASSERT_TRUE(ReadComponentManifest(m_sPath, m_manifest, m_sError));
    EXPECT_EQ(m_manifest.classes[0].name, L"New");
}

TEST_F(CComponentManifestTest, AManifestThatIsInItsPlaceIsWritten)
{
    SComponentManifest manifest;
    manifest.modulePath = L"a.so";
    manifest.classes = {{kTestClassOne, L"One", {}}};
    testsupport::CFaultyFiles files;
    // The move is reported as made, and not synced; whether it was made is not the writer's to look at.
    files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_NotDurable);
    const platform::CScopedOs faulty(&files, nullptr);
    EXPECT_TRUE(WriteComponentManifest(m_sPath, manifest, m_sError)) << testing::PrintToString(m_sError);
    EXPECT_EQ(files.Count(testsupport::eFileCall_Remove), 0U);
}

TEST_F(CComponentManifestTest, WhatIsWrongIsSaid)
{
    const std::string id = "{6A0E3D12-5C1B-4B0E-8E55-112233445501}";
    const std::string good = "<class id=\"" + id + "\"/>";
    ExpectRefused("", L"not well formed");
    ExpectRefused("<component>", L"not well formed");
    ExpectRefused("<other/>", L"\"other\"");
    ExpectRefused("<component/>", L"exactly one module");
    ExpectRefused("<component>" + good + "</component>", L"exactly one module");
    ExpectRefused("<component><module> </module>" + good + "</component>", L"exactly one module");
    ExpectRefused(With("<module>b.so</module>" + good), L"exactly one module");
    ExpectRefused(With(""), L"no class");
    ExpectRefused(With("<class/>"), L"class id \"\"");
    ExpectRefused(With("<class id=\"xyz\"/>"), L"class id \"xyz\"");
    ExpectRefused(With("<class id=\"" + id.substr(1, 36) + "\"/>"), L"class id");
    ExpectRefused(With("<class id=\"{00000000-0000-0000-0000-000000000000}\"/>"), L"class id");
    ExpectRefused(With("<class id=\"" + id + "\"><category id=\"5\"/></class>"), L"category id \"5\"");
    ExpectRefused("<component><module>\xE9</module>" + good + "</component>", L"not UTF-8");
    ExpectRefused(With(good) + std::string(1, '\0'), L"not UTF-8");
}

TEST_F(CComponentManifestTest, AMissingFileAndAFolderAreErrorsWithTheFile)
{
    for (const std::wstring& path : {m_folder / L"none.component", m_folder.Path()}) {
        EXPECT_FALSE(ReadComponentManifest(path, m_manifest, m_sError));
        EXPECT_TRUE(m_sError.starts_with(path + L": "));
        EXPECT_GT(m_sError.size(), path.size() + 2);
        m_sError.clear();
    }
}

TEST_F(CComponentManifestTest, ATooLongFileIsNotRead)
{
    ExpectRefused(std::string(2'000'000, ' ') + kGood, L"");
}

TEST_F(CComponentManifestTest, EveryTruncationIsRefused)
{
    // Without its last line end the document is still whole.
    for (std::size_t length = 0; length + 1 < kGood.size(); ++length)
        ASSERT_FALSE(Read(kGood.substr(0, length))) << length;
    EXPECT_TRUE(Read(kGood.substr(0, kGood.size() - 1)));
}

TEST_F(CComponentManifestTest, AFlippedBitIsRefusedOrReadsAsAManifest)
{
    std::size_t refused = 0;
    for (std::size_t bit = 0; bit < kGood.size() * 8; ++bit) {
        std::string bytes = kGood;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << (bit % 8)));
        if (!Read(bytes)) {
            ++refused;
            ASSERT_TRUE(m_sError.starts_with(m_sPath + L": ")) << bit;
            continue;
        }
        ASSERT_FALSE(m_manifest.modulePath.empty()) << bit;
        ASSERT_FALSE(m_manifest.classes.empty()) << bit;
        for (const SComponentClass& component : m_manifest.classes)
            ASSERT_NE(component.id, GUID_NULL) << bit;
    }
    EXPECT_GT(refused, kGood.size()) << "most flips break the form";
}

} // namespace
