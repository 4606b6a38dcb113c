#include "tests/capi/CApiFixture.h"

#include "ZEL_Processor/zel/Client.h"
#include "framework/Services.h"
#include "platform/Version.h"

namespace {

class CClient : public CApiFixture {};

} // namespace

TEST_F(CClient, ATextIsSentWaitedForAndReceivedAsBytes)
{
    m_script.save = [](const std::wstring& path) {
        Write(path, "<Response>42</Response>");
        return true;
    };
    Run();
    CGiven<char> name;
    ASSERT_EQ(zel_send_text(m_c, "<Request/>", 10, nullptr, name.Put()), ZEL_OK);
    ASSERT_NE(name.Get(), nullptr);
    CGiven<zel_status> status;
    EXPECT_ZEL_OK(zel_wait(m_c, name.Get(), Patience(), nullptr, status.Put()));
    EXPECT_EQ(status->state, ZEL_STATE_DONE);
    EXPECT_EQ(status->size, sizeof(zel_status));
    EXPECT_EQ(status->has_ended, 1);
    EXPECT_STREQ(status->name, name.Get());
    EXPECT_GT(status->changed, 0);
    CGiven<zel_bytes> bytes;
    EXPECT_ZEL_OK(zel_receive_bytes(m_c, name.Get(), bytes.Put()));
    EXPECT_EQ(std::string(bytes->bytes, bytes->length), "<Response>42</Response>");
    EXPECT_EQ(bytes->bytes[bytes->length], '\0');
    EXPECT_EQ(StateOf(name.Get()), ZEL_STATE_NOT_REQUESTED) << "the name is free";
}

TEST_F(CClient, BytesThatWereReadAreGivenThoughSomethingIsLeftOfTheRequest)
{
    Run();
    SendText("a.drq");
    EXPECT_ZEL_OK(zel_wait(m_c, "a.drq", Patience(), nullptr, nullptr));
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_AccessDenied, L"a.drq.status");
    CGiven<zel_bytes> bytes;
    EXPECT_EQ(zel_receive_bytes(m_c, "a.drq", bytes.Put()), ZEL_FILE_ERROR);
    ASSERT_NE(bytes.Get(), nullptr) << "the response is gone";
    EXPECT_EQ(std::string(bytes->bytes, bytes->length), "<Response/>");
    m_files.StopFailing();
    EXPECT_ZEL_OK(zel_forget(m_c, "a.drq"));
}

TEST_F(CClient, AFileIsSentUnderItsOwnNameAndReceivedAsAFile)
{
    Run();
    Write(In(m_clientDir, L"a.drq"), "<Request/>");
    CGiven<char> name;
    EXPECT_ZEL_OK(zel_send_file(m_c, platform::ToUtf8(In(m_clientDir, L"a.drq")).c_str(), nullptr, name.Put()));
    EXPECT_STREQ(name.Get(), "a.drq");
    EXPECT_ZEL_OK(zel_wait(m_c, "a.drq", Patience(), nullptr, nullptr));
    const std::string target = platform::ToUtf8(In(m_clientDir, L"response.xml"));
    EXPECT_ZEL_OK(zel_receive(m_c, "a.drq", target.c_str()));
    EXPECT_EQ(Read(In(m_clientDir, L"response.xml")), "<Response/>");
}

TEST_F(CClient, OfManyEachIsSentAndTheFirstFailureTold)
{
    const zel_order orders[] = {{sizeof(zel_order), 0, nullptr, "<Request/>", 10, "a.drq"},
                                {sizeof(zel_order), 0, nullptr, "<Request/>", 10, "a.drq"},
                                {sizeof(zel_order), 0, nullptr, nullptr, 0, "c.drq"},
                                {sizeof(zel_order), 0, nullptr, "<Request/>", 10, nullptr}};
    zel_code codes[4] = {};
    CGiven<zel_names> names;
    EXPECT_EQ(zel_send_many(m_c, orders, 4, codes, names.Put()), ZEL_NAME_IN_USE);
    EXPECT_EQ(std::vector<zel_code>(codes, codes + 4),
              (std::vector<zel_code>{ZEL_OK, ZEL_NAME_IN_USE, ZEL_BAD_ARGUMENT, ZEL_OK}));
    ASSERT_EQ(names->count, 4U);
    EXPECT_STREQ(names->names[0], "a.drq");
    EXPECT_STREQ(names->names[1], "");
    EXPECT_TRUE(std::string_view(names->names[3]).ends_with(".drq"));
}

