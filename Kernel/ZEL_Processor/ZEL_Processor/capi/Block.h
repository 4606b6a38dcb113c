#pragma once

#include "capi/Arguments.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <new>
#include <string_view>
#include <type_traits>
#include <vector>

/// What zel_free takes: plain values in one piece of memory.
struct SBlockMemory {
    std::pmr::monotonic_buffer_resource memory;
};
/// Before the value that the caller sees.
struct alignas(alignof(std::max_align_t)) SBlockHead {
    static constexpr std::uint64_t kMark = 0x7A656C2D626C6F63;

    std::uint64_t mark = kMark;
    SBlockMemory* owner = nullptr;
};

/// A value for the caller, and what it points to, while they are made.
template <class Root>
class CBlock {
public:
    CBlock() : m_pMemory(std::make_unique<SBlockMemory>())
    {
        void* const place = m_pMemory->memory.allocate(sizeof(SBlockHead) + sizeof(Root), alignof(SBlockHead));
        ::new (place) SBlockHead{SBlockHead::kMark, m_pMemory.get()};
        m_pRoot = ::new (static_cast<char*>(place) + sizeof(SBlockHead)) Root{};
        if constexpr (requires { m_pRoot->size; })
            m_pRoot->size = sizeof(Root);
    }
    [[nodiscard]] Root* operator->() { return m_pRoot; }
    [[nodiscard]] Root& operator*() { return *m_pRoot; }

    template <class Part>
    [[nodiscard]] Part* New()
    {
        Part* const part = NewArray<Part>(1);
        if constexpr (requires { part->size; })
            part->size = sizeof(Part);
        return part;
    }
    /// Null for none.
    template <class Part>
    [[nodiscard]] Part* NewArray(std::size_t count)
    {
        static_assert(std::is_trivially_destructible_v<Part>);
        if (count == 0)
            return nullptr;
        if (count > SIZE_MAX / sizeof(Part) / 2)
            throw std::bad_alloc();
        auto* const parts = static_cast<Part*>(m_pMemory->memory.allocate(count * sizeof(Part), alignof(Part)));
        std::uninitialized_value_construct_n(parts, count);
        return parts;
    }
    [[nodiscard]] const char* Bytes(std::string_view bytes)
    {
        char* const copy = NewArray<char>(bytes.size() + 1);
        bytes.copy(copy, bytes.size());
        return copy;
    }
    [[nodiscard]] const char* Text(std::wstring_view text) { return Bytes(SafeText(text)); }
    template <class Part>
    [[nodiscard]] Part* Array(const std::vector<Part>& values)
    {
        Part* const parts = NewArray<Part>(values.size());
        std::copy(values.begin(), values.end(), parts);
        return parts;
    }
    [[nodiscard]] const char* const* Texts(const std::vector<std::wstring>& texts)
    {
        const char** const copies = NewArray<const char*>(texts.size());
        for (std::size_t index = 0; index < texts.size(); ++index)
            copies[index] = Text(texts[index]);
        return copies;
    }

    /// The caller's from now on; nothing for one who wants none.
    void Give(Root** out)
    {
        if (out == nullptr)
            return;
        *out = m_pRoot;
        static_cast<void>(m_pMemory.release());
    }

private:
    std::unique_ptr<SBlockMemory> m_pMemory;
    Root* m_pRoot;
};

/// A text is a block, too.
void GiveText(std::wstring_view text, char** out);

template <class Root>
void Forget(Root** out)
{
    if (out != nullptr)
        *out = nullptr;
}
