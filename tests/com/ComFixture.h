#pragma once

#include "com/Com.h"

#include <gtest/gtest.h>

/// A thread with COM for the length of a test.
class CComFixture : public testing::Test {
protected:
    CComFixture() { EXPECT_EQ(CoInitialize(nullptr), S_OK) << "a test before this one left the thread initialised"; }
    ~CComFixture() override { CoUninitialize(); }
};
