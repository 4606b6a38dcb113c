#pragma once

#include <memory>
#include <utility>

/// A value whose destructor never runs, for function-local statics that others may still use while the process ends: a
/// thread or a static object that logs its end must find the log alive.
template <class Value>
class CNeverDestroyed {
public:
    template <class... Arguments>
    explicit CNeverDestroyed(Arguments&&... arguments)
    {
        std::construct_at(&m_value, std::forward<Arguments>(arguments)...);
    }
    ~CNeverDestroyed() {} // NOLINT(modernize-use-equals-default): a defaulted one would be deleted
    CNeverDestroyed(const CNeverDestroyed&) = delete;
    CNeverDestroyed& operator=(const CNeverDestroyed&) = delete;

    [[nodiscard]] Value& Get() { return m_value; }

private:
    union {
        Value m_value;
    };
};
