#include "platform/Path.h"

#include "platform/Module.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

std::wstring Native(std::wstring path)
{
    for (wchar_t& character : path)
        character = character == L'/' ? kPathSeparator : character;
    return path;
}

bool HasDrives()
{
    return kPathSeparator == L'\\';
}

TEST(PathTest, JoiningIsPlainConcatenation)
{
    EXPECT_EQ(JoinPath(L"dir", L"name"), Native(L"dir/name"));
    EXPECT_EQ(JoinPath(Native(L"dir/"), L"name"), Native(L"dir//name")) << "a separator that is there is kept as well";
    EXPECT_EQ(JoinPath(L"", L"name"), Native(L"/name"));
}

TEST(PathTest, FileName)
{
    EXPECT_EQ(FileNameOf(Native(L"/a/b.drq")), L"b.drq");
    EXPECT_EQ(FileNameOf(L"b.drq"), L"b.drq");
    EXPECT_EQ(FileNameOf(Native(L"/a/")), L"");
    EXPECT_EQ(FileNameOf(L""), L"");
}

TEST(PathTest, Extension)
{
    EXPECT_EQ(ExtensionOf(Native(L"/a.b/c.tar.gz")), L".gz");
    EXPECT_EQ(ExtensionOf(Native(L"/a.b/c")), L"") << "a dot of a directory does not count";
    EXPECT_EQ(ExtensionOf(L"c."), L".");
    EXPECT_EQ(ExtensionOf(L".hidden"), L".hidden");
    EXPECT_EQ(ExtensionOf(L""), L"");
}

TEST(PathTest, Directory)
{
    EXPECT_EQ(DirectoryOf(Native(L"/a/b/c")), Native(L"/a/b"));
    EXPECT_EQ(DirectoryOf(Native(L"a/b")), L"a");
    EXPECT_EQ(DirectoryOf(L"name"), L"");
    EXPECT_EQ(DirectoryOf(Native(L"a/b/")), Native(L"a/b"));
    EXPECT_EQ(DirectoryOf(Native(L"/name")), Native(L"/")) << "the root is nothing without its separator";
}

TEST(PathTest, SeparatorsOfThisSystem)
{
    EXPECT_TRUE(IsPathSeparator(kPathSeparator));
    EXPECT_TRUE(IsPathSeparator(L'/'));
    EXPECT_EQ(IsPathSeparator(L'\\'), HasDrives());
    EXPECT_EQ(FileNameOf(L"a/b"), L"b");
    EXPECT_EQ(FileNameOf(L"a\\b"), HasDrives() ? L"b" : L"a\\b");
    EXPECT_EQ(FileNameOf(L"c:name"), HasDrives() ? L"name" : L"c:name");
    EXPECT_EQ(DirectoryOf(L"c:name"), HasDrives() ? L"c:" : L"");
}

TEST(PathTest, PlainFileNames)
{
    for (const wchar_t* name : {L"a", L"request.drq", L"with space", L".hidden", L"..a", L"\u20ac", L"-"})
        EXPECT_TRUE(IsPlainFileName(name)) << ToUtf8(name);
    for (const wchar_t* name :
         {L"", L".", L"..", L"a/b", L"a\\b", L"/", L"\\", L"c:a", L"../a", L"a\n", L"a\x7f", L"a\x1f"})
        EXPECT_FALSE(IsPlainFileName(name)) << ToUtf8(name);
    EXPECT_FALSE(IsPlainFileName(std::wstring_view(L"a\0b", 3)));
    EXPECT_TRUE(IsPlainFileName(std::wstring(255, L'x')));
    EXPECT_FALSE(IsPlainFileName(std::wstring(256, L'x')));
}

TEST(PathTest, ReservedNamesAreNoneOnWindowsAndNowherePortable)
{
    for (const wchar_t* name : {L"CON", L"nul.drq", L"Aux.a.b", L"prn", L"COM1", L"lpt9.xml", L"com0", L"lpt\u00b2",
                                L"NUL .drq", L"conin$", L"a.", L"x.drq ", L"..."}) {
        EXPECT_EQ(IsPlainFileName(name), !HasDrives()) << ToUtf8(name);
        EXPECT_FALSE(IsPortableFileName(name)) << ToUtf8(name);
    }
    for (const wchar_t* name : {L"a*b", L"a?", L"\"a\"", L"<a>", L"a|b", L"", L"a/b", L"c:a"})
        EXPECT_FALSE(IsPortableFileName(name)) << ToUtf8(name);
    for (const wchar_t* name :
         {L"console.drq", L"com10", L"com", L"comX", L"nul-x.drq", L"x.con", L"a.b", L"a b", L".a"})
        EXPECT_TRUE(IsPlainFileName(name) && IsPortableFileName(name)) << ToUtf8(name);
}

TEST(PathTest, AbsolutePathsStayAndOthersLieInTheCurrentDirectory)
{
    const std::wstring program = ProgramPath();
    EXPECT_EQ(AbsolutePath(program), program);
    const std::wstring absolute = AbsolutePath(L"some-name");
    EXPECT_EQ(FileNameOf(absolute), L"some-name");
    EXPECT_EQ(AbsolutePath(absolute), absolute);
    EXPECT_EQ(AbsolutePath(L"./some-name"), absolute);
    EXPECT_EQ(AbsolutePath(L"."), DirectoryOf(absolute));
    EXPECT_EQ(AbsolutePath(L""), L"");
}

TEST(PathTest, NarrowPathIsUtf8)
{
    EXPECT_EQ(NarrowPath(L"\u20ac.txt"), "\xE2\x82\xAC.txt");
}

} // namespace
} // namespace platform
