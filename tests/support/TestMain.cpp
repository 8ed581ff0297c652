// The main of every test program. The environment that the tests read is set
// here, unless the caller set it, so that a test program run by hand behaves
// as under CTest and never touches the user's or the machine's registry.
#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
    ::setenv("ZQPLATFORM_REGISTRY_ROOT", ZQ_TEST_REGISTRY_ROOT, 0);
    ::setenv("ZQ_SOURCE_DIR", ZQ_TEST_SOURCE_DIR, 0);
    ::setenv("ZQ_SHARED_DIR", ZQ_TEST_SHARED_DIR, 0);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
