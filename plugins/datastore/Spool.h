#pragma once

#include <ZEL_Processor/ZelPluginWriter.h>

#include <memory>
#include <string>
#include <string_view>

/// Takes any number of bytes and gives them back in order, with bounded memory: what is more than a few megabytes goes
/// to a private file in the temporary folder. The file is a temporary database of SQLite: made exclusively, readable by
/// nobody else, and gone with this object or with the process, however that ends.
class CSpool final : public IZelByteSink {
public:
    CSpool();
    ~CSpool();
    CSpool(const CSpool&) = delete;
    CSpool& operator=(const CSpool&) = delete;

    [[nodiscard]] bool Write(std::string_view bytes) override;
    /// Hands everything that was written to the sink; false when reading or the sink fails. May be called again.
    [[nodiscard]] bool CopyTo(IZelByteSink& sink);
    /// The reason of a failure; empty when it was the sink's.
    [[nodiscard]] std::wstring ErrorText() const;

private:
    struct SState;
    [[nodiscard]] bool Open();
    [[nodiscard]] bool Store();

    std::unique_ptr<SState> m_pState; ///< null until memory alone is too small
    std::string m_strTail;            ///< what was not stored yet
    bool m_bGood = true;
};
