#pragma once

#include "apps/common/CommandLine.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What a request says that is made of words in place of a file.
struct STaskRequest {
    static constexpr std::size_t kMaxElements = 1000;
    static constexpr std::size_t kMaxNameLength = 100;

    std::wstring type;
    std::vector<std::pair<std::wstring, std::wstring>> elements;  ///< of the task, by name
    std::vector<std::wstring> parameters;                         ///< of its statement, in order
    std::vector<std::pair<std::string, std::wstring>> attributes; ///< of the document element, as a server reads them
};

/// Whether a name can be that of an element: a letter or "_", then letters, digits, "_", "-" and "."; ASCII.
[[nodiscard]] bool IsElementName(const std::wstring& name);
/// Whether XML can carry a text: Unicode without control characters but tabs and line ends.
[[nodiscard]] bool IsElementText(const std::wstring& text);
/// The document, in UTF-8. Names and texts are such as above.
[[nodiscard]] std::string TaskRequestXml(const STaskRequest& request);

/// The options that make a request.
class CTaskOptions {
public:
    void Define(CLI::App& app);
    [[nodiscard]] bool IsGiven() const { return !m_type.empty(); }
    /// False after a message.
    [[nodiscard]] bool Check();
    [[nodiscard]] const STaskRequest& Request() const { return m_request; }
    /// A name for it where the user gives none, made from its type; many requests would have it.
    [[nodiscard]] std::wstring Name() const;

private:
    [[nodiscard]] bool AddElement(const std::wstring& setting);
    [[nodiscard]] bool AddAttributes();

    std::string m_type;
    std::vector<std::string> m_settings;
    std::vector<std::string> m_parameters;
    std::optional<int> m_nPriority;
    std::optional<int> m_nAttempts;
    std::string m_timeLimit;
    std::string m_notBefore;
    STaskRequest m_request;
};
