/* library_sample: the shared object that the tests load. */
/* Subsystem: platform, layer 2. Test: tests/ZSharedLibrary_test.cpp */
__attribute__((visibility("default"))) int library_sample = 51;
