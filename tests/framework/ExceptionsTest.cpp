#include "framework/Exceptions.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(ExceptionsTest, EachThrowFunctionThrowsItsOwnKind)
{
    EXPECT_THROW(AfxThrowNotSupportedException(), CNotSupportedException);
    EXPECT_THROW(AfxThrowUserException(), CUserException);
    EXPECT_THROW(AfxThrowMemoryException(), CMemoryException);
    EXPECT_THROW(AfxThrowInvalidArgException(), CInvalidArgException);
}

TEST(ExceptionsTest, AllAreCaughtAsTheCommonClassWithAText)
{
    for (void (*const thrower)() :
         {AfxThrowNotSupportedException, AfxThrowUserException, AfxThrowMemoryException, AfxThrowInvalidArgException}) {
        try {
            thrower();
        } catch (const CException& exception) {
            EXPECT_FALSE(exception.GetErrorMessage().empty());
            continue;
        }
        ADD_FAILURE() << "nothing was thrown";
    }
}

TEST(ExceptionsTest, WhatIsTheMessageInUtf8)
{
    const CException exception(L"Soubor \u010d\u00edslo 1");
    EXPECT_STREQ(exception.what(), "Soubor \xC4\x8D\xC3\xADslo 1");
    EXPECT_EQ(exception.GetErrorMessage(), L"Soubor \u010d\u00edslo 1");
}

TEST(ExceptionsTest, AHandlerOfAnyLearnsTheReason)
{
    const auto reason = [](const auto& thrown) {
        try {
            throw thrown;
        } catch (...) {
            return WQ_ReasonOfException();
        }
    };
    EXPECT_EQ(reason(CException(L"Soubor \u010d\u00edslo 1")), L"Soubor \u010d\u00edslo 1");
    EXPECT_EQ(reason(std::runtime_error("Soubor \xC4\x8D\xC3\xADslo 1")), L"Soubor \u010d\u00edslo 1");
    EXPECT_EQ(reason(1), L"unknown exception");
}

TEST(ExceptionsTest, AnArchiveExceptionKeepsItsCause)
{
    try {
        throw CArchiveException(1, L"Serialize CWQ_CLSIDArrayImpl");
    } catch (const std::exception& exception) {
        const auto* const archive = dynamic_cast<const CArchiveException*>(&exception);
        ASSERT_NE(archive, nullptr);
        EXPECT_EQ(archive->GetCause(), 1);
        EXPECT_STREQ(archive->what(), "Serialize CWQ_CLSIDArrayImpl");
    }
}

} // namespace
