#include "apps/zel-server/OperatorText.h"

#include <gtest/gtest.h>

TEST(OperatorTextTest, ASentenceStaysAsItIs)
{
    for (const wchar_t* text :
         {L"Request /out/Queue/a.drq failed", L"Access denied", L"C:\\in is a directory", L"birds.drq is empty", L""})
        EXPECT_EQ(OperatorText(L"CZelProcessorServer::ExecuteRequest()", text), text);
}

TEST(OperatorTextTest, AFunctionAtTheBeginningIsLeftOut)
{
    EXPECT_EQ(OperatorText({}, L"CZelProcessorServer::AddRequestToQueue : moving of the file 'a' to 'b' failed"),
              L"Moving of the file 'a' to 'b' failed");
    EXPECT_EQ(OperatorText({}, L"CZelProcessorServer::SetDirs - creating Queue directory failed"),
              L"Creating Queue directory failed");
    EXPECT_EQ(OperatorText({}, L"CClass::Function: why\nCOther::Function: more"), L"Why\nCOther::Function: more");
    EXPECT_EQ(OperatorText({}, L"CClass::Function"), L"CClass::Function") << "or nothing would be told";
}

TEST(OperatorTextTest, WhatOnlyTheFunctionSaidIsSaid)
{
    EXPECT_EQ(OperatorText(L"CZelProcessorServer::MessageHandling", L"Out of memory."),
              L"The server's listener has ended: Out of memory.");
    EXPECT_EQ(OperatorText(L"CZelProcessorServer::Executive", L"Out of memory."),
              L"The server's executive has ended: Out of memory.");
    EXPECT_EQ(OperatorText(L"CZelProcessorServer::RegisterNewClient !dsEventsFile.Open", L"No space\n   /out/DsEvents"),
              L"A client cannot be registered: No space\n   /out/DsEvents");
    EXPECT_EQ(OperatorText(L"CZelProcessorServer::RegisterNewClient",
                           L"!CFileTools::FileExists(csDsEventsFile)\n   /out/DsEvents"),
              L"A client cannot be registered: its file of events is missing\n   /out/DsEvents");
    EXPECT_EQ(OperatorText(L"CZelProcessorServer::RegisterNewClient",
                           L"!CFileTools::FileExists(csInsertableItemsChangeFile)\n   /out/Items"),
              L"A client cannot be registered: its file of changed groups is missing\n   /out/Items");
    EXPECT_EQ(OperatorText(L"CLockFile::Lock", L"Timeout expired"),
              L"A lock file was held by somebody else for 2 seconds");
}

TEST(OperatorTextTest, NamesOfTheSystemsCallsAreToldAsWhatTheyWereFor)
{
    for (const wchar_t* call : {L"FindFirstChangeNotification", L"FindNextChangeNotification"})
        EXPECT_EQ(OperatorText(L"CZelProcessorServer::Listen()", call + std::wstring(L" failed.\nNo such directory")),
                  L"The request directory cannot be watched for changes: No such directory");
}
