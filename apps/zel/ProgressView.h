#pragma once

#include "apps/common/ExpectedEnd.h"
#include "apps/common/RequestState.h"

#include <optional>
#include <string>

/// Shows on standard error how far a request is: a bar on a terminal, else one line per change.
class CProgressView {
public:
    CProgressView();
    /// Leaves the bar's last state on the screen.
    ~CProgressView();
    CProgressView(const CProgressView&) = delete;
    CProgressView& operator=(const CProgressView&) = delete;

    /// Does nothing when this is what was shown last. On a terminal it says what is left, as soon as that is known.
    void Show(const SRequestState& state);

private:
    const bool m_isTerminal;
    CExpectedEnd m_end;
    std::wstring m_strLeft;
    std::optional<SRequestState> m_shown;
    std::size_t m_shownLength = 0;
};

/// The line of a terminal of this width: "[#####     ]  50 % name: status comment", with "5 s to 8 s left" behind the
/// percent.
[[nodiscard]] std::wstring ProgressBarLine(const SRequestState& state, std::size_t width,
                                           const std::wstring& left = {});
/// "5 s to 8 s left", in the user's language; empty for what is not known.
[[nodiscard]] std::wstring LeftText(const std::optional<CExpectedEnd::SRange>& left);
/// Times change with every status write and say nothing to a reader.
[[nodiscard]] bool LooksLike(const SRequestState& left, const SRequestState& right);
