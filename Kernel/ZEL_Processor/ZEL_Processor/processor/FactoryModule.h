#pragma once

#include "ZelProcessorFactories.h"

#include <cstdint>
#include <functional>
#include <optional>

/// A plug-in module that is used without the component table: by one caller, beside all that a server would find.
class CFactoryModule {
public:
    /// Loads the module, given by its own path or that of its manifest, for the rest of the process, and adds its
    /// factories. False with a text that names the file and the reason.
    [[nodiscard]] bool Load(const CString& path, CZelProcessorFactories& factories, CString& error);

    /// The module's living objects; empty when it does not count them.
    [[nodiscard]] std::optional<std::int64_t> Objects() const;

private:
    std::uint32_t (*m_count)() = nullptr;
};
