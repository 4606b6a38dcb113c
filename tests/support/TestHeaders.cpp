/// A program that is only there to be built with the headers of all tests precompiled.
int main() {}