TEST_F(CClient, OrdersThatAreTooFarApartAreNotRead)
{
    constexpr std::uint32_t kLargest = 65536;
    zel_order order{kLargest + alignof(zel_order), 0, nullptr, "<Request/>", 10, "a.drq"};
    zel_code code = ZEL_INTERNAL;
    CGiven<zel_names> names;
    EXPECT_EQ(zel_send_many(m_c, &order, 1, &code, names.Put()), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(code, ZEL_INTERNAL) << "no order was looked at";
    EXPECT_EQ(names.Get(), nullptr);
}

TEST_F(CClient, WhatRunsIsCancelledAndWhatWaitsIsPausedAndResumed)
{
    Make({.syncing = false, .cancelByName = true, .pausedStatus = true});
    CGate gate;
    m_script.obtainData = [&](CZelProcessorContext* context, auto*) {
        return gate.Pass() && WaitUntil([&] { return context->IsCanceled(); });
    };
    Run();
    SendText("a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    SendText("b.drq");
    ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(L"b.drq"); }));
    EXPECT_EQ(zel_pause(m_c, "a.drq"), ZEL_HAS_STARTED);
    EXPECT_ZEL_OK(zel_pause(m_c, "b.drq"));
    EXPECT_EQ(StateOf("b.drq"), ZEL_STATE_PAUSED);
    EXPECT_ZEL_OK(zel_resume(m_c, "b.drq"));
    EXPECT_EQ(zel_resume(m_c, "b.drq"), ZEL_NOT_PAUSED);
    EXPECT_ZEL_OK(zel_cancel(m_c, "b.drq"));
    EXPECT_ZEL_OK(zel_cancel(m_c, "a.drq"));
    gate.Open();
    EXPECT_EQ(zel_wait(m_c, "a.drq", Patience(), nullptr, nullptr), ZEL_CANCELED);
    EXPECT_ZEL_OK(zel_forget(m_c, "a.drq"));
}

TEST_F(CClient, WhatIsThereIsListedWithItsPlace)
{
    Make({.syncing = false, .manual = true});
    Run();
    SendText("a.drq", "<Request>1</Request>");
    ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(L"a.drq"); }));
    Write(In(m_outputDir, L"done.drq"), "<Response/>");
    Write(In(m_outputDir, L"other.txt"), "no request");
    CGiven<zel_list> list;
    EXPECT_ZEL_OK(zel_list_requests(m_c, list.Put()));
    ASSERT_EQ(list->count, 2U);
    EXPECT_STREQ(list->entries[0]->status->name, "a.drq");
    EXPECT_EQ(list->entries[0]->place, ZEL_PLACE_QUEUE);
    EXPECT_EQ(list->entries[0]->status->state, ZEL_STATE_WAITING);
    EXPECT_EQ(list->entries[0]->bytes, 20);
    EXPECT_GT(list->entries[0]->since, 0);
    EXPECT_STREQ(list->entries[1]->status->name, "done.drq");
    EXPECT_EQ(list->entries[1]->place, ZEL_PLACE_OUTPUT);
    CGiven<zel_server_info> info;
    EXPECT_ZEL_OK(zel_get_server_info(m_c, info.Put()));
    EXPECT_EQ(info->waiting, 1U);
    EXPECT_EQ(info->presence, ZEL_PRESENCE_UNKNOWN) << "it makes no claim";
    CGiven<zel_failures> failures;
    EXPECT_ZEL_OK(zel_list_failures(m_c, failures.Put()));
    EXPECT_EQ(failures->count, 0U);
}

