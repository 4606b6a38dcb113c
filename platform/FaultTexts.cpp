#include "platform/Fault.h"

#include "platform/Path.h"
#include "platform/Text.h"

#include <cstdlib>
#include <cxxabi.h>
#include <exception>
#include <memory>
#include <sstream>
#include <typeinfo>

namespace platform {

namespace {

std::string CurrentExceptionType()
{
    const std::type_info* const type = abi::__cxa_current_exception_type();
    if (type == nullptr)
        return "exception of another language";
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> plain(
        abi::__cxa_demangle(type->name(), nullptr, nullptr, &status), &std::free);
    return status == 0 && plain ? plain.get() : type->name();
}

std::string CurrentExceptionText()
{
    std::string text = CurrentExceptionType();
    try {
        throw;
    } catch (const std::exception& exception) {
        text += ": ";
        text += exception.what();
    } catch (...) {
        return text;
    }
    return text;
}

} // namespace

void RecordCurrentException(SFaultRecord& record)
{
    record.kind = eFaultKind_Exception;
    try {
        const std::string text = CurrentExceptionText();
        record.exception[text.copy(record.exception, kMaxExceptionText - 1)] = '\0';
    } catch (...) {
        record.exception[0] = '\0'; // no memory for its text; that there was one is told all the same
    }
}

std::wstring AddressText(const SAddressDescription& description)
{
    std::wostringstream text;
    if (!description.modulePath.empty())
        text << FileNameOf(description.modulePath) << L'+';
    text << std::hex << std::showbase << description.offset;
    if (!description.function.empty())
        text << L' ' << description.function;
    if (!description.file.empty())
        text << L" (" << description.file << L':' << std::dec << description.line << L')';
    return text.str();
}

const wchar_t* FaultKindName(eFaultKind kind)
{
    switch (kind) {
    case eFaultKind_None: return L"none";
    case eFaultKind_AccessViolation: return L"access violation";
    case eFaultKind_Division: return L"division by zero";
    case eFaultKind_IllegalInstruction: return L"illegal instruction";
    case eFaultKind_StackOverflow: return L"stack overflow";
    case eFaultKind_Abort: return L"abort";
    case eFaultKind_Exception: return L"exception";
    case eFaultKind_Exit: return L"a call of exit";
    case eFaultKind_Other: break;
    }
    return L"other";
}

} // namespace platform
