// A module that nobody links, to be loaded by tests.
extern "C" __attribute__((visibility("default"))) int plainModuleAnswer() {
    return 42;
}