TEST_F(CClient, TheQueueIsHeldAndReleasedAndFailuresAreRunAgainOrDiscarded)
{
    m_script.obtainData = [](auto*, auto*) { return false; };
    Make({.syncing = false, .operatorCommands = true, .keepFailed = std::chrono::hours(1)});
    Run();
    EXPECT_ZEL_OK(zel_hold_queue(m_c));
    SendText("a.drq");
    ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(L"a.drq"); }));
    SendText("b.drq");
    ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(L"b.drq"); }));
    EXPECT_ZEL_OK(zel_move(m_c, "b.drq", ZEL_MOVE_BEFORE, "a.drq"));
    EXPECT_EQ(zel_move(m_c, "b.drq", ZEL_MOVE_BEFORE, nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_move(m_c, "b.drq", 3, nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_ZEL_OK(zel_release_queue(m_c));
    EXPECT_EQ(zel_wait(m_c, "a.drq", Patience(), nullptr, nullptr), ZEL_FAILED);
    CGiven<zel_failures> failures;
    EXPECT_ZEL_OK(zel_list_failures(m_c, failures.Put()));
    ASSERT_EQ(failures->count, 2U);
    EXPECT_EQ(failures->failures[0]->bytes, 10);
    EXPECT_ZEL_OK(zel_discard_failed(m_c, "a.drq"));
    EXPECT_ZEL_OK(zel_hold_queue(m_c));
    EXPECT_ZEL_OK(zel_retry_failed(m_c, "b.drq"));
    EXPECT_EQ(StateOf("b.drq"), ZEL_STATE_WAITING);
    EXPECT_ZEL_OK(zel_list_failures(m_c, failures.Put()));
    EXPECT_EQ(failures->count, 0U);
    m_host.AcceptWarnings(); // that it is refused
    EXPECT_EQ(zel_retry_failed(m_c, "a.drq"), ZEL_REFUSED) << "it is gone";
    EXPECT_EQ(m_host.TakeReports().size(), 2U) << "of the two that failed";
}

TEST_F(CClient, AFailureIsToldInTheUsersLanguageWithItsDetail)
{
    EXPECT_ZEL_OK(zel_set_language("de"));
    EXPECT_EQ(zel_cancel(m_c, "a.drq"), ZEL_UNKNOWN_REQUEST);
    EXPECT_EQ(zel_last_error()->code, ZEL_UNKNOWN_REQUEST);
    EXPECT_STREQ(zel_last_error()->text, "Es gibt keinen Auftrag mit diesem Namen.");
    EXPECT_STRNE(zel_last_error()->detail, "");
    std::thread([] { EXPECT_EQ(zel_last_error()->code, ZEL_OK) << "each thread has its own"; }).join();
    EXPECT_EQ(StateOf("a.drq"), ZEL_STATE_NOT_REQUESTED);
    EXPECT_EQ(zel_last_error()->code, ZEL_UNKNOWN_REQUEST) << "success leaves it";
    EXPECT_ZEL_OK(zel_set_language("fr"));
    EXPECT_STREQ(zel_code_text(ZEL_TIMEOUT), "Le délai est écoulé ; ce qui était attendu peut encore arriver.");
    EXPECT_ZEL_OK(zel_set_language(nullptr));
    EXPECT_STREQ(zel_code_name(ZEL_WRONG_TIME), "wrong-time");
    EXPECT_STREQ(zel_code_name(1000), "unknown");
    EXPECT_STREQ(zel_state_name(ZEL_STATE_SERVER_ERROR), "server-error");
    EXPECT_STREQ(zel_state_name(1000), "unknown");
}

TEST_F(CClient, OneMayFollowAnotherWhileOneOfTheFaceStays)
{
    {
        const zel::Client face(
            {.requests = zel::detail::pathOf(m_requestDir), .output = zel::detail::pathOf(m_outputDir)});
        EXPECT_ZEL_OK(zel_client_close(std::exchange(m_c, nullptr))); // what it installed lies below that of the face
        Reopen();
        EXPECT_EQ(zel_cancel(m_c, "a.drq"), ZEL_UNKNOWN_REQUEST);
        EXPECT_STRNE(zel_last_error()->text, "");
    }
    WQ_ReportErrorNow(L"source", 7, L"function", L"through all that is left");
    m_host.ExpectReport(7, L"through all that is left");
}

TEST_F(CClient, TheVersionsAreTold)
{
    EXPECT_EQ(zel_abi_version(), std::uint32_t{ZEL_ABI_VERSION});
    EXPECT_STREQ(zel_version(), ZEL_VERSION);
}
