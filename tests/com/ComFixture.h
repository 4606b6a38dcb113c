#pragma once

#include "com/Com.h"
#include "com/Components.h"

#include <gtest/gtest.h>

/// Takes every class out of the table. Modules stay loaded.
inline void ClearComponents()
{
    for (const SComponentInfo& component : ListComponents(GUID{}))
        static_cast<void>(RevokeComponentClass(component.id));
}

/// A thread with COM for the length of a test.
class CComFixture : public testing::Test {
protected:
    CComFixture() { EXPECT_EQ(CoInitialize(nullptr), S_OK) << "a test before this one left the thread initialised"; }
    ~CComFixture() override { CoUninitialize(); }
};
