/// A module to be loaded by ModuleTest.
#if defined(__GNUC__) && !defined(__MINGW32__)
#define TEST_MODULE_EXPORT __attribute__((visibility("default")))
#else
#define TEST_MODULE_EXPORT __declspec(dllexport)
#endif

extern "C" TEST_MODULE_EXPORT int TestModuleAnswer();

extern "C" int TestModuleAnswer()
{
    return 42;
}
