#include "framework/HeapMemFile.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

namespace {

std::span<const std::byte> Bytes(std::string_view text)
{
    return std::as_bytes(std::span(text));
}

std::string Content(const CHeapMemFile& file)
{
    const auto bytes = file.GetReadBuffer();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace

TEST(HeapMemFile, WritesGrowItAndReadsComeBack)
{
    CHeapMemFile file;
    EXPECT_EQ(file.GetLength(), 0U);
    EXPECT_TRUE(file.Write(Bytes("hello")));
    EXPECT_EQ(file.GetLength(), 5U);
    EXPECT_EQ(file.GetPosition(), 5U);
    std::array<std::byte, 8> buffer{};
    EXPECT_EQ(file.Read(buffer), 0U);
    file.SeekToBegin();
    EXPECT_EQ(file.Read(std::span(buffer).first(2)), 2U);
    EXPECT_EQ(file.Read(buffer), 3U);
    EXPECT_EQ(buffer[2], std::byte{'o'});
}

TEST(HeapMemFile, WritesOverwriteInTheMiddle)
{
    CHeapMemFile file;
    EXPECT_TRUE(file.Write(Bytes("abcdef")));
    EXPECT_TRUE(file.Seek(2, CHeapMemFile::eSeek_Begin));
    EXPECT_TRUE(file.Write(Bytes("XY")));
    EXPECT_EQ(Content(file), "abXYef");
    EXPECT_EQ(file.GetPosition(), 4U);
}

TEST(HeapMemFile, SeekingStaysInsideTheFile)
{
    CHeapMemFile file;
    EXPECT_TRUE(file.SetLength(10));
    EXPECT_TRUE(file.Seek(-4, CHeapMemFile::eSeek_End));
    EXPECT_EQ(file.GetPosition(), 6U);
    EXPECT_TRUE(file.Seek(-6, CHeapMemFile::eSeek_Current));
    EXPECT_EQ(file.GetPosition(), 0U);
    EXPECT_TRUE(file.Seek(10, CHeapMemFile::eSeek_Begin));
    for (const std::int64_t offset : {std::int64_t{1}, std::int64_t{-11}, std::numeric_limits<std::int64_t>::max(),
                                      std::numeric_limits<std::int64_t>::min()})
        EXPECT_FALSE(file.Seek(offset, CHeapMemFile::eSeek_End)) << offset;
    EXPECT_FALSE(file.Seek(-1, CHeapMemFile::eSeek_Begin));
    EXPECT_EQ(file.GetPosition(), 10U);
}

TEST(HeapMemFile, ShorteningTakesThePositionAlong)
{
    CHeapMemFile file;
    EXPECT_TRUE(file.Write(Bytes("abcdef")));
    EXPECT_TRUE(file.SetLength(3));
    EXPECT_EQ(file.GetPosition(), 3U);
    EXPECT_EQ(Content(file), "abc");
    EXPECT_TRUE(file.SetLength(4));
    EXPECT_EQ(Content(file), std::string("abc\0", 4));
}

TEST(HeapMemFile, TheWriteBufferIsAWrite)
{
    CHeapMemFile file;
    EXPECT_TRUE(file.Write(Bytes("ab")));
    const auto room = file.GetWriteBuffer(3);
    ASSERT_EQ(room.size(), 3U);
    std::memcpy(room.data(), "XYZ", 3);
    EXPECT_EQ(Content(file), "abXYZ");
    EXPECT_EQ(file.GetPosition(), 5U);
}

TEST(HeapMemFile, WhatWouldBeTooLongIsRefusedWhole)
{
    CHeapMemFile file(4);
    EXPECT_FALSE(file.SetLength(5));
    EXPECT_TRUE(file.Write(Bytes("abc")));
    EXPECT_FALSE(file.Write(Bytes("de")));
    EXPECT_TRUE(file.GetWriteBuffer(2).empty());
    EXPECT_TRUE(file.GetWriteBuffer(std::numeric_limits<std::size_t>::max()).empty());
    EXPECT_EQ(Content(file), "abc");
    EXPECT_EQ(file.GetPosition(), 3U);
    EXPECT_TRUE(file.Write(Bytes("d")));
}
