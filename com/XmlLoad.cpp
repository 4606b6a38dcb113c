#include "com/XmlLoad.h"

#include "com/Bstr.h"
#include "com/ComPtr.h"
#include "platform/Text.h"

bool XmlWasLoaded(IXMLDOMDocument& document, VARIANT_BOOL loaded, SXmlError& error)
{
    if (loaded == VARIANT_TRUE)
        return true;
    error = {0, {}, -1, -1};
    CComPtr<IXMLDOMParseError> parseError;
    CBstr reason;
    if (SUCCEEDED(document.get_parseError(parseError.Put())) && parseError) {
        static_cast<void>(parseError->get_errorCode(&error.code));
        static_cast<void>(parseError->get_reason(reason.Put()));
        if (FAILED(parseError->get_line(&error.line)))
            error.line = -1;
        if (FAILED(parseError->get_linepos(&error.column)))
            error.column = -1;
    }
    error.reason = platform::ToUtf8(reason.Text());
    // The parser may end its reason with a line break, which would make a line of its own.
    while (error.reason.ends_with('\n') || error.reason.ends_with('\r'))
        error.reason.pop_back();
    if (error.reason.empty())
        error.reason = "The document is not well formed";
    return false;
}
