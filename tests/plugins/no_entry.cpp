// A module that offers nothing the library looks for.
extern "C" __attribute__((visibility("default"))) int kqbTestModule() { return 0; }
