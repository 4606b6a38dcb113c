#include "capi/Block.h"

void GiveText(std::wstring_view text, char** out)
{
    if (out == nullptr)
        return;
    const std::string bytes = SafeText(text);
    auto memory = std::make_unique<SBlockMemory>();
    char* const place =
        static_cast<char*>(memory->memory.allocate(sizeof(SBlockHead) + bytes.size() + 1, alignof(SBlockHead)));
    ::new (place) SBlockHead{SBlockHead::kMark, memory.get()};
    *out = place + sizeof(SBlockHead);
    bytes.copy(*out, bytes.size());
    (*out)[bytes.size()] = '\0';
    static_cast<void>(memory.release());
}

extern "C" void zel_free(void* block)
{
    if (block == nullptr)
        return;
    const auto* const head = reinterpret_cast<const SBlockHead*>(static_cast<const char*>(block) - sizeof(SBlockHead));
    if (head->mark != SBlockHead::kMark)
        return;
    const std::unique_ptr<SBlockMemory> owner(head->owner); // the head is in it
}
