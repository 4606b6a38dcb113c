#pragma once

#include "com/ComPtr.h"

#include <cstddef>
#include <vector>

/// An array of interface pointers that holds one reference to each element.
template <class T>
class CAutoInterfaceArray {
public:
    void Add(T* element) { m_elements.emplace_back(element); }
    void RemoveAll() { m_elements.clear(); }
    [[nodiscard]] std::size_t GetCount() const { return m_elements.size(); }
    [[nodiscard]] bool IsEmpty() const { return m_elements.empty(); }
    /// Not an added reference.
    [[nodiscard]] T* GetAt(std::size_t index) const { return m_elements.at(index).Get(); }

private:
    std::vector<CComPtr<T>> m_elements;
};
