#include "framework/XMLArchive.h"

#include "com/Guid.h"
#include "tests/library/exchange/ExchangeFixture.h"
#include "tests/support/FaultyFiles.h"

namespace {

constexpr auto kLoad = CWQ_XMLArchive::eDirection_Load;
constexpr auto kStore = CWQ_XMLArchive::eDirection_Store;

class XMLArchive : public CExchangeTest {
protected:
    /// Whether these bytes are an archive.
    bool Loads(const std::string& bytes)
    {
        WriteBytes(m_path, bytes);
        CWQ_XMLArchive archive;
        const bool opened = archive.Open(m_path, kLoad);
        EXPECT_EQ(opened, archive.GetErrorText().empty());
        EXPECT_EQ(opened, archive.IsOpen());
        EXPECT_FALSE(archive.IsUnreadable());
        return opened;
    }

    const std::wstring m_path = m_directory / L"archive";
};

} // namespace

TEST_F(XMLArchive, WritesAFrameWithItsElements)
{
    CWQ_XMLArchive archive;
    ASSERT_TRUE(archive.Open(m_path, kStore));
    EXPECT_TRUE(archive.EnterElement(L"Group"));
    EXPECT_TRUE(archive.EnterElement(L"RevisionID"));
    EXPECT_TRUE(archive.PutText(kFirstId));
    EXPECT_TRUE(archive.NextSibling(L"RevisionID"));
    EXPECT_TRUE(archive.PutText(kSecondId));
    EXPECT_TRUE(archive.LeaveElement());
    EXPECT_TRUE(archive.LeaveElement());
    EXPECT_FALSE(archive.LeaveElement());
    EXPECT_TRUE(archive.EnterElement(L"LockResults"));
    EXPECT_FALSE(platform::PathExists(m_path));
    EXPECT_TRUE(archive.Close());
    EXPECT_FALSE(archive.Close());
    EXPECT_EQ(ReadBytes(m_path), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                 "<Archive version=\"1\">"
                                 "<Group>"
                                 "<RevisionID>{01234567-89AB-CDEF-0102-030405060708}</RevisionID>"
                                 "<RevisionID>{FEDCBA98-7654-3210-F1F2-F3F4F5F6F7F8}</RevisionID>"
                                 "</Group>"
                                 "<LockResults/>"
                                 "</Archive>\n");
}

TEST_F(XMLArchive, GivesBackWhatItWrote)
{
    const std::wstring text = L" <a> & \"b\"\r\n\t\u00e4\U0001F600 ";
    CWQ_XMLArchive storing;
    ASSERT_TRUE(storing.Open(m_path, kStore));
    EXPECT_TRUE(storing.EnterElement(L"E"));
    EXPECT_TRUE(storing.PutAttribute(L"text", text));
    EXPECT_TRUE(storing.PutAttribute(L"id", kFirstId));
    EXPECT_TRUE(storing.PutText(text));
    EXPECT_TRUE(storing.EnterElement(L"Inner"));
    EXPECT_TRUE(storing.PutText(L"not mine"));
    ASSERT_TRUE(storing.Close()); // closes what is open

    CWQ_XMLArchive loading;
    ASSERT_TRUE(loading.Open(m_path, kLoad));
    EXPECT_TRUE(loading.EnterElement(L"E"));
    std::wstring read;
    GUID id = {};
    EXPECT_TRUE(loading.GetAttribute(L"text", read));
    EXPECT_EQ(read, text);
    EXPECT_TRUE(loading.GetAttribute(L"id", id));
    EXPECT_TRUE(id == kFirstId);
    EXPECT_TRUE(loading.GetText(read));
    EXPECT_EQ(read, text);
    EXPECT_TRUE(loading.EnterElement(L"Inner"));
    EXPECT_TRUE(loading.GetText(read));
    EXPECT_EQ(read, L"not mine");
    EXPECT_TRUE(loading.Close());
    EXPECT_FALSE(loading.IsOpen());
}

