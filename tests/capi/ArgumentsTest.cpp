#include "tests/capi/CApiFixture.h"

#include "framework/DefaultHost.h"
#include "framework/Log.h"

#include <cstddef>
#include <limits>

namespace {

class CArguments : public CApiFixture {};

} // namespace

TEST_F(CArguments, NoNameThatIsNoneGetsAnywhere)
{
    const std::string tooLong = std::string(300, 'a') + ".drq";
    const std::string huge(std::size_t{1} << 20, 'a');
    for (const char* const name : {"", "a", "../a.drq", "a/b.drq", "\xFF.drq", "\xC3.drq", "\xED\xA0\x80.drq",
                                   tooLong.c_str(), huge.c_str(), "a.status"}) {
        EXPECT_EQ(zel_get_status(m_c, name, nullptr), ZEL_BAD_NAME) << name;
        EXPECT_EQ(zel_wait(m_c, name, 0, nullptr, nullptr), ZEL_BAD_NAME);
        EXPECT_EQ(zel_cancel(m_c, name), ZEL_BAD_NAME);
        EXPECT_EQ(zel_forget(m_c, name), ZEL_BAD_NAME);
        EXPECT_EQ(zel_send_text(m_c, "x", 1, name, nullptr), ZEL_BAD_NAME);
    }
    EXPECT_EQ(zel_cancel(m_c, nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_TRUE(FilesIn(m_requestDir).empty());
}

TEST_F(CArguments, NoHandleThatIsNoneIsFollowed)
{
    zel_waker* waker = nullptr;
    EXPECT_ZEL_OK(zel_waker_open(&waker));
    auto* const otherKind = reinterpret_cast<zel_client*>(waker);
    auto* const noHandle = reinterpret_cast<zel_client*>(std::uintptr_t{8});
    zel_client* closed = nullptr;
    EXPECT_ZEL_OK(zel_client_open("a", "b", nullptr, &closed));
    EXPECT_ZEL_OK(zel_client_close(closed));
    for (zel_client* const client : {otherKind, noHandle, closed, static_cast<zel_client*>(nullptr)}) {
        zel_listener* listener = nullptr;
        zel_list* list = nullptr;
        EXPECT_EQ(zel_get_status(client, "a.drq", nullptr), ZEL_BAD_ARGUMENT);
        EXPECT_EQ(zel_listen(client, &listener), ZEL_BAD_ARGUMENT);
        EXPECT_EQ(zel_list_requests(client, &list), ZEL_BAD_ARGUMENT);
        EXPECT_EQ(zel_client_stop(client), ZEL_BAD_ARGUMENT);
        EXPECT_EQ(zel_client_close(client), client == nullptr ? ZEL_OK : ZEL_BAD_ARGUMENT);
    }
    EXPECT_EQ(zel_waker_wake(nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_listener_close(nullptr), ZEL_OK);
    EXPECT_EQ(zel_server_step(nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_ZEL_OK(zel_waker_close(waker));
    zel_free(nullptr);
}

TEST_F(CArguments, PlacesForResultsThatAreMissingAreToldOrLeftOut)
{
    std::size_t index = 0;
    const char* const names[] = {"a.drq", nullptr};
    EXPECT_EQ(zel_client_open("a", "b", nullptr, nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_waker_open(nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_wait_any(m_c, names, 2, 0, nullptr, &index, nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_wait_any(m_c, names, 0, 0, nullptr, &index, nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_wait_any(m_c, names, std::numeric_limits<std::size_t>::max(), 0, nullptr, &index, nullptr),
              ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_wait_any(m_c, names, 1, 0, nullptr, nullptr, nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_receive_bytes(m_c, "a.drq", nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_follow(m_c, "a.drq", nullptr, nullptr, nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_send_text(m_c, "x", std::numeric_limits<std::size_t>::max(), "a.drq", nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_send_text(m_c, nullptr, 0, "a.drq", nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_send_file(m_c, "\xFF", nullptr, nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_send_many(m_c, nullptr, 1, nullptr, nullptr), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_set_log(nullptr, nullptr, 6), ZEL_BAD_ARGUMENT);
    EXPECT_ZEL_OK(zel_list_requests(m_c, nullptr));
    EXPECT_ZEL_OK(zel_get_status(m_c, "a.drq", nullptr));
}

TEST_F(CArguments, StructuresOfOtherVersionsAreTakenAsFarAsTheyAreKnown)
{
    struct SLater {
        zel_client_options known;
        std::int64_t more;
    } later{};
    EXPECT_ZEL_OK(zel_client_options_init(&later.known, sizeof later));
    EXPECT_EQ(later.known.size, sizeof later);
    EXPECT_EQ(later.known.command_timeout_ms, 10'000);
    EXPECT_EQ(later.more, 0);
    zel_client* client = nullptr;
    EXPECT_ZEL_OK(zel_client_open("a", "b", &later.known, &client));
    EXPECT_ZEL_OK(zel_client_close(client));
    later.more = 1; // asks for what this version does not have
    EXPECT_EQ(zel_client_open("a", "b", &later.known, &client), ZEL_BAD_ARGUMENT);
    later.known.size = 8;
    EXPECT_EQ(zel_client_open("a", "b", &later.known, &client), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_client_options_init(nullptr, sizeof later), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_client_options_init(&later.known, 8), ZEL_BAD_ARGUMENT);
    EXPECT_EQ(zel_server_options_init(nullptr, 0, ZEL_SERVER_USUAL), ZEL_BAD_ARGUMENT);
}

TEST_F(CArguments, AServersOptionsHaveNoGapThatNobodyCouldFill)
{
    EXPECT_EQ(offsetof(zel_server_options, max_queued), offsetof(zel_server_options, nice) + sizeof(std::uint32_t));
    EXPECT_EQ(sizeof(zel_server_options), offsetof(zel_server_options, task_host) + sizeof(const char*));
}

TEST_F(CArguments, LinesOfTheLogGoToTheCallback)
{
    std::string line;
    const auto take = [](void* context, std::int32_t level, const char* logger, const char* text) {
        *static_cast<std::string*>(context) = std::to_string(level) + " " + logger + " " + text;
    };
    EXPECT_ZEL_OK(zel_set_log(take, &line, 3));
    Brel::Log::Write(*CWQ_DefaultHost().GetLogger("capi"), Brel::Log::eLogLevel_Error, ZEL_SOURCE_LOCATION, L"\u00e9");
    EXPECT_EQ(line, "4 capi \u00e9");
    Brel::Log::Write(*CWQ_DefaultHost().GetLogger("capi"), Brel::Log::eLogLevel_Info, ZEL_SOURCE_LOCATION, L"less");
    EXPECT_EQ(line, "4 capi \u00e9");
    EXPECT_ZEL_OK(zel_set_log(nullptr, nullptr, 2));
}
