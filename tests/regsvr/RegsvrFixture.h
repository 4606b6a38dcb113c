#pragma once

#include "tests/apps/ProgramFixture.h"

/// Runs zel-regsvr with configuration folders of the test's own. On Windows registrations go into the registry all the
/// same, so whatever a test registers is taken back at its end.
class CRegsvrFixture : public CProgramTest {
protected:
    CRegsvrFixture();
    ~CRegsvrFixture() override;

    [[nodiscard]] SProgramResult Regsvr(const std::vector<std::wstring>& arguments) const;
    /// Registers, and notes it for the end.
    [[nodiscard]] SProgramResult Register(const std::wstring& module, const std::wstring& scope = UsedScope());
    /// The user's, where programs look at it: the COM of Wine knows the machine's classes only.
    [[nodiscard]] static std::wstring UsedScope();
    [[nodiscard]] std::string List() const;
    /// Environment of programs that are to see what is registered, and nothing else.
    [[nodiscard]] platform::SProcessOptions Environment() const;

    /// Full path of a module of the build, which only its builder may write to afterwards.
    [[nodiscard]] static std::wstring Module(const std::wstring& name);
    /// The library itself.
    [[nodiscard]] static std::wstring Library();

private:
    std::vector<std::vector<std::wstring>> m_registered;
};