TEST_F(XMLArchive, SiblingsOfANameAreWalkedInTheirOrder)
{
    ASSERT_TRUE(Loads("<Archive version=\"1\">\n <Other/><Group RevisionID=\"1\"/> text <Other/>\n"
                      "<Group RevisionID=\"2\"/><!-- Group --><Group/></Archive>"));
    CWQ_XMLArchive archive;
    ASSERT_TRUE(archive.Open(m_path, kLoad));
    std::vector<std::wstring> ids;
    ASSERT_TRUE(archive.EnterElement(L"Group"));
    do {
        std::wstring id;
        archive.GetAttribute(L"RevisionID", id);
        ids.push_back(id);
    } while (archive.NextSibling(L"Group"));
    EXPECT_EQ(ids, (std::vector<std::wstring>{L"1", L"2", L""}));
    std::wstring text;
    EXPECT_FALSE(archive.IsOnElement());
    EXPECT_FALSE(archive.NextSibling(L"Group"));
    EXPECT_FALSE(archive.EnterElement(L"Group"));
    EXPECT_FALSE(archive.GetText(text));
    EXPECT_FALSE(archive.GetAttribute(L"RevisionID", text));
    EXPECT_TRUE(archive.LeaveElement());
    EXPECT_TRUE(archive.IsOnElement());
    EXPECT_TRUE(archive.EnterElement(L"Other"));
    EXPECT_FALSE(archive.EnterElement(L"Other"));
}

TEST_F(XMLArchive, NamesAreMatchedLetterForLetter)
{
    ASSERT_TRUE(Loads("<Archive version=\"1\"><group/></Archive>"));
    CWQ_XMLArchive archive;
    ASSERT_TRUE(archive.Open(m_path, kLoad));
    EXPECT_FALSE(archive.EnterElement(L"Group"));
    EXPECT_TRUE(archive.EnterElement(L"group"));
}

TEST_F(XMLArchive, NamesAreMadeIntoXmlNames)
{
    CWQ_XMLArchive storing;
    ASSERT_TRUE(storing.Open(m_path, kStore));
    EXPECT_TRUE(storing.EnterElement(L" a.b"));
    EXPECT_TRUE(storing.PutAttribute(L"c d", L"1"));
    ASSERT_TRUE(storing.Close());
    EXPECT_NE(ReadBytes(m_path).find("<XE.20a.2eb c.20d=\"1\"/>"), std::string::npos);
    CWQ_XMLArchive loading;
    ASSERT_TRUE(loading.Open(m_path, kLoad));
    EXPECT_TRUE(loading.EnterElement(L" a.b"));
    std::wstring value;
    EXPECT_TRUE(loading.GetAttribute(L"c d", value));
    EXPECT_EQ(value, L"1");
    CWQ_XMLArchive raw(true);
    ASSERT_TRUE(raw.Open(m_path, kLoad));
    EXPECT_TRUE(raw.EnterElement(L"XE.20a.2eb"));
    EXPECT_TRUE(raw.GetAttribute(L"c.20d", value));
}

TEST_F(XMLArchive, WhatXmlCannotHoldIsRefused)
{
    CWQ_XMLArchive archive(true);
    ASSERT_TRUE(archive.Open(m_path, kStore));
    for (const wchar_t* name : {L"", L"1a", L"a b", L"a:b", L"-", L"<", L"\u00e4"})
        EXPECT_FALSE(archive.EnterElement(name)) << testing::PrintToString(std::wstring(name));
    ASSERT_TRUE(archive.EnterElement(L"E"));
    EXPECT_FALSE(archive.PutAttribute(L"a", L"\x01"));
    EXPECT_FALSE(archive.PutText(L"\xFFFF"));
    EXPECT_FALSE(archive.PutText(std::wstring(1, L'\0')));
    EXPECT_FALSE(archive.PutText(std::wstring(1, static_cast<wchar_t>(0xD800))));
    EXPECT_TRUE(archive.PutAttribute(L"a", L"1"));
    EXPECT_FALSE(archive.PutAttribute(L"a", L"2"));
    EXPECT_TRUE(archive.PutText(L""));
    EXPECT_FALSE(archive.PutAttribute(L"b", L"2"));
    ASSERT_TRUE(archive.Close());
    CWQ_XMLArchive loading;
    EXPECT_TRUE(loading.Open(m_path, kLoad));
}

TEST_F(XMLArchive, ElementsNestAsDeepAsTheyCanBeRead)
{
    CWQ_XMLArchive storing;
    ASSERT_TRUE(storing.Open(m_path, kStore));
    unsigned depth = 1; // the frame
    while (storing.EnterElement(L"E"))
        ++depth;
    EXPECT_EQ(depth, 200U);
    ASSERT_TRUE(storing.Close());
    CWQ_XMLArchive loading;
    ASSERT_TRUE(loading.Open(m_path, kLoad));
    unsigned found = 1;
    while (loading.EnterElement(L"E"))
        ++found;
    EXPECT_EQ(found, depth);
}

