#pragma once

#include "ZEL_Processor/zel_server.h"
#include "platform/Text.h"
#include "tests/support/ServerKit.h"

#include <memory>
#include <string>
#include <string_view>

/// Prints what went wrong when a call fails that must not.
#define EXPECT_ZEL_OK(expression)                                                                                      \
    if (const zel_code checked = (expression); checked == ZEL_OK) {                                                    \
    } else                                                                                                             \
        ADD_FAILURE() << #expression << ": " << zel_code_name(checked) << ", " << zel_last_error()->detail

struct SFreeBlock {
    template <class Block>
    void operator()(Block* block) const
    {
        zel_free(const_cast<void*>(static_cast<const void*>(block)));
    }
};
/// A block of the library, and where a call puts it.
template <class Block>
class CGiven {
public:
    [[nodiscard]] Block** Put()
    {
        m_block.reset();
        return &m_raw;
    }
    [[nodiscard]] Block* Get()
    {
        if (m_raw != nullptr)
            m_block.reset(std::exchange(m_raw, nullptr));
        return m_block.get();
    }
    [[nodiscard]] Block* operator->() { return Get(); }
    ~CGiven() { static_cast<void>(Get()); }

private:
    std::unique_ptr<Block, SFreeBlock> m_block;
    Block* m_raw = nullptr;
};

/// A server with scripted plug-ins, and a client of the C interface for it.
class CApiFixture : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        EXPECT_ZEL_OK(zel_client_options_init(&m_options, sizeof m_options));
        m_own = platform::ToUtf8(m_clientDir);
        m_options.own_directory = m_own.c_str();
        m_options.syncing = 0;
        Reopen();
    }
    void TearDown() override { EXPECT_ZEL_OK(zel_client_close(m_c)); }

    void Reopen()
    {
        EXPECT_ZEL_OK(zel_client_close(m_c));
        m_c = nullptr;
        EXPECT_ZEL_OK(zel_client_open(platform::ToUtf8(m_requestDir).c_str(), platform::ToUtf8(m_outputDir).c_str(),
                                      &m_options, &m_c));
    }
    void SendText(const char* name, std::string_view text = "<Request/>")
    {
        EXPECT_ZEL_OK(zel_send_text(m_c, text.data(), text.size(), name, nullptr));
    }
    [[nodiscard]] std::int32_t StateOf(const char* name)
    {
        CGiven<zel_status> status;
        EXPECT_ZEL_OK(zel_get_status(m_c, name, status.Put()));
        return status.Get() ? status->state : -2;
    }
    [[nodiscard]] static std::int64_t Patience() { return std::chrono::milliseconds(kPatience).count(); }

    zel_client_options m_options{};
    std::string m_own;
    zel_client* m_c = nullptr;
};
