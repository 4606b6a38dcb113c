#include "com/Com.h"
#include "com/Components.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(Apartment, AManifestIsReadOnAThreadOfEither)
{
    const auto read = [](COINIT kind) {
        ASSERT_EQ(CoInitializeEx(nullptr, kind), S_OK);
        SComponentManifest manifest;
        std::wstring error;
        EXPECT_TRUE(ParseComponentManifest(L"<component><module>a.dll</module>"
                                           L"<class id='{6A0E3D12-5C1B-4B0E-8E55-112233445501}'/></component>",
                                           L"C:\\x.component", manifest, error))
            << testing::PrintToString(error);
        EXPECT_EQ(CoInitializeEx(nullptr, kind), S_FALSE) << "the thread is as its owner made it";
        CoUninitialize();
        CoUninitialize();
    };
    std::thread(read, COINIT_APARTMENTTHREADED).join();
    std::thread(read, COINIT_MULTITHREADED).join();
}

} // namespace
