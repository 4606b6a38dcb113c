#include "ZEL_Processor/ZelPluginWriter.h"

#include "platform/Os.h"

#include <span>

// Here, and not in the header: whatever a plug-in compiles in of the file system's interface binds it to its slots.

struct CZelFileWriter::SState {
    static constexpr std::size_t kFlushBytes = std::size_t{64} * 1024;

    ~SState() { Discard(); }

    bool Flush()
    {
        if (platform::Succeeded(m_error) && m_pFile && !m_strBuffer.empty())
            m_error = m_pFile->Write(std::as_bytes(std::span(m_strBuffer)));
        m_strBuffer.clear();
        return platform::Succeeded(m_error);
    }
    void Discard()
    {
        m_strBuffer.clear();
        if (!m_pFile)
            return;
        m_pFile.reset();
        // The failure that led here is what counts; a file that can't be removed adds nothing to it.
        static_cast<void>(platform::Files().Remove(m_strPath));
    }

    std::wstring m_strPath;
    std::string m_strBuffer;
    std::unique_ptr<platform::IFile> m_pFile;
    platform::eOsError m_error = platform::eOsError_None;
};

CZelFileWriter::CZelFileWriter() : m_pState(std::make_unique<SState>()) {}

CZelFileWriter::~CZelFileWriter() = default;

bool CZelFileWriter::Open(const std::wstring& path)
{
    m_pState->Discard();
    m_pState->m_strPath = path;
    m_pState->m_error = platform::Files().Open(path, platform::eOpenMode_WriteExclusive, m_pState->m_pFile);
    return platform::Succeeded(m_pState->m_error);
}

bool CZelFileWriter::Write(std::string_view bytes)
{
    m_pState->m_strBuffer.append(bytes);
    return m_pState->m_strBuffer.size() < SState::kFlushBytes ? platform::Succeeded(m_pState->m_error)
                                                              : m_pState->Flush();
}

bool CZelFileWriter::Close()
{
    SState& state = *m_pState;
    if (state.m_pFile && state.Flush())
        state.m_error = state.m_pFile->Close();
    if (!state.m_pFile || !platform::Succeeded(state.m_error)) {
        state.Discard();
        return false;
    }
    state.m_pFile.reset();
    return true;
}

platform::eOsError CZelFileWriter::Error() const
{
    return m_pState->m_error;
}
