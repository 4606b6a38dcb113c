#pragma once

#include "ZEL_Processor/ZelProtocolNames.h"
#include "ZEL_Processor/zel.hpp"
#include "tests/support/ServerKit.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

/// A server with scripted plug-ins, and the face of a client for it.
class CFaceFixture : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        m_face.emplace(Options());
    }

    [[nodiscard]] zel::Options Options() const
    {
        return {.requests = PathOf(m_requestDir),
                .output = PathOf(m_outputDir),
                .own = PathOf(m_clientDir),
                .syncing = false};
    }
    [[nodiscard]] static std::filesystem::path PathOf(const std::wstring& path) { return zel::detail::pathOf(path); }
    /// A request that was sent; its name is plain.
    [[nodiscard]] zel::Request Sent(const std::string& name)
    {
        return std::move(m_face->send(zel::Text{"<Request/>"}, name)).value();
    }
    [[nodiscard]] zel::Request Named(const std::string& name) { return std::move(m_face->request(name)).value(); }

    [[nodiscard]] std::wstring ServersOwn(const wchar_t* name) const
    {
        return In(In(m_outputDir, ZelProtocol::kServerDirectory), name);
    }
    /// What a host does that makes a claim: one that published what it is serves until the result is destroyed.
    [[nodiscard]] std::unique_ptr<platform::ILockFile> Claim(const SZelServerInfo& published = {}) const
    {
        static_cast<void>(platform::Files().MakeDirectory(In(m_outputDir, ZelProtocol::kServerDirectory)));
        std::unique_ptr<platform::ILockFile> lock;
        EXPECT_EQ(platform::Files().OpenLockFile(ServersOwn(ZelProtocol::kClaimFile), "7", lock),
                  platform::eOsError_None);
        EXPECT_TRUE(m_pServer->PublishInfo(published));
        return lock;
    }

    std::optional<zel::Client> m_face;
};

/// Prints a result's code and reason when an assertion fails.
#define EXPECT_OK(expression)                                                                                          \
    if (const auto& checked = (expression); checked) {                                                                 \
    } else                                                                                                             \
        ADD_FAILURE() << #expression << ": " << static_cast<int>(checked.code()) << " " << checked.reason()