TEST_F(XMLArchive, GuidsThatAreNoneAreAllZero)
{
    ASSERT_TRUE(Loads("<Archive version=\"1\"><E id=\"xyz\">01234567-89AB-CDEF-0102-030405060708</E></Archive>"));
    CWQ_XMLArchive archive;
    ASSERT_TRUE(archive.Open(m_path, kLoad));
    ASSERT_TRUE(archive.EnterElement(L"E"));
    GUID id = kFirstId;
    EXPECT_FALSE(archive.GetAttribute(L"id", id));
    EXPECT_TRUE(id == GUID_NULL);
    id = kFirstId;
    EXPECT_FALSE(archive.GetAttribute(L"missing", id));
    EXPECT_TRUE(id == GUID_NULL);
    id = kFirstId;
    EXPECT_FALSE(archive.GetText(id));
    EXPECT_TRUE(id == GUID_NULL);
}

TEST_F(XMLArchive, OnlyWholeArchivesOfThisVersionAreLoaded)
{
    EXPECT_TRUE(Loads("<Archive version=\"1\"/>"));
    EXPECT_TRUE(Loads("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?><Archive version=\"1\"/>"));
    EXPECT_FALSE(Loads(""));
    EXPECT_FALSE(Loads("<Archive/>"));
    EXPECT_FALSE(Loads("<Archive version=\"2\"/>"));
    EXPECT_FALSE(Loads("<Group version=\"1\"/>"));
    EXPECT_FALSE(Loads("<Archive version=\"1\">"));
    EXPECT_FALSE(Loads("<Archive version=\"1\">\xE4</Archive>"));
    EXPECT_FALSE(Loads(std::string("<Archive version=\"1\"/>\0<x", 26)));
    EXPECT_FALSE(Loads("<!DOCTYPE Archive [<!ENTITY a \"b\">]><Archive version=\"1\">&a;</Archive>"));
}

TEST_F(XMLArchive, AMissingFileIsNamed)
{
    CWQ_XMLArchive archive;
    EXPECT_FALSE(archive.Open(m_path, kLoad));
    EXPECT_EQ(archive.GetErrorText(), platform::OsErrorText(platform::eOsError_FileNotFound));
    EXPECT_TRUE(archive.IsUnreadable());
    EXPECT_FALSE(archive.IsOpen());
    EXPECT_FALSE(archive.Close());
    WriteBytes(m_path, "no archive");
    EXPECT_FALSE(archive.Open(m_path, kLoad));
    EXPECT_FALSE(archive.IsUnreadable()) << "it was read";
}

TEST_F(XMLArchive, EachDirectionHasItsOperations)
{
    std::wstring text = L"before";
    CWQ_XMLArchive archive;
    EXPECT_FALSE(archive.EnterElement(L"E"));
    EXPECT_FALSE(archive.LeaveElement());
    EXPECT_FALSE(archive.NextSibling(L"E"));
    EXPECT_FALSE(archive.PutText(L"x"));
    EXPECT_FALSE(archive.IsOnElement());
    ASSERT_TRUE(archive.Open(m_path, kStore));
    EXPECT_FALSE(archive.Open(m_path, kStore));
    EXPECT_FALSE(archive.NextSibling(L"E"));
    EXPECT_FALSE(archive.GetText(text));
    EXPECT_EQ(text, L"");
    EXPECT_FALSE(archive.GetAttribute(L"version", text));
    ASSERT_TRUE(archive.Close());
    ASSERT_TRUE(archive.Open(m_path, kLoad));
    EXPECT_FALSE(archive.PutText(L"x"));
    EXPECT_FALSE(archive.PutAttribute(L"a", L"x"));
    EXPECT_FALSE(archive.NextSibling(L"Archive"));
    EXPECT_FALSE(archive.LeaveElement());
}

TEST_F(XMLArchive, IsNotWrittenUnlessItIsClosed)
{
    WriteBytes(m_path, "old");
    {
        CWQ_XMLArchive archive;
        ASSERT_TRUE(archive.Open(m_path, kStore));
        EXPECT_TRUE(archive.EnterElement(L"E"));
    }
    EXPECT_EQ(ReadBytes(m_path), "old");
}

TEST_F(XMLArchive, AFileThatCannotBeWrittenIsAFailure)
{
    testsupport::CFaultyFiles files;
    const platform::CScopedOs scope(&files, nullptr);
    for (const auto call : {testsupport::eFileCall_Open, testsupport::eFileCall_Write, testsupport::eFileCall_Close}) {
        CWQ_XMLArchive archive;
        ASSERT_TRUE(archive.Open(m_path, kStore));
        files.FailCall(call, 1, platform::eOsError_DiskFull);
        EXPECT_FALSE(archive.Close());
        EXPECT_EQ(archive.GetErrorText(), platform::OsErrorText(platform::eOsError_DiskFull));
    }
}
