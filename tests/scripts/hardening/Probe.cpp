// Each of the checks has something to do here.
#include <cstdio>
#include <cstring>

#ifdef PROBE_WRITABLE_CODE
asm(".section .writable,\"awx\"\n.byte 0\n.text");
#endif

namespace {

[[gnu::noinline]] int Length(const char* text)
{
    char copy[64];
    std::strcpy(copy, text);
    return std::printf("%s\n", copy);
}

} // namespace

int main(int count, char** arguments)
{
    return Length(arguments[count - 1]) == 0;
}
