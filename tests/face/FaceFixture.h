#pragma once

#include "ZEL_Processor/zel.h"
#include "tests/support/ServerKit.h"

#include <filesystem>
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

    std::optional<zel::Client> m_face;
};

/// Prints a result's code and reason when an assertion fails.
#define EXPECT_OK(expression)                                                                                          \
    if (const auto& checked = (expression); checked) {                                                                 \
    } else                                                                                                             \
        ADD_FAILURE() << #expression << ": " << static_cast<int>(checked.code()) << " " << checked.reason()
